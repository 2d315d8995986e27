#include "utils/SettingsTable.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string_view>

#include "utils/IniFile.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kEventManagement = L"Event Management";
constexpr std::wstring_view kStatisticsManagement = L"Statistics Management";
constexpr std::wstring_view kCollectorManagement = L"Collector Management";
constexpr std::wstring_view kDiskMonitor = L"Disk Monitor";
constexpr std::wstring_view kFileCollector = L"File Collector";
constexpr std::wstring_view kEventLogCollector = L"Event Log Collector";
constexpr std::wstring_view kSyslogCollector = L"Syslog Collector";
constexpr std::wstring_view kLogDebugs = L"Log Debugs";
constexpr std::wstring_view kAgent = L"Agent";

enum class Kind { Number32, Number64, Flag };

constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

// One numeric setting: where it stands, its default, and the range that its value is put into.
struct SettingRow {
    Setting setting;
    SettingGroup group;
    std::wstring_view section;
    std::wstring_view key;
    std::uint64_t fallback;
    std::uint64_t low = 0;
    std::uint64_t high = kNoLimit;
    Kind kind = Kind::Number32;
};

constexpr SettingRow local(Setting setting, std::wstring_view section, std::wstring_view key,
                           std::uint64_t fallback, std::uint64_t low = 0,
                           std::uint64_t high = kNoLimit, Kind kind = Kind::Number32) {
    return {setting, SettingGroup::Local, section, key, fallback, low, high, kind};
}

constexpr SettingRow localFlag(Setting setting, std::wstring_view section, std::wstring_view key,
                               bool fallback) {
    return local(setting, section, key, fallback ? 1 : 0, 0, 1, Kind::Flag);
}

constexpr SettingGroup distributedGroupOf(std::wstring_view section) {
    return section == kCollectorManagement ? SettingGroup::Collectors
           : section == kFileCollector     ? SettingGroup::FileCollector
                                           : SettingGroup::Distributed;
}

constexpr SettingRow agent(Setting setting, std::wstring_view section, std::wstring_view key,
                           std::uint64_t fallback, std::uint64_t low = 0,
                           std::uint64_t high = kNoLimit) {
    return {setting, distributedGroupOf(section), section, key, fallback, low, high};
}

constexpr SettingRow agentFlag(Setting setting, std::wstring_view section, std::wstring_view key,
                               bool fallback) {
    SettingRow row = agent(setting, section, key, fallback ? 1 : 0, 0, 1);
    row.kind = Kind::Flag;
    return row;
}

