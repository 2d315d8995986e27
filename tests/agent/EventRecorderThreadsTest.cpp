#include <gtest/gtest.h>

#include "actions/ActionThread.h"
#include "actions/EventFiles.h"
#include "agent/AgentEvents.h"
#include "agent/EventRecorder.h"
#include "support/BinaryFolder.h"
#include "utils/AgentInfo.h"

namespace lathwind::agent {
namespace {

TEST(EventRecorderThreads, ABurstAtTheEndIsWrittenToItsLastEvent) {
    const testing::BinaryFolder installation;
    installation.root.write("system/LocalAgent.ini",
                            "[Event Management]\nEvent Processing Queue Limit=1000\n");
    const AgentInfoRef settings;
    EventRecorder recorder;
    EventRecorder::configureFiles(*settings);
    AgentEvents events;
    events.attach(recorder);
    constexpr std::uint32_t kEvents = 3000;  // six times what the action's queue holds
    for (std::uint32_t i = 0; i < kEvents; ++i) {
        AgentEventFacts facts;
        facts.severity = Severity::Error;
        facts.eventCode = sourceKind::AgentError;
        events.push(facts);
    }
    recorder.refuseNothing();
    events.drain();
    ActionThread::instance().flush();
    EXPECT_EQ(recorder.totals().taken, kEvents);
    EXPECT_EQ(recorder.totals().dropped, 0u);
    EventFiles::instance().close();
    const std::string lines = installation.root.read("log/QVRIDSEvents.csv");
    std::uint32_t count = 0;
    for (std::size_t at = 0; (at = lines.find("MERR,", at)) != std::string::npos; ++at) {
        ++count;
    }
    EXPECT_EQ(count, kEvents);
}

}  // namespace
}  // namespace lathwind::agent
