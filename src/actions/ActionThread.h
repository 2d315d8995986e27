#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "utils/SignalledStore.h"
#include "utils/platform/Threading.h"

namespace lathwind {

class Action;  // actions/Action.h

// The thread that finishes what actions have begun. Its queue holds one pointer for each piece of
// work, so that an action stands in it as often as it has pieces; they are done in order.
//
// Any thread may call the operations.
class ActionThread : public Runnable {
public:
    ActionThread();
    ~ActionThread() override;
    ActionThread(const ActionThread&) = delete;
    ActionThread& operator=(const ActionThread&) = delete;

    // The process's one, which lives until the end. Its owner stops it at shutdown.
    static ActionThread& instance();

    // Starts the thread, once: a thread that was stopped stays so.
    void start();
    // Ends the thread, then does on the calling thread what is left in the queue, so that no event
    // that was taken is lost. Nothing is accepted from then on: stop the threads that have events
    // first.
    void stop();
    bool isStarted() const;

    // The result of the checked push.
    PushResult enqueue(Action& action);
    // Does what is queued, in turns of ten, and waits for what is being done: behind it everything
    // that was queued before is finished.
    void flush();
    // Forgets every piece of work of `action`, and waits for one that is being done: behind it the
    // action may be destroyed.
    void remove(Action& action);

    void run() override;
    // One turn: waits for work, at most so long, and does ten pieces at most, which is how long
    // enqueue and remove can be held up. False once told to stop.
    bool step(std::int32_t milliseconds);

private:
    std::uint32_t doTurn();  // gives how many pieces it did

    const std::unique_ptr<Lock> lock_;  // held while work is done
    SignalledStore<Action*> store_;
    std::unique_ptr<Thread> thread_ GUARDED_BY(*lock_);
    bool isStopped_ GUARDED_BY(*lock_) = false;
};

}  // namespace lathwind
