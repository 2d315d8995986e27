#include <map>

#include "utils/posix/Mutex.h"
#include "utils/posix/Services.h"

// A manual-reset event is a flag, a mutex and a condition variable.
//
// Events of one name are one event within the process and separate ones between processes: what
// uses names on this platform is the process itself, and an event in shared memory would outlive
// a crash in whatever state it had, which a kernel object of Windows does not.
namespace lathwind::posix {
namespace {

struct EventState {
    Mutex mutex;
    Condition changed;
    bool signalled GUARDED_BY(mutex) = false;
};

class PosixEvent final : public Event {
public:
    explicit PosixEvent(std::shared_ptr<EventState> state) : state_(std::move(state)) {}

    void set() override {
        const MutexHolder holder(state_->mutex);
        state_->signalled = true;
        state_->changed.notifyAll();
    }

    void reset() override {
        const MutexHolder holder(state_->mutex);
        state_->signalled = false;
    }

    // No completions are queued to threads here, so nothing but the event ends an alertable wait.
    WaitResult wait(std::int32_t milliseconds, bool /*alertable*/) override {
        EventState& state = *state_;
        const MutexHolder holder(state.mutex);
        if (milliseconds < 0) {
            while (!state.signalled) {
                state.changed.wait(state.mutex);
            }
            return WaitResult::Signalled;
        }
        const timespec deadline = Condition::deadlineIn(std::chrono::milliseconds(milliseconds));
        while (!state.signalled) {
            if (milliseconds == 0 || !state.changed.waitUntil(state.mutex, deadline)) {
                return state.signalled ? WaitResult::Signalled : WaitResult::TimeOut;
            }
        }
        return WaitResult::Signalled;
    }

private:
    const std::shared_ptr<EventState> state_;
};

// The process's named events, alive as long as somebody holds one.
class EventNames {
public:
    std::shared_ptr<EventState> open(const std::wstring& name) {
        const MutexHolder holder(mutex_);
        std::erase_if(events_, [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<EventState>& known = events_[name];
        std::shared_ptr<EventState> state = known.lock();
        if (!state) {
            state = std::make_shared<EventState>();
            known = state;
        }
        return state;
    }

private:
    Mutex mutex_;
    std::map<std::wstring, std::weak_ptr<EventState>> events_ GUARDED_BY(mutex_);
};

}  // namespace

std::unique_ptr<Event> makeEvent(const std::wstring& name) {
    if (name.empty()) {
        return std::make_unique<PosixEvent>(std::make_shared<EventState>());
    }
    static EventNames& names = *new EventNames;
    return std::make_unique<PosixEvent>(names.open(name));
}

}  // namespace lathwind::posix