// In the order of the enumeration.
constexpr SettingRow kSettings[] = {
    local(Setting::FileEventsLimit, kEventManagement, L"File Collector Events Limit", 5000, 100),
    local(Setting::EventLogEventsLimit, kEventManagement, L"Event Log Collector Events Limit", 5000,
          100),
    // The same key sizes the log writer's queue.
    local(Setting::ErrorLogQueueLimit, kEventManagement, L"Event Log Collector Events Limit", 5000,
          100),
    local(Setting::IpsDriverEventsLimit, kEventManagement, L"IPS Driver Collector Events Limit",
          5000, 100),
    local(Setting::HttpVirtualEventsLimit, kEventManagement, L"Http Virtual Collector Events Limit",
          5000, 100),
    local(Setting::PluginEventsLimit, kEventManagement, L"Plugin Collector Events Limit", 5000,
          100),
    local(Setting::RegistryEventsLimit, kEventManagement, L"Registry Collector Events Limit", 5000,
          100),
    local(Setting::EventProcessingQueueLimit, kEventManagement, L"Event Processing Queue Limit",
          15000, 1000),
    local(Setting::ExecuteCommandsActionLimit, kEventManagement, L"Execute Commands Action Limit",
          1000, 100),
    local(Setting::DisableAccountActionLimit, kEventManagement, L"Disable Account Action Limit",
          1000, 100),
    local(Setting::NotifyActionLimit, kEventManagement, L"Notify Action Limit", 1000, 100),
    local(Setting::KillProcessActionLimit, kEventManagement, L"Kill Process Action Limit", 1000,
          100),
    // Ten times the minimum of its siblings: installations rely on no smaller one taking effect.
    local(Setting::KillSessionActionLimit, kEventManagement, L"Kill Session Action Limit", 1000,
          1000),
    local(Setting::AppendToFileSize, kEventManagement, L"Append To File Size(KB)", 20480, 5120,
          kNoLimit, Kind::Number64),
    local(Setting::AppendToFileBackups, kEventManagement, L"Append To File Backups", 10, 1),
    local(Setting::ErrorLogSize, kEventManagement, L"Error Log File Size(KB)", 5120, 2048, kNoLimit,
          Kind::Number64),
    local(Setting::ErrorLogBackups, kEventManagement, L"Error Log File Backups", 10, 1),
    local(Setting::LowMemoryFootprint, kEventManagement, L"Low Memory Footprint", 0),
    local(Setting::IpPollInterval, kEventManagement, L"IP Address Change Poll Interval", 30, 10),
    local(Setting::StatisticsOverride, kStatisticsManagement, L"Override Statistics Frequency",
          1200),
    local(Setting::StatisticsLogSize, kStatisticsManagement, L"Log Size(KB)", 1024, 3, kNoLimit,
          Kind::Number64),
    local(Setting::StatisticsLogBackups, kStatisticsManagement, L"Log Backups", 10, 1),
    local(Setting::DiskCheckInterval, kDiskMonitor, L"Check Interval", 30),
    local(Setting::DiskCheckEventCount, kDiskMonitor, L"Check Event Count", 500),
    local(Setting::FileEventBufferSize, kFileCollector, L"File Collector Event Buffer Size", 32, 16,
          1024),
    local(Setting::DiffFileSizeLimit, kFileCollector, L"File Collector Diff File Size Limit", 100,
          1, 10240),
    local(Setting::StateSavingFrequency, kFileCollector, L"DatFile State Saving Frequency", 60),
    localFlag(Setting::CloseLogAfterRead, kFileCollector, L"Close Log File After Read", true),
    localFlag(Setting::EnableFilewatchFilter, kFileCollector, L"Enable Filewatch Filter", true),
    local(Setting::EnableFilewatchCollectors, kFileCollector, L"Enable Filewatch based Collectors",
          1),
    localFlag(Setting::DisableFloppyPolling, kFileCollector, L"Disable Floppy Polling", true),
    local(Setting::GuidResolve, kEventLogCollector, L"GUID Resolve", 1),
    local(Setting::GroupsResolve, kEventLogCollector, L"Groups Resolve", 0),
    local(Setting::AdResolve, kEventLogCollector, L"Enable AD Resolve", 2, 0, 2),
    localFlag(Setting::FormatObjectCache, kEventLogCollector, L"Enable Format Object Cache", false),
    localFlag(Setting::HeapValidation, kAgent, L"Heap Validation", true),
    localFlag(Setting::UnsafeExitOnCrash, kLogDebugs, L"Unsafe Exit On Crash", false),
    localFlag(Setting::DeriveFromEventLog, kEventLogCollector, L"Derive Virtual Agents", false),
    localFlag(Setting::DeriveFromSyslog, kSyslogCollector, L"Derive Virtual Agents", false),

    agent(Setting::EventsToReportPerSecond, kEventManagement, L"Events To Report Per Second", 20,
          1),
    agent(Setting::CollectionFrequency, kStatisticsManagement, L"Collection Frequency", 1200, 120),
    agent(Setting::HeartbeatFrequency, kStatisticsManagement, L"HeartBeat Frequency", 30, 1),
    agent(Setting::DiskLowerThreshold, kDiskMonitor, L"Lower Threshold", 70, 0, 100),
    agent(Setting::DiskUpperThreshold, kDiskMonitor, L"Upper Threshold", 80),
    agent(Setting::EnableEventLogCollector, kCollectorManagement, L"Enable Event Log Collector", 1),
    agent(Setting::EnableRegistryCollector, kCollectorManagement, L"Enable Registry Collector", 1),
    agent(Setting::EnableAuditCollector, kCollectorManagement, L"Enable Audit Collector", 1),
    agent(Setting::EnableIpsDriverCollector, kCollectorManagement, L"Enable IPS Driver Collector",
          1),
    agentFlag(Setting::WatchedFilesChecksum, kFileCollector, L"Enable Watched Files Checksum",
              false),
    agentFlag(Setting::MonitorLastAccessTime, kFileCollector, L"Monitor Last Access Time", false),
    agent(Setting::RecursionLevel, kFileCollector, L"File Collector Recursion Level", 2, 1),
    agent(Setting::ShortPollInterval, kFileCollector, L"short poll interval", 60, 10),
    agent(Setting::LongPollInterval, kFileCollector, L"long poll interval", 480, 1),
};

