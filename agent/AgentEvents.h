#pragma once

#include <memory>

#include "events/AgentEventQueue.h"
#include "events/NamedCollector.h"

namespace lathwind::agent {

// The collector of the agent's own messages. It stands between the log writer and the process's
// queue, so that what the writer says last is handed on too, where the queue alone would destroy
// it.
//
// The log writer's thread pushes; one other thread drains.
class AgentEvents : public NamedCollector, public AgentEventSink {
public:
    AgentEvents() : NamedCollector(L"Agent") {}

    PushResult push(AgentEventFacts facts) override { return queue_->push(std::move(facts)); }
    // The log writer has ended.
    void drain() override {
        Drain();
        queue_->drain();
    }
    QueueState queueState() const { return queue_->state(); }

protected:
    std::unique_ptr<IDSEvent> nextEvent() override { return queue_->pop(); }

private:
    const AgentEventQueueRef queue_;
};

}  // namespace lathwind::agent
