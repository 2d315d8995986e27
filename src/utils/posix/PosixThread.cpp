#include <atomic>
#include <csignal>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "utils/Text.h"
#include "utils/ThreadBody.h"
#include "utils/posix/Mutex.h"
#include "utils/posix/Services.h"

namespace lathwind::posix {
namespace {

// Shared between the Thread and its native thread, either of which may outlive the other.
struct ThreadState {
    explicit ThreadState(Runnable& target) : runnable(target) {}

    Runnable& runnable;
    std::wstring name;  // written before the native thread exists, read by it alone
    std::atomic<bool> running = false;

    Mutex mutex;
    Condition changed;
    bool ended GUARDED_BY(mutex) = false;
};

// Termination. pthread_cancel unwinds the thread's stack, which ends the whole process as soon as
// it meets a catch of everything or a destructor, and it waits for the next cancellation point.
// TerminateThread does neither, so a signal does its work: the handler leaves the thread by the
// system call itself, wherever it is, running no destructor and releasing no lock.
thread_local volatile std::sig_atomic_t terminable = 0;

int terminationSignal() {
    return SIGRTMIN + 3;
}

void leaveThread(int, siginfo_t* info, void*) {
    // Only a thread of ours, and only when this process asks: anyone can send a signal.
    if (terminable != 0 && info->si_code == SI_TKILL && info->si_pid == ::getpid()) {
        ::syscall(SYS_exit, 0);
    }
}

void installTerminationHandler() {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_sigaction = leaveThread;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(terminationSignal(), &action, nullptr);
        return true;
    }();
    static_cast<void>(installed);
}

// The kernel keeps 15 bytes of a name, for debuggers and ps.
void nameThread(const std::wstring& name) {
    std::string bytes = utf8FromUtf16(name);
    bytes.resize(std::min<std::size_t>(bytes.size(), 15));
    ::pthread_setname_np(::pthread_self(), bytes.c_str());
}

// noexcept: what the body lets through ends the process here.
void* threadMain(void* argument) noexcept {
    const std::unique_ptr<std::shared_ptr<ThreadState>> owner(
        static_cast<std::shared_ptr<ThreadState>*>(argument));
    ThreadState& state = **owner;
    nameThread(state.name);
    terminable = 1;
    runThreadBody(state.runnable, state.name, state.running);
    terminable = 0;
    const MutexHolder holder(state.mutex);
    state.ended = true;
    state.changed.notifyAll();
    return nullptr;
}

// start, terminate and the destructor belong to the thread that owns the object; wait and
// isRunning may be asked by any.
class PosixThread final : public Thread {
public:
    explicit PosixThread(Runnable& runnable) : state_(std::make_shared<ThreadState>(runnable)) {}

    ~PosixThread() override {
        state_->running = false;
        const MutexHolder holder(state_->mutex);
        if (handle_ == Handle::Open) {
            // The thread goes on by itself, as one does whose last handle is closed.
            ::pthread_detach(native_);
        }
    }

    void start(const std::wstring& name) override {
        installTerminationHandler();
        state_->name = name;
        auto argument = std::make_unique<std::shared_ptr<ThreadState>>(state_);
        {
            const MutexHolder holder(state_->mutex);
            // A start that fails leaves no handle: wait then answers false.
            if (::pthread_create(&native_, nullptr, threadMain, argument.get()) == 0) {
                static_cast<void>(argument.release());  // the native thread deletes it
                handle_ = Handle::Open;
            }
        }
        ::sched_yield();
    }

    bool wait() override {
        const MutexHolder holder(state_->mutex);
        while (handle_ == Handle::Open && !state_->ended) {
            state_->changed.wait(state_->mutex);
        }
        if (handle_ == Handle::Open) {
            // What is left of the thread takes no lock: this joins at once, and its thread-local
            // objects are gone when the caller goes on.
            ::pthread_join(native_, nullptr);
            handle_ = Handle::Joined;
        }
        return handle_ == Handle::Joined;
    }

    void terminate() override {
        const MutexHolder holder(state_->mutex);
        if (handle_ == Handle::Open) {
            if (!state_->ended) {
                ::pthread_kill(native_, terminationSignal());
            }
            ::pthread_detach(native_);
        }
        handle_ = Handle::None;
        state_->changed.notifyAll();
    }

    bool isRunning() const override { return state_->running; }

private:
    enum class Handle { None, Open, Joined };

    const std::shared_ptr<ThreadState> state_;
    pthread_t native_ GUARDED_BY(state_->mutex){};
    Handle handle_ GUARDED_BY(state_->mutex) = Handle::None;
};

}  // namespace

std::unique_ptr<Thread> makeThread(Runnable& runnable) {
    return std::make_unique<PosixThread>(runnable);
}

}  // namespace lathwind::posix