constexpr std::size_t indexOf(Setting setting) {
    return static_cast<std::size_t>(setting);
}

constexpr bool isInOrder() {
    for (std::size_t i = 0; i < std::size(kSettings); ++i) {
        if (indexOf(kSettings[i].setting) != i) {
            return false;
        }
    }
    return true;
}
static_assert(isInOrder());
static_assert(std::size(kSettings) == kSettingCount);

std::uint64_t readValue(const IniFile& file, const SettingRow& row) {
    std::uint64_t value = 0;
    switch (row.kind) {
        case Kind::Flag:
            value = file.getBoolean(row.section, row.key, row.fallback != 0) ? 1 : 0;
            break;
        case Kind::Number32:
            value = file.getInteger(row.section, row.key, static_cast<std::uint32_t>(row.fallback));
            break;
        case Kind::Number64:
            value = file.getInteger(row.section, row.key, row.fallback);
            break;
    }
    return std::clamp(value, row.low, row.high);
}

constexpr wchar_t kDefaultEventLogFile[] = L"event.log";

}  // namespace

SettingsTable::SettingsTable() noexcept {
    for (const SettingRow& row : kSettings) {
        values_[indexOf(row.setting)] = row.fallback;
    }
}

void SettingsTable::read(SettingGroup group, const IniFile& file) {
    for (const SettingRow& row : kSettings) {
        if (row.group == group) {
            values_[indexOf(row.setting)] = readValue(file, row);
        }
    }
}

std::uint64_t SettingsTable::value(Setting setting) const noexcept {
    return values_[indexOf(setting)];
}

std::uint32_t SettingsTable::number(Setting setting) const noexcept {
    return static_cast<std::uint32_t>(value(setting));
}

bool SettingsTable::flag(Setting setting) const noexcept {
    return value(setting) != 0;
}

RolloverType readRolloverType(const IniFile& agentIni) {
    constexpr std::wstring_view kKey = L"EventFile Rollover Type";
    const std::wstring text = agentIni.getText(kEventManagement, kKey);
    if (equalsNoCase(text, L"size")) {
        return RolloverType::Size;
    }
    if (equalsNoCase(text, L"date")) {
        return RolloverType::Date;
    }
    if (equalsNoCase(text, L"none")) {
        return RolloverType::None;
    }
    const auto number = agentIni.getInteger<std::uint32_t>(kEventManagement, kKey, 0);
    return static_cast<RolloverType>(std::min<std::uint32_t>(number, 2));
}

std::wstring readRolloverValue(const IniFile& agentIni) {
    return agentIni.getText(kEventManagement, L"EventFile Rollover Value", L"100");
}

std::wstring readEventLogPath(const IniFile& localAgentIni) {
    std::wstring value =
        localAgentIni.getText(kEventManagement, L"Event Log File", kDefaultEventLogFile);
    if (value.size() > 1 && value[1] == L':') {
        return value;
    }
    const std::wstring name = value.substr(value.find_last_of(L"\\/") + 1);
    return kLogFolder + (name.empty() ? kDefaultEventLogFile : name);
}

}  // namespace lathwind
