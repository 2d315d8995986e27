#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "events/AgentEventQueue.h"
#include "events/EventMacros.h"
#include "utils/ErrorLogWriter.h"

namespace lathwind {
namespace {

AgentEventFacts factsOf(Severity severity, const std::wstring& line = L"line\n") {
    LogRecord record;
    record.line = line;
    record.code = L"FWC_0033";
    record.severity = severity;
    record.module = L"Filewatch Collector";
    return makeAgentEventFacts(record,
                               {4711, L"agent.exe", L"SYSTEM", L"10.0.0.1", L"host", L"DOMAIN"});
}

TEST(AgentEvent, IsMadeFromALogRecord) {
    struct Case {
        Severity severity;
        std::wstring type;
        std::wstring letter;
        std::wstring number;
        std::uint32_t eventClass;
        std::uint32_t flags;
    };
    const std::vector<Case> cases = {
        {Severity::Status, L"MSTD", L"I", L"0", 3, 0},
        {Severity::Warning, L"MERR", L"W", L"55", 1, 16},
        {Severity::Error, L"MERR", L"C", L"85", 0, 16},
    };
    const std::wstring line = L"ERROR:  \tnow\tFilewatch Collector\tFWC_0033: File lost \n";
    for (const Case& c : cases) {
        const auto event = makeAgentEvent(factsOf(c.severity, line));
        EXPECT_EQ(event->GetField(eventField::Type), c.type);
        EXPECT_EQ(event->GetField(eventField::Severity), c.letter);
        EXPECT_EQ(event->GetField(eventField::Priority), c.number);
        EXPECT_EQ(GetMacroValue(L"Rule ID", *event), c.number);
        EXPECT_EQ(event->GetEventClass(), c.eventClass);
        EXPECT_EQ(event->GetControlFlags(), c.flags);
        EXPECT_EQ(event->GetProcessId(), 4711);
        EXPECT_EQ(event->GetProcessName(), L"agent.exe");
        EXPECT_EQ(event->GetUserName(), L"SYSTEM");
        EXPECT_EQ(event->GetAgentIp(), L"10.0.0.1");
        EXPECT_EQ(event->GetMachineName(), L"host");
        EXPECT_EQ(event->GetDomainName(), L"DOMAIN");
        EXPECT_EQ(event->GetRawText(), line);
        EXPECT_EQ(event->GetValues().size(), 12U);
        EXPECT_EQ(event->GetField(12), L"FWC_0033");
        EXPECT_EQ(GetMacroValue(L"VALUE1", *event), L"Filewatch Collector");
        EXPECT_EQ(GetMacroValue(L"DESCRIPTION", *event), L"File lost");
    }
}

TEST(AgentEventQueue, RefusesAboveItsLimitButLetsErrorsThrough) {
    AgentEventQueue queue;
    queue.setLimit(2);
    EXPECT_EQ(queue.push(factsOf(Severity::Status)), PushResult::HighMark);
    EXPECT_EQ(queue.push(factsOf(Severity::Warning)), PushResult::HighMark);
    EXPECT_EQ(queue.push(factsOf(Severity::Status)), PushResult::Full);
    EXPECT_EQ(queue.push(factsOf(Severity::Warning)), PushResult::Full);
    EXPECT_EQ(queue.push(factsOf(Severity::Error)), PushResult::Stored);
    for (const std::wstring letter : {L"I", L"W", L"C"}) {
        EXPECT_EQ(queue.event().wait(0, false), WaitResult::Signalled);
        const auto event = queue.pop();
        ASSERT_NE(event, nullptr);
        EXPECT_EQ(event->GetSeverityLetter(), letter);
    }
    EXPECT_EQ(queue.event().wait(0, false), WaitResult::TimeOut);
    EXPECT_EQ(queue.pop(), nullptr);

    // A burst of errors is refused in the end; the sanitizers see whether its events are destroyed.
    PushResult result = PushResult::Stored;
    std::uint32_t stored = 0;
    for (; stored < 2000 && result == PushResult::Stored; ++stored) {
        result = queue.push(factsOf(Severity::Error));
    }
    EXPECT_EQ(result, PushResult::Full);
    queue.drain();
    EXPECT_EQ(queue.state().count, 0U);
    EXPECT_EQ(queue.push(factsOf(Severity::Status)), PushResult::HighMark);  // destroyed with it
}

TEST(AgentEventQueue, LivesWhileItIsReferredTo) {
    {
        const AgentEventQueueRef first;
        const AgentEventQueueRef second;
        EXPECT_EQ(&*first, &*second);
        EXPECT_EQ(first->push(factsOf(Severity::Status)), PushResult::Stored);
        EXPECT_EQ(second->state().count, 1U);
    }
    const AgentEventQueueRef fresh;
    EXPECT_EQ(fresh->pop(), nullptr);
}

}  // namespace
}  // namespace lathwind
