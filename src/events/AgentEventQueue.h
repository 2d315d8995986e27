#pragma once

#include <cstdint>
#include <memory>

#include "events/IDSEvent.h"
#include "utils/AgentEventSink.h"
#include "utils/SharedSingleton.h"
#include "utils/SignalledStore.h"

// The agent's own messages as events, on their way from the log writer to the agent's event
// pipeline. The program's start joins the two and keeps a reference as long as the writer runs:
//
//   const AgentEventQueueRef events;
//   ErrorLogWriter::instance().setEventSink(&*events);
namespace lathwind {

// The event that a log record's facts make: of kind "MSTD" or "MERR", classed by the record's
// severity, with the agent as its origin (process id and name, owner as the user, address, host
// name as the machine, logon domain), the line as raw text and the twelve strings as values. The
// fixed number of a warning or an error is both its priority and its rule id, and of the two the
// priority alone counts as set by force.
std::unique_ptr<IDSEvent> makeAgentEvent(const AgentEventFacts& facts);

// Owns the events in it. Producers push from any thread; one consumer pops; drain may run beside
// it. Limits are those of any store, HighWaterQueue::kDefaultLimit.
class AgentEventQueue final : public AgentEventSink {
public:
    AgentEventQueue();
    ~AgentEventQueue() override;  // destroys what is left
    AgentEventQueue(const AgentEventQueue&) = delete;
    AgentEventQueue& operator=(const AgentEventQueue&) = delete;

    PushResult push(AgentEventFacts facts) override;
    void drain() override;

    // The oldest event, null when there is none.
    std::unique_ptr<IDSEvent> pop();
    // For the consumer to wait on: set while there is something to pop.
    Event& event() const noexcept { return store_.event(); }

    void setLimit(std::uint32_t limit) { store_.setLimit(limit); }
    QueueState state() const { return store_.state(); }

private:
    SignalledStore<IDSEvent*> store_;
    const std::unique_ptr<Lock> popLock_;  // a store may not be popped when it is empty
};

// The process's queue: made by the first reference and destroyed with the last one.
using AgentEventQueueRef = SharedSingleton<AgentEventQueue>::Reference;

}  // namespace lathwind
