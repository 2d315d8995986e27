#include "utils/AgentInfo.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "utils/IniFile.h"
#include "utils/Logging.h"
#include "utils/ProcessObject.h"
#include "utils/SharedSingleton.h"
#include "utils/Text.h"

namespace lathwind {

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

enum class SettingsFile { LocalAgent, Agent };
enum class Kind { Number32, Number64, Flag };

constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();

// One numeric setting: where it stands, its default, and the range that its value is put into.
struct SettingRow {
    Setting setting;
    SettingsFile file;
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
    return {setting, SettingsFile::LocalAgent, section, key, fallback, low, high, kind};
}

constexpr SettingRow localFlag(Setting setting, std::wstring_view section, std::wstring_view key,
                               bool fallback) {
    return local(setting, section, key, fallback ? 1 : 0, 0, 1, Kind::Flag);
}

constexpr SettingRow agent(Setting setting, std::wstring_view section, std::wstring_view key,
                           std::uint64_t fallback, std::uint64_t low = 0,
                           std::uint64_t high = kNoLimit, Kind kind = Kind::Number32) {
    return {setting, SettingsFile::Agent, section, key, fallback, low, high, kind};
}

constexpr SettingRow agentFlag(Setting setting, std::wstring_view section, std::wstring_view key,
                               bool fallback) {
    return agent(setting, section, key, fallback ? 1 : 0, 0, 1, Kind::Flag);
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

std::uint64_t read(const IniFile& file, const SettingRow& row) {
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

constexpr std::uint32_t kDefaultStatisticsFrequency = 1200;
constexpr std::uint32_t kMinOverrideFrequency = 5;

constexpr wchar_t kDefaultEventLogFile[] = L"event.log";

RolloverType rolloverTypeOf(const IniFile& file) {
    constexpr std::wstring_view kKey = L"EventFile Rollover Type";
    const std::wstring text = file.getText(kEventManagement, kKey);
    if (equalsNoCase(text, L"size")) {
        return RolloverType::Size;
    }
    if (equalsNoCase(text, L"date")) {
        return RolloverType::Date;
    }
    if (equalsNoCase(text, L"none")) {
        return RolloverType::None;
    }
    const auto number = file.getInteger<std::uint32_t>(kEventManagement, kKey, 0);
    return static_cast<RolloverType>(std::min<std::uint32_t>(number, 2));
}

// An absolute path stays; anything else lies in the log folder, whatever folder it names.
std::wstring eventLogPathOf(const std::wstring& value) {
    if (value.size() > 1 && value[1] == L':') {
        return value;
    }
    const std::wstring name = value.substr(value.find_last_of(L"\\/") + 1);
    return kLogFolder + (name.empty() ? kDefaultEventLogFile : name);
}

// What is unknown about the system, and the catalogue row that says so.
enum class OsProblem : int { None = 0, Version3 = 22, Minor = 23, Major = 24, Platform = 25 };

struct OsAnswer {
    std::uint32_t flags = 0;
    OsProblem problem = OsProblem::None;
};

// The one Linux bit in use: the range is shared by systems of several kernels.
constexpr std::uint32_t kLinuxFlag = 0x20000;

OsAnswer minorVersion5(std::uint32_t minor, bool isWow64) {
    switch (minor) {
        case 0:
            return {2};
        case 1:
            return {4};
        case 2:
            return {isWow64 ? 8u : 16u};
        default:
            return {0, OsProblem::Minor};
    }
}

OsAnswer osOf(const platform::OsVersion& version, bool isWow64) {
    if (version.platform == platform::osPlatform::Linux) {
        return {kLinuxFlag};
    }
    if (version.platform != platform::osPlatform::WindowsNt) {
        return {0, OsProblem::Platform};
    }
    switch (version.major) {
        case 3:
            return {0, OsProblem::Version3};
        case 4:
            return {1};
        case 5:
            return minorVersion5(version.minor, isWow64);
        case 6:
            return version.minor <= 2 ? OsAnswer{32u << version.minor}
                                      : OsAnswer{0, OsProblem::Minor};
        default:
            return {0, OsProblem::Major};
    }
}

std::wstring orUnknown(std::wstring text) {
    return text.empty() ? kUnknownFact : text;
}

std::wstring environment(const std::wstring& name) {
    std::wstring value;
    return platform::host().environment(name, value) == platform::error::Success ? value
                                                                                 : std::wstring();
}

constinit std::atomic<bool> loggingSynchronous{false};

constexpr std::size_t kCollectorBits = 16;

}  // namespace

SettingsPaths SettingsPaths::in(const std::wstring& systemFolder,
                                const std::wstring& companionFolder) {
    SettingsPaths paths;
    paths.localAgent = systemFolder + L"LocalAgent.ini";
    paths.agent = systemFolder + L"agent.ini";
    paths.policyInfo = systemFolder + L"AgentPolicyInfo.ini";
    paths.configInfo = systemFolder + L"AgentConfigInfo.ini";
    paths.companion = companionFolder + L"agent.ini";
    return paths;
}

std::wstring_view osNameOf(std::uint32_t flags) noexcept {
    static constexpr std::pair<std::uint32_t, std::wstring_view> kNames[] = {
        {osFlag::Windows, L"windows"}, {osFlag::Solaris, L"solaris"}, {osFlag::Aix, L"aix"},
        {osFlag::Linux, L"linux"},     {osFlag::HpUx, L"hpux"},       {osFlag::Tru64, L"tru64"}};
    for (const auto& [range, name] : kNames) {
        if ((flags & range) != 0) {
            return name;
        }
    }
    return {};
}

wchar_t osLetterOf(std::uint32_t flags) noexcept {
    static constexpr std::pair<std::uint32_t, wchar_t> kLetters[] = {
        {osFlag::Windows, L'W'}, {osFlag::Solaris, L'S'}, {osFlag::Linux, L'L'},
        {osFlag::Aix, L'A'},     {osFlag::HpUx, L'H'},    {osFlag::Tru64, L'T'}};
    for (const auto& [range, letter] : kLetters) {
        if ((flags & range) != 0) {
            return letter;
        }
    }
    return L'O';
}

AgentInfo::AgentInfo(SettingsPaths paths)
    : paths_(std::move(paths)),
      ipAddresses_{kUnknownFact, kUnknownFact},
      ipAddress_(&ipAddresses_[0]),
      localAgent_(std::make_unique<IniFile>()),
      agent_(std::make_unique<IniFile>()),
      policyInfo_(std::make_unique<IniFile>()),
      configInfo_(std::make_unique<IniFile>()),
      collectorLock_(platformFactory.createLock()) {
    static_assert(std::size(kSettings) == kSettingCount);
    setDefaults();
}

AgentInfo::~AgentInfo() = default;

void AgentInfo::setDefaults() {
    for (const SettingRow& row : kSettings) {
        values_[indexOf(row.setting)] = row.fallback;
    }
    statisticsFrequency_ = kDefaultStatisticsFrequency;
    rolloverValue_ = L"100";
    eventLogFilePath_ = eventLogPathOf(kDefaultEventLogFile);
    hostName_ = kUnknownFact;
    logonDomain_ = kUnknownFact;
    logonServer_ = kUnknownFact;
    processName_ = kUnknownFact;
    processOwner_ = kUnknownFact;
}

bool AgentInfo::reload() {
    lastLoad_ = loadAll();
    return lastLoad_;
}

bool AgentInfo::loadAll() {
    const bool isOsKnown = determineOs();
    localAgent_->load(paths_.localAgent);
    setIpAddress(lookUpIpAddress());
    hostName_ = lookUpHostName();
    determineUser();
    listLoggedOnUsers();
    readLocalAgentSettings();
    readProcess();
    agent_->load(paths_.agent);
    readAgentSettings();
    readCollectorConfiguration();
    readFileCollectorConfiguration();
    agent_->close();
    policyInfo_->load(paths_.policyInfo);
    configInfo_->load(paths_.configInfo);
    readCompanion();
    localAgent_->close();
    return isOsKnown;
}

void AgentInfo::readLocalAgentSettings() {
    for (const SettingRow& row : kSettings) {
        if (row.file == SettingsFile::LocalAgent) {
            values_[indexOf(row.setting)] = read(*localAgent_, row);
        }
    }
    eventLogFilePath_ = eventLogPathOf(
        localAgent_->getText(kEventManagement, L"Event Log File", kDefaultEventLogFile));
    deriveFlags_ = (flag(Setting::DeriveFromEventLog) ? deriveFlag::EventLog : 0) |
                   (flag(Setting::DeriveFromSyslog) ? deriveFlag::Syslog : 0);
    loggingSynchronous.store(unsafeExitOnCrash(), std::memory_order_relaxed);
}

void AgentInfo::readAgentSettings() {
    for (const SettingRow& row : kSettings) {
        if (row.file == SettingsFile::Agent && row.section != kFileCollector) {
            values_[indexOf(row.setting)] = read(*agent_, row);
        }
    }
    // An override of exactly the default is no override, so that a policy decides; any other one
    // is the way below the two minutes that a policy may ask for.
    const std::uint32_t override = number(Setting::StatisticsOverride);
    statisticsFrequency_ = override == kDefaultStatisticsFrequency
                               ? number(Setting::CollectionFrequency)
                               : std::max(override, kMinOverrideFrequency);
    rolloverType_ = rolloverTypeOf(*agent_);
    rolloverValue_ = agent_->getText(kEventManagement, L"EventFile Rollover Value", L"100");
}

void AgentInfo::readFileCollectorConfiguration() {
    for (const SettingRow& row : kSettings) {
        if (row.file == SettingsFile::Agent && row.section == kFileCollector) {
            values_[indexOf(row.setting)] = read(*agent_, row);
        }
    }
}

// "Enable Http Virtual Collector" has a key by its name's pattern, but no policy has ever been
// written with it in mind: the collector stays off.
void AgentInfo::readCollectorConfiguration() {
    disableAllCollectors();
    const auto isOne = [this](Setting setting) { return number(setting) == 1; };
    setCollectorEnabled(collectorBit::File, isOne(Setting::EnableFilewatchCollectors));
    IniFile companion;
    if (companion.load(paths_.companion) &&
        companion.getBoolean(L"Driver", L"ips.enabled", false) &&
        isOne(Setting::EnableIpsDriverCollector) && isServiceRunning(L"QVRIPSDriver")) {
        setCollectorEnabled(collectorBit::IpsDriver, true);
    }
    setCollectorEnabled(collectorBit::EventLog, isOne(Setting::EnableEventLogCollector));
    setCollectorEnabled(collectorBit::Registry, isOne(Setting::EnableRegistryCollector));
    setCollectorEnabled(collectorBit::Audit, isOne(Setting::EnableAuditCollector));
}

void AgentInfo::readCompanion() {
    IniFile companion;
    companion.load(paths_.companion);
    agentFeatures_ = companion.getText(kAgent, L"agent.features");
    agentId_ = companion.getText(kAgent, L"agent.id");
}

void AgentInfo::readProcess() {
    processId_ = platform::processes().currentId();
    const auto process = platformFactory.createProcess(processId_);
    processName_ = toLower(orUnknown(process->name()));
    processOwner_ = toLower(orUnknown(process->owner()));
}

bool AgentInfo::determineOs() {
    platform::Host& host = platform::host();
    platform::OsVersion version;
    osFlags_ = 0;
    if (host.osVersion(true, version) != platform::error::Success &&
        host.osVersion(false, version) != platform::error::Success) {
        return false;
    }
    const OsAnswer answer = osOf(version, host.isWow64Process());
    osFlags_ = answer.flags;
    if (answer.problem != OsProblem::None) {
        logCatalogued(Severity::Error, ModuleId::Utils, static_cast<int>(answer.problem));
        return false;
    }
    return true;
}

std::wstring AgentInfo::lookUpIpAddress() {
    std::wstring address;
    if (platform::host().ipAddress(address) != platform::error::Success) {
        address.clear();
    }
    return orUnknown(address);
}

std::wstring AgentInfo::lookUpHostName() {
    std::wstring name;
    if (platform::host().hostName(name) != platform::error::Success) {
        name.clear();
    }
    return toLower(orUnknown(name));
}

void AgentInfo::determineUser() {
    platform::WorkstationUser user;
    platform::Accounts& accounts = platform::accounts();
    if (accounts.workstationUser(user) != platform::error::Success) {
        user = {};
        if (accounts.currentUser(user.user) != platform::error::Success) {
            user.user = environment(L"USERNAME");
        }
    }
    if (user.logonDomain.empty()) {
        user.logonDomain = environment(L"USERDOMAIN");
    }
    userName_ = toLower(user.user);
    logonDomain_ = toLower(orUnknown(user.logonDomain));
    logonServer_ = toLower(orUnknown(user.logonServer));
}

void AgentInfo::listLoggedOnUsers() {
    loggedOnUsers_.clear();
    std::uint32_t resume = 0;
    std::size_t before = 0;
    platform::ErrorCode code = platform::error::MoreData;
    do {
        before = loggedOnUsers_.size();
        code = platform::accounts().loggedOnUsers(resume, loggedOnUsers_);
        // A system that promises more without giving any would keep us here for ever.
    } while (code == platform::error::MoreData && loggedOnUsers_.size() > before);
}

bool AgentInfo::pollIpAddress() {
    const std::wstring address = lookUpIpAddress();
    debugLog(ModuleId::Utils, L"Agent IP Address : %s", address);
    if (address == L"127.0.0.1" || address == ipAddress()) {
        return false;
    }
    setIpAddress(address);
    debugLog(ModuleId::Utils, L"New IP Address : %s", address);
    return true;
}

void AgentInfo::setIpAddress(const std::wstring& address) {
    const bool isFirst = ipAddress_.load(std::memory_order_relaxed) == &ipAddresses_[0];
    std::wstring& other = ipAddresses_[isFirst ? 1 : 0];
    other = address;
    ipAddress_.store(&other, std::memory_order_release);
}

std::uint64_t AgentInfo::value(Setting setting) const {
    return values_[indexOf(setting)];
}

std::uint32_t AgentInfo::number(Setting setting) const {
    return static_cast<std::uint32_t>(value(setting));
}

bool AgentInfo::flag(Setting setting) const {
    return value(setting) != 0;
}

bool AgentInfo::isReserved() const {
    return false;
}
std::wstring AgentInfo::hostName() const {
    return hostName_;
}
std::wstring AgentInfo::ipAddress() const {
    return *ipAddress_.load(std::memory_order_acquire);
}
std::wstring AgentInfo::reportedHostName() const {
    return hostName_;
}
std::wstring AgentInfo::logonDomain() const {
    return logonDomain_;
}
std::wstring AgentInfo::userName() const {
    return userName_;
}
std::vector<std::wstring> AgentInfo::loggedOnUsers() const {
    return loggedOnUsers_;
}
std::wstring AgentInfo::logonServer() const {
    return logonServer_;
}
std::uint32_t AgentInfo::statisticsFrequency() const {
    return statisticsFrequency_;
}
std::uint32_t AgentInfo::heartbeatFrequency() const {
    return number(Setting::HeartbeatFrequency);
}
std::uint64_t AgentInfo::statisticsLogSizeKb() const {
    return value(Setting::StatisticsLogSize);
}
std::uint32_t AgentInfo::statisticsLogBackups() const {
    return number(Setting::StatisticsLogBackups);
}
std::uint64_t AgentInfo::appendToFileSizeKb() const {
    return value(Setting::AppendToFileSize);
}
std::uint32_t AgentInfo::appendToFileBackups() const {
    return number(Setting::AppendToFileBackups);
}
RolloverType AgentInfo::eventFileRolloverType() const {
    return rolloverType_;
}
std::wstring AgentInfo::eventFileRolloverValue() const {
    return rolloverValue_;
}
std::uint32_t AgentInfo::diskLowerThreshold() const {
    return number(Setting::DiskLowerThreshold);
}
std::uint32_t AgentInfo::diskUpperThreshold() const {
    return number(Setting::DiskUpperThreshold);
}
std::uint32_t AgentInfo::diskCheckInterval() const {
    return number(Setting::DiskCheckInterval);
}
std::uint32_t AgentInfo::diskCheckEventCount() const {
    return number(Setting::DiskCheckEventCount);
}
std::uint32_t AgentInfo::eventsToReportPerSecond() const {
    return number(Setting::EventsToReportPerSecond);
}
std::uint32_t AgentInfo::reserved1() const {
    return 0;
}
std::uint32_t AgentInfo::reserved2() const {
    return 0;
}
std::uint32_t AgentInfo::processId() const {
    return processId_;
}
std::wstring AgentInfo::eventLogFilePath() const {
    return eventLogFilePath_;
}
std::uint32_t AgentInfo::errorLogBackups() const {
    return number(Setting::ErrorLogBackups);
}
std::uint64_t AgentInfo::errorLogSizeKb() const {
    return value(Setting::ErrorLogSize);
}
std::uint32_t AgentInfo::executeCommandsActionLimit() const {
    return number(Setting::ExecuteCommandsActionLimit);
}
std::uint32_t AgentInfo::disableAccountActionLimit() const {
    return number(Setting::DisableAccountActionLimit);
}
std::uint32_t AgentInfo::notifyActionLimit() const {
    return number(Setting::NotifyActionLimit);
}
std::uint32_t AgentInfo::killProcessActionLimit() const {
    return number(Setting::KillProcessActionLimit);
}
std::uint32_t AgentInfo::killSessionActionLimit() const {
    return number(Setting::KillSessionActionLimit);
}
std::wstring AgentInfo::userOfProcess(const std::wstring& user) const {
    return equalsNoCase(user, userName_) ? logonDomain_ : kUnknownFact;
}
std::uint32_t AgentInfo::fileEventsLimit() const {
    return number(Setting::FileEventsLimit);
}
std::uint32_t AgentInfo::fileEventBufferSize() const {
    return number(Setting::FileEventBufferSize);
}
std::uint32_t AgentInfo::eventLogEventsLimit() const {
    return number(Setting::EventLogEventsLimit);
}
std::uint32_t AgentInfo::ipsDriverEventsLimit() const {
    return number(Setting::IpsDriverEventsLimit);
}
std::uint32_t AgentInfo::httpVirtualEventsLimit() const {
    return number(Setting::HttpVirtualEventsLimit);
}
std::uint32_t AgentInfo::pluginEventsLimit() const {
    return number(Setting::PluginEventsLimit);
}
std::uint32_t AgentInfo::errorLogQueueLimit() const {
    return number(Setting::ErrorLogQueueLimit);
}
std::uint32_t AgentInfo::eventProcessingQueueLimit() const {
    return number(Setting::EventProcessingQueueLimit);
}
bool AgentInfo::isDiskMonitored() const {
    return diskLowerThreshold() != 0 && diskUpperThreshold() != 0 &&
           (diskCheckInterval() != 0 || diskCheckEventCount() != 0);
}
bool AgentInfo::lowMemoryFootprint() const {
    return !flag(Setting::LowMemoryFootprint);
}
std::wstring AgentInfo::agentFeatures() const {
    return agentFeatures_;
}
std::uint32_t AgentInfo::deriveFlags() const {
    return deriveFlags_;
}
std::uint32_t AgentInfo::ipPollInterval() const {
    return number(Setting::IpPollInterval);
}
bool AgentInfo::isServiceRunning(const std::wstring& service) const {
    return platform::host().serviceState(service) == platform::ServiceState::Running;
}

std::uint32_t AgentInfo::registryEventsLimit() const {
    return number(Setting::RegistryEventsLimit);
}
std::uint32_t AgentInfo::diffFileSizeLimitKb() const {
    return number(Setting::DiffFileSizeLimit);
}
std::uint32_t AgentInfo::stateSavingFrequency() const {
    constexpr std::uint64_t kLongest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(
        std::min(value(Setting::StateSavingFrequency) * 60, kLongest));
}
bool AgentInfo::closeLogAfterRead() const {
    return flag(Setting::CloseLogAfterRead);
}
bool AgentInfo::enableFilewatchFilter() const {
    return flag(Setting::EnableFilewatchFilter);
}
bool AgentInfo::disableFloppyPolling() const {
    return flag(Setting::DisableFloppyPolling);
}
bool AgentInfo::guidResolve() const {
    return flag(Setting::GuidResolve);
}
bool AgentInfo::groupsResolve() const {
    return flag(Setting::GroupsResolve);
}
std::uint32_t AgentInfo::adResolve() const {
    return number(Setting::AdResolve);
}
bool AgentInfo::formatObjectCache() const {
    return flag(Setting::FormatObjectCache);
}
bool AgentInfo::heapValidation() const {
    return flag(Setting::HeapValidation);
}
bool AgentInfo::unsafeExitOnCrash() const {
    return flag(Setting::UnsafeExitOnCrash);
}
bool AgentInfo::watchedFilesChecksum() const {
    return flag(Setting::WatchedFilesChecksum);
}
bool AgentInfo::monitorLastAccessTime() const {
    return flag(Setting::MonitorLastAccessTime);
}
std::uint32_t AgentInfo::recursionLevel() const {
    return number(Setting::RecursionLevel);
}
std::uint32_t AgentInfo::shortPollInterval() const {
    return number(Setting::ShortPollInterval);
}
std::uint32_t AgentInfo::longPollInterval() const {
    return number(Setting::LongPollInterval);
}
std::wstring AgentInfo::agentId() const {
    return agentId_;
}
std::wstring AgentInfo::processName() const {
    return processName_;
}
std::wstring AgentInfo::processOwner() const {
    return processOwner_;
}
std::uint32_t AgentInfo::osFlags() const {
    return osFlags_;
}
std::wstring_view AgentInfo::osName() const {
    return osNameOf(osFlags_);
}
wchar_t AgentInfo::osLetter() const {
    return osLetterOf(osFlags_);
}
std::wstring AgentInfo::platformName() const {
    return (osFlags_ & osFlag::Linux) != 0 ? L"Linux" : L"Windows";
}

std::wstring AgentInfo::policyInfo(const std::wstring& name) const {
    return policyInfo_->getText({}, name);
}
std::wstring AgentInfo::configInfo(const std::wstring& name) const {
    return configInfo_->getText({}, name);
}

void AgentInfo::setCollectorEnabled(std::uint32_t bit, bool enabled) {
    const ScopedLock guard(*collectorLock_);
    Collector& collector = collectors_[bit];
    collector.enabled = enabled;
    if (!enabled) {
        collector.state = collectorState::NotStarted;
    }
}

void AgentInfo::setCollectorState(std::uint32_t bit, std::uint32_t state) {
    const ScopedLock guard(*collectorLock_);
    collectors_[bit].state = state;
}

bool AgentInfo::allCollectorsStarted() const {
    const ScopedLock guard(*collectorLock_);
    return std::all_of(collectors_.begin(), collectors_.end(), [](const auto& entry) {
        const Collector& collector = entry.second;
        return !collector.enabled || collector.state == 1 || collector.state == 2;
    });
}

std::uint32_t AgentInfo::collectorStateOf(std::uint32_t bit) const {
    const ScopedLock guard(*collectorLock_);
    const auto found = collectors_.find(bit);
    return found == collectors_.end() ? collectorState::NotStarted : found->second.state;
}

bool AgentInfo::isCollectorEnabled(std::uint32_t bit) const {
    const ScopedLock guard(*collectorLock_);
    const auto found = collectors_.find(bit);
    return found != collectors_.end() && found->second.enabled;
}

void AgentInfo::disableAllCollectors() {
    for (std::size_t i = 0; i < kCollectorBits; ++i) {
        setCollectorEnabled(1u << i, false);
    }
}

bool AgentInfo::isLoggingSynchronous() noexcept {
    return loggingSynchronous.load(std::memory_order_relaxed);
}

template <>
struct SingletonTraits<AgentInfo> {
    static std::unique_ptr<AgentInfo> create() { return std::make_unique<AgentInfo>(); }
    static void load(AgentInfo& info) { info.reload(); }
};

AgentInfoRef::AgentInfoRef() : info_(&SharedSingleton<AgentInfo>::acquire()) {}
AgentInfoRef::~AgentInfoRef() {
    SharedSingleton<AgentInfo>::release();
}

}  // namespace lathwind
