#include "actions/ActionThread.h"

#include <utility>

#include "actions/Action.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::uint32_t kPiecesPerTurn = 10;

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
    // What comes meanwhile is the thread's: others may go on queueing for ever.
    std::uint32_t left = store_.size();
    std::uint32_t done = 0;
    do {
        left -= done;
        done = doTurn();
    } while (done != 0 && done < left);
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
    doTurn();
    return true;
}

std::uint32_t ActionThread::doTurn() {
    const ScopedLock guard(*lock_);
    std::uint32_t pieces = 0;
    for (; pieces < kPiecesPerTurn && !store_.empty(); ++pieces) {
        store_.popFront()->process();
    }
    return pieces;
}

}  // namespace lathwind
