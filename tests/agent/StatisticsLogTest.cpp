#include <gtest/gtest.h>

#include "agent/StatisticsLog.h"
#include "support/BinaryFolder.h"
#include "support/LogCapture.h"
#include "utils/AgentInfo.h"
#include "utils/DateTime.h"

namespace lathwind::agent {
namespace {

// The report with one blank in front of each separator: how many there are depends on the labels
// of the whole process.
std::wstring squeezed(std::wstring text) {
    for (std::size_t at = 0; (at = text.find(L"  : ")) != std::wstring::npos;) {
        text.erase(at, 1);
    }
    return text;
}

TEST(StatisticsLog, TheReportNamesEveryLoss) {
    StatisticsFacts facts;
    facts.startTime = 1384909323;
    facts.now = 1384909400;
    facts.messages = {{L"Errors reported by Agent", 1}};
    facts.fileWatchLine = L"made by the collector";
    facts.collectors = {{L"Agent", 7, 0}, {L"Door", 8, 2}};
    facts.collected = 115;
    facts.droppedNotifications = 5;
    facts.recorded = {110, 4, 6};
    facts.dropReports = 1;
    facts.configuration = {true, 20, 3, 0};
    facts.reconfigurations = 2;
    facts.lookups = {{L"SID to name lookups", 9}};
    const std::wstring ruler = std::wstring(72, L'=') + L"\n";
    EXPECT_EQ(squeezed(composeStatistics(facts)),
              ruler + L"System boot time : unknown\nAgent start time : " +
                  DateTime::FormatDate(1384909323) + L"\nAgent current time : " +
                  DateTime::FormatDate(1384909400) +
                  L"\n\nEvent information\n-----------------\n"
                  L"Errors reported by Agent : 1\n"
                  L"made by the collector\n"
                  L"Events collected by Agent : 7\n"
                  L"Events collected by Door : 8(Events dropped:2)\n"
                  L"Total events collected : 115\n"
                  L"File notifications dropped : 5\n"
                  L"Events submitted to Orvel queue : 104\n"
                  L"Events sent to Orvel : 100\n"
                  L"Events pending in Orvel queue : 4\n"
                  L"Events dropped by Orvel queue : 6\n"
                  L"Events dropped in action queues : 1\n"
                  L"\nConfiguration information\n-------------------------\n"
                  L"Configuration : final\nWatched files : 20\nWatched log files : 3\n"
                  L"Reconfigurations : 2\n"
                  L"\nLookup information\n------------------\nSID to name lookups : 9\n" +
                  ruler);
}

TEST(StatisticsLog, ALogThatDoesNotOpenIsReportedAndTriedAgain) {
    const testing::BinaryFolder installation;
    const testing::LogCapture log;
    const AgentInfoRef settings;
    StatisticsLog statistics(*settings);
    installation.root.write("log/statistics", "a file where the folder should be");
    statistics.write(L"report\n", L"line");
    ASSERT_EQ(log.messages.size(), 2u);
    EXPECT_EQ(log.messages[0].severity, Severity::Error);
    EXPECT_EQ(log.messages[0].text.substr(0, 8), L"IA_0013:");
    std::filesystem::remove(installation.root.native("log/statistics"));
    statistics.write(L"report\n", L"line");
    statistics.write(L"second\n", L"");
    EXPECT_EQ(log.messages.size(), 2u);
    std::string report = installation.root.read("log/statistics/agent.log");
    std::erase(report, '\r');
    EXPECT_EQ(report, "report\nsecond\n");
    EXPECT_EQ(installation.root.read("log/statistics/rt-fim.log").substr(0, 4), "line");
}

}  // namespace
}  // namespace lathwind::agent
