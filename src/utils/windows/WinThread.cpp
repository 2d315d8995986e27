#include <atomic>
#include <process.h>

#include "utils/ThreadBody.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinLock.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

// Shared between the Thread and its native thread, which may outlive it by its last steps.
struct ThreadState {
    explicit ThreadState(Runnable& target) : runnable(target) {}
    Runnable& runnable;
    std::wstring name;  // written before the native thread exists, read by it alone
    std::atomic<bool> running = false;
};

// noexcept: what the body lets through ends the process here, not in a frame of the run-time's.
unsigned __stdcall threadMain(void* argument) noexcept {
    const std::unique_ptr<std::shared_ptr<ThreadState>> owner(
        static_cast<std::shared_ptr<ThreadState>*>(argument));
    ThreadState& state = **owner;
    runThreadBody(state.runnable, state.name, state.running);
    return 0;
}

// start, wait, terminate and the destructor belong to the thread that owns the object; isRunning
// may be asked by any.
class WinThread final : public Thread {
public:
    explicit WinThread(Runnable& runnable) : state_(std::make_shared<ThreadState>(runnable)) {}

    ~WinThread() override { state_->running = false; }

    void start(const std::wstring& name) override {
        state_->name = name;
        auto argument = std::make_unique<std::shared_ptr<ThreadState>>(state_);
        // A start that fails leaves no handle: wait then answers false.
        handle_.reset(reinterpret_cast<HANDLE>(
            ::_beginthreadex(nullptr, 0, threadMain, argument.get(), 0, nullptr)));
        if (handle_) {
            static_cast<void>(argument.release());  // the native thread deletes it
        }
        ::Sleep(0);
    }

    bool wait() override {
        return handle_ && ::WaitForSingleObject(handle_.get(), INFINITE) == WAIT_OBJECT_0;
    }

    void terminate() override {
        if (handle_) {
            ::TerminateThread(handle_.get(), static_cast<DWORD>(-1));
            handle_.reset();
        }
    }

    bool isRunning() const override { return state_->running; }

private:
    const std::shared_ptr<ThreadState> state_;
    UniqueHandle handle_;
};

}  // namespace

std::unique_ptr<Lock> makeLock() {
    return std::make_unique<WinLock>();
}

std::unique_ptr<Thread> makeThread(Runnable& runnable) {
    return std::make_unique<WinThread>(runnable);
}

}  // namespace lathwind::windows
