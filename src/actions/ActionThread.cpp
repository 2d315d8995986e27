#include "actions/ActionThread.h"

#include <utility>

#include "actions/Action.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr int kPiecesPerTurn = 10;

}  // namespace

// The actions' own queues are the bounds: a pointer that was refused would leave its piece of work
// behind.
ActionThread::ActionThread() : lock_(platformFactory.createLock()) {
    store_.setLimit(SignalledStore<Action*>::kMaxElements);
}

ActionThread::~ActionThread() {
    stop();
}

ActionThread& ActionThread::instance() {
    // Never destroyed: actions with static lifetime take themselves out of it.
    static ActionThread* const thread = std::make_unique<ActionThread>().release();
    return *thread;
}

void ActionThread::start() {
    const ScopedLock guard(*lock_);
    if (thread_ != nullptr || isStopped_) {
        return;
    }
    thread_ = platformFactory.createThread(*this);
    thread_->start(L"ActionThread");
}

void ActionThread::stop() {
    std::unique_ptr<Thread> thread;
    {
        const ScopedLock guard(*lock_);
        isStopped_ = true;
        thread = std::move(thread_);
    }
    store_.terminate();
    if (thread != nullptr) {
        thread->wait();  // without the lock, which its last turn takes
    }
    flush();
}

bool ActionThread::isStarted() const {
    const ScopedLock guard(*lock_);
    return thread_ != nullptr;
}

void ActionThread::flush() {
    const ScopedLock guard(*lock_);
    while (!store_.empty()) {
        doOne();
    }
}

PushResult ActionThread::enqueue(Action& action) {
    const ScopedLock guard(*lock_);
    return store_.pushChecked(&action);
}

void ActionThread::remove(Action& action) {
    const ScopedLock guard(*lock_);
    store_.remove(&action);
}

void ActionThread::run() {
    debugLog(ModuleId::ProcessEvent, L"ActionThread Successfully started");
    while (step(kWaitForever)) {
    }
}

bool ActionThread::step(std::int32_t milliseconds) {
    if (store_.event().wait(milliseconds, false) == WaitResult::Failed || !store_.accepting()) {
        return false;
    }
    const ScopedLock guard(*lock_);
    for (int pieces = 0; pieces < kPiecesPerTurn && !store_.empty(); ++pieces) {
        doOne();
    }
    return true;
}

void ActionThread::doOne() {
    store_.popFront()->process();
}

}  // namespace lathwind
