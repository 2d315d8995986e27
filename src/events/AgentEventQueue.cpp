#include "events/AgentEventQueue.h"

#include <tuple>
#include <vector>

namespace lathwind {

static_assert(kPriorityControlFlag == controlFlag::Priority);

std::unique_ptr<IDSEvent> makeAgentEvent(const AgentEventFacts& facts) {
    auto event = std::make_unique<IDSEvent>();
    event->SetProcessId(static_cast<std::int32_t>(facts.origin.processId));
    event->SetProcessName(facts.origin.processName);
    event->SetUserName(facts.origin.processOwner);
    event->SetAgentIp(facts.origin.ipAddress);
    event->SetMachineName(facts.origin.hostName);
    event->SetDomainName(facts.origin.logonDomain);
    event->SetSourceKind(facts.eventCode, false);
    event->SetEventClass(facts.eventSeverity);
    event->SetPriorityNumber(static_cast<std::int32_t>(facts.priority));
    event->SetRuleId(facts.priority);
    event->SetControlFlags(facts.controlFlags);
    event->SetRawText(facts.rawText);
    event->SetValues({facts.fields.begin(), facts.fields.end()});
    return event;
}

AgentEventQueue::AgentEventQueue() : popLock_(platformFactory.createLock()) {}

AgentEventQueue::~AgentEventQueue() {
    drain();
}

PushResult AgentEventQueue::push(AgentEventFacts facts) {
    std::unique_ptr<IDSEvent> event = makeAgentEvent(facts);
    // An error is worth room beyond the limit.
    const PushResult result = facts.severity == Severity::Error ? store_.push(event.get())
                                                                : store_.pushChecked(event.get());
    if (result == PushResult::Stored || result == PushResult::HighMark) {
        std::ignore = event.release();  // the store's now, or the consumer's already
    }
    return result;
}

void AgentEventQueue::drain() {
    while (pop() != nullptr) {
    }
}

std::unique_ptr<IDSEvent> AgentEventQueue::pop() {
    const ScopedLock guard(*popLock_);
    return std::unique_ptr<IDSEvent>(store_.empty() ? nullptr : store_.popFront());
}

}  // namespace lathwind
