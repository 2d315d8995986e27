#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace lathwind {

class IniFile;

// The settings with a numeric value or a switch. Each has a row in SettingsTable.cpp, which says
// where it stands, what it is by default, and the range that its value is put into.
enum class Setting : std::size_t {
    // LocalAgent.ini
    FileEventsLimit,
    EventLogEventsLimit,
    ErrorLogQueueLimit,
    IpsDriverEventsLimit,
    HttpVirtualEventsLimit,
    PluginEventsLimit,
    RegistryEventsLimit,
    EventProcessingQueueLimit,
    ExecuteCommandsActionLimit,
    DisableAccountActionLimit,
    NotifyActionLimit,
    KillProcessActionLimit,
    KillSessionActionLimit,
    AppendToFileSize,
    AppendToFileBackups,
    ErrorLogSize,
    ErrorLogBackups,
    LowMemoryFootprint,
    IpPollInterval,
    StatisticsOverride,
    StatisticsLogSize,
    StatisticsLogBackups,
    DiskCheckInterval,
    DiskCheckEventCount,
    FileEventBufferSize,
    DiffFileSizeLimit,
    StateSavingFrequency,
    CloseLogAfterRead,
    EnableFilewatchFilter,
    EnableFilewatchCollectors,
    DisableFloppyPolling,
    GuidResolve,
    GroupsResolve,
    AdResolve,
    FormatObjectCache,
    HeapValidation,
    UnsafeExitOnCrash,
    DeriveFromEventLog,
    DeriveFromSyslog,
    // agent.ini
    EventsToReportPerSecond,
    CollectionFrequency,
    HeartbeatFrequency,
    DiskLowerThreshold,
    DiskUpperThreshold,
    EnableEventLogCollector,
    EnableRegistryCollector,
    EnableAuditCollector,
    EnableIpsDriverCollector,
    WatchedFilesChecksum,
    MonitorLastAccessTime,
    RecursionLevel,
    ShortPollInterval,
    LongPollInterval,
};
inline constexpr std::size_t kSettingCount =
    static_cast<std::size_t>(Setting::LongPollInterval) + 1;

// What is read together: all of LocalAgent.ini, and agent.ini in three steps.
enum class SettingGroup { Local, Distributed, Collectors, FileCollector };

// The values of all numeric settings. Not locked.
class SettingsTable {
public:
    SettingsTable() noexcept;  // the defaults

    // Reads the group's settings. A missing or empty key gives the default, and a value out of
    // range the nearest one within.
    void read(SettingGroup group, const IniFile& file);

    std::uint64_t value(Setting setting) const noexcept;
    std::uint32_t number(Setting setting) const noexcept;  // the low 32 bits
    bool flag(Setting setting) const noexcept;

private:
    std::array<std::uint64_t, kSettingCount> values_{};
};

enum class RolloverType : std::uint32_t { Size = 0, Date = 1, None = 2 };

// "size", "date" or "none" in any case, or their number; a larger number is None.
RolloverType readRolloverType(const IniFile& agentIni);
// The text that goes with the type; what it means depends on the type.
std::wstring readRolloverValue(const IniFile& agentIni);

// Where the logs and the event files lie.
inline constexpr const wchar_t* kLogFolder = L"../log/";

// The path of the event log: an absolute one as it stands, the file name of any other one in the
// log folder.
std::wstring readEventLogPath(const IniFile& localAgentIni);

}  // namespace lathwind
