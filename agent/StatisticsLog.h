#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "agent/ConfigurationProgress.h"
#include "agent/EventRecorder.h"
#include "utils/RotatingLog.h"
#include "utils/StatisticsRow.h"

namespace lathwind {
class AgentInfo;
}

namespace lathwind::agent {

inline constexpr const wchar_t* kStatisticsLogPath = L"../log/statistics/agent.log";
inline constexpr const wchar_t* kFileWatchLogPath = L"../log/statistics/rt-fim.log";

// A collector that has no line of its own making.
struct CollectorFacts {
    std::wstring name;
    std::uint64_t events = 0;  // handed on
    std::uint64_t dropped = 0;
};

// Everything that a report tells. Times in seconds since 1970.
struct StatisticsFacts {
    std::int64_t bootTime = 0;  // 0 where it is not known
    std::int64_t startTime = 0;
    std::int64_t now = 0;
    std::vector<StatisticsRow> messages;  // of the log writer
    std::wstring fileWatchLine;           // empty while files are not watched
    std::vector<CollectorFacts> collectors;
    std::uint64_t collected = 0;  // events of all collectors
    std::uint32_t droppedNotifications =
        0;  // of changes, for want of room between engine's threads
    EventRecorder::Totals recorded;
    std::uint32_t dropReports = 0;  // of full action queues
    ConfigurationFacts configuration;
    std::uint32_t reconfigurations = 0;
    std::vector<StatisticsRow> lookups;
};
std::wstring composeStatistics(const StatisticsFacts& facts);

// The two logs of statistics: the agent's report, and the line of the file-watch collector by
// itself. Used by one thread.
class StatisticsLog {
public:
    explicit StatisticsLog(const AgentInfo& settings);

    // A log that cannot be opened is reported (IA_0013), and tried again the next time.
    void write(const std::wstring& report, const std::wstring& fileWatchLine);

private:
    RotatingLog report_;
    RotatingLog fileWatch_;
};

}  // namespace lathwind::agent
