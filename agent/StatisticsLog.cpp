#include "agent/StatisticsLog.h"

#include "utils/AgentInfo.h"
#include "utils/DateTime.h"
#include "utils/HostFacts.h"
#include "utils/Logging.h"
#include "utils/StatisticsReport.h"

namespace lathwind::agent {
namespace {

namespace row {
constexpr int CannotOpen = 27;
constexpr int StartTime = 174;
constexpr int CollectedBy = 175;
constexpr int CollectedInAll = 177;
constexpr int Sent = 178;
constexpr int Pending = 179;
constexpr int DroppedInActions = 180;
constexpr int DroppedByQueue = 181;
constexpr int Submitted = 184;
constexpr int Dropped = 212;
constexpr int CurrentTime = 238;
constexpr int BootTime = 404;
}  // namespace row

void addTime(StatisticsReport& report, int label, std::int64_t seconds) {
    report.addRow(getMessage(label), orUnknown(DateTime::FormatDate(seconds)));
}

void addCount(StatisticsReport& report, int label, std::uint64_t count) {
    report.addRow(getMessage(label), std::to_wstring(count));
}

void addCollector(StatisticsReport& report, const CollectorFacts& collector) {
    std::wstring value = std::to_wstring(collector.events);
    if (collector.dropped != 0) {
        appendFormat(value, L"(%ls%u)", getMessage(row::Dropped), collector.dropped);
    }
    report.addRow(getMessage(row::CollectedBy) + collector.name, value);
}

void addEvents(StatisticsReport& report, const StatisticsFacts& facts) {
    report.addTitle(L"Event information");
    for (const StatisticsRow& message : facts.messages) {
        report.addRow(message);
    }
    if (!facts.fileWatchLine.empty()) {
        report.addLine(facts.fileWatchLine);
    }
    for (const CollectorFacts& collector : facts.collectors) {
        addCollector(report, collector);
    }
    addCount(report, row::CollectedInAll, facts.collected);
    report.addRow({L"File notifications dropped", facts.droppedNotifications});
    const EventRecorder::Totals& recorded = facts.recorded;
    const std::uint64_t submitted = recorded.taken - recorded.dropped;
    addCount(report, row::Submitted, submitted);
    addCount(report, row::Sent, submitted - recorded.pending);
    addCount(report, row::Pending, recorded.pending);
    addCount(report, row::DroppedByQueue, recorded.dropped);
    addCount(report, row::DroppedInActions, facts.dropReports);
}

void addConfiguration(StatisticsReport& report, const StatisticsFacts& facts) {
    report.addTitle(L"Configuration information");
    report.addRow(L"Configuration", facts.configuration.isFinal ? L"final" : L"pending");
    report.addRow({L"Watched files", facts.configuration.files});
    report.addRow({L"Watched log files", facts.configuration.logs});
    report.addRow({L"Reconfigurations", facts.reconfigurations});
}

void writeTo(RotatingLog& log, const std::wstring& text) {
    if (!log.isOpen() && !log.open()) {
        logCatalogued0(Severity::Error, ModuleId::Main, row::CannotOpen);
        return;
    }
    log.write(text);
}

}  // namespace

std::wstring composeStatistics(const StatisticsFacts& facts) {
    StatisticsReport report;
    report.addRuler();
    addTime(report, row::BootTime, facts.bootTime);
    addTime(report, row::StartTime, facts.startTime);
    addTime(report, row::CurrentTime, facts.now);
    addEvents(report, facts);
    addConfiguration(report, facts);
    report.addTitle(L"Lookup information");
    for (const StatisticsRow& lookup : facts.lookups) {
        report.addRow(lookup);
    }
    report.addRuler();
    return report.text();
}

StatisticsLog::StatisticsLog(const AgentInfo& settings)
    : report_(kStatisticsLogPath, settings.statisticsLogBackups(),
              static_cast<std::int64_t>(settings.statisticsLogSizeKb()), RotatingLog::Mode::Size,
              true),
      fileWatch_(kFileWatchLogPath, settings.statisticsLogBackups(),
                 static_cast<std::int64_t>(settings.statisticsLogSizeKb()), RotatingLog::Mode::Size,
                 true) {}

void StatisticsLog::write(const std::wstring& report, const std::wstring& fileWatchLine) {
    writeTo(report_, report);
    if (!fileWatchLine.empty()) {
        writeTo(fileWatch_, fileWatchLine + L"\n");
    }
}

}  // namespace lathwind::agent
