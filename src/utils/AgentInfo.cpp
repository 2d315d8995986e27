#include "utils/AgentInfo.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "utils/IniFile.h"
#include "utils/Logging.h"
#include "utils/SharedSingleton.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kAgent = L"Agent";

// A local override of exactly this is none.
constexpr std::uint32_t kDefaultStatisticsFrequency = 1200;
constexpr std::uint32_t kMinOverrideFrequency = 5;

constexpr std::wstring_view kPluginSection = L"Plugin Collectors";

constinit std::atomic<bool> loggingSynchronous{false};

// Each line of the section is a collector: its name, and the library it lives in.
std::vector<PluginSetting> readPluginSettings(const IniFile& localAgent) {
    std::vector<PluginSetting> plugins;
    for (std::size_t section = 0; section < localAgent.sectionCount(); ++section) {
        if (!equalsNoCase(localAgent.sectionName(section), kPluginSection)) {
            continue;
        }
        for (std::size_t i = 0; i < localAgent.valueCount(section); ++i) {
            const IniFile::Value value = localAgent.value(section, i);
            if (!value.key.empty() && !value.value.empty()) {
                plugins.push_back({std::wstring(value.key), std::wstring(value.value)});
            }
        }
        break;  // of several sections of one name the first one counts
    }
    return plugins;
}

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

AgentInfo::AgentInfo(SettingsPaths paths)
    : paths_(std::move(paths)),
      ipAddresses_{kUnknownFact, kUnknownFact},
      ipAddress_(&ipAddresses_[0]),
      hostName_(kUnknownFact),
      logon_{{}, kUnknownFact, kUnknownFact},
      statisticsFrequency_(kDefaultStatisticsFrequency),
      rolloverType_(readRolloverType(IniFile())),
      rolloverValue_(readRolloverValue(IniFile())),
      eventLogFilePath_(readEventLogPath(IniFile())),
      process_{kUnknownFact, kUnknownFact},
      localAgent_(std::make_unique<IniFile>()),
      agent_(std::make_unique<IniFile>()),
      policyInfo_(std::make_unique<IniFile>()),
      configInfo_(std::make_unique<IniFile>()) {}

AgentInfo::~AgentInfo() = default;

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
    processId_ = platform::processes().currentId();
    process_ = findProcess(processId_);
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
    settings_.read(SettingGroup::Local, *localAgent_);
    eventLogFilePath_ = readEventLogPath(*localAgent_);
    deriveFlags_ = (settings_.flag(Setting::DeriveFromEventLog) ? deriveFlag::EventLog : 0) |
                   (settings_.flag(Setting::DeriveFromSyslog) ? deriveFlag::Syslog : 0);
    plugins_ = readPluginSettings(*localAgent_);
    loggingSynchronous.store(unsafeExitOnCrash(), std::memory_order_relaxed);
}

void AgentInfo::readAgentSettings() {
    settings_.read(SettingGroup::Distributed, *agent_);
    // An override of exactly the default is no override, so that a policy decides; any other one
    // is the way below the two minutes that a policy may ask for.
    const std::uint32_t override = settings_.number(Setting::StatisticsOverride);
    statisticsFrequency_ = override == kDefaultStatisticsFrequency
                               ? settings_.number(Setting::CollectionFrequency)
                               : std::max(override, kMinOverrideFrequency);
    rolloverType_ = readRolloverType(*agent_);
    rolloverValue_ = readRolloverValue(*agent_);
}

void AgentInfo::readFileCollectorConfiguration() {
    settings_.read(SettingGroup::FileCollector, *agent_);
}

// "Enable Http Virtual Collector" has a key by its name's pattern, but no policy has ever been
// written with it in mind: the collector stays off.
void AgentInfo::readCollectorConfiguration() {
    settings_.read(SettingGroup::Collectors, *agent_);
    const auto isOne = [this](Setting setting) { return settings_.number(setting) == 1; };
    collectors_.disableAll();
    collectors_.setEnabled(collectorBit::File, isOne(Setting::EnableFilewatchCollectors));
    IniFile companion;
    if (companion.load(paths_.companion) &&
        companion.getBoolean(L"Driver", L"ips.enabled", false) &&
        isOne(Setting::EnableIpsDriverCollector) && isServiceRunning(L"QVRIPSDriver")) {
        collectors_.setEnabled(collectorBit::IpsDriver, true);
    }
    collectors_.setEnabled(collectorBit::EventLog, isOne(Setting::EnableEventLogCollector));
    collectors_.setEnabled(collectorBit::Registry, isOne(Setting::EnableRegistryCollector));
    collectors_.setEnabled(collectorBit::Audit, isOne(Setting::EnableAuditCollector));
}

void AgentInfo::readCompanion() {
    IniFile companion;
    companion.load(paths_.companion);
    agentFeatures_ = companion.getText(kAgent, L"agent.features");
    agentId_ = companion.getText(kAgent, L"agent.id");
}

bool AgentInfo::determineOs() {
    platform::Host& host = platform::host();
    platform::OsVersion version;
    osFlags_ = 0;
    if (host.osVersion(true, version) != platform::error::Success &&
        host.osVersion(false, version) != platform::error::Success) {
        return false;
    }
    const OsIdentity identity = identifyOs(version, host.isWow64Process());
    osFlags_ = identity.flags;
    if (identity.problemRow != 0) {
        logCatalogued(Severity::Error, ModuleId::Utils, identity.problemRow);
        return false;
    }
    return true;
}

std::wstring AgentInfo::lookUpIpAddress() {
    return findIpAddress();
}

std::wstring AgentInfo::lookUpHostName() {
    return findHostName();
}

void AgentInfo::determineUser() {
    logon_ = findLogon();
}

void AgentInfo::listLoggedOnUsers() {
    loggedOnUsers_ = findLoggedOnUsers();
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
    return logon_.domain;
}
std::wstring AgentInfo::userName() const {
    return logon_.user;
}
std::vector<std::wstring> AgentInfo::loggedOnUsers() const {
    return loggedOnUsers_;
}
std::wstring AgentInfo::logonServer() const {
    return logon_.server;
}
std::uint32_t AgentInfo::statisticsFrequency() const {
    return statisticsFrequency_;
}
std::uint32_t AgentInfo::heartbeatFrequency() const {
    return settings_.number(Setting::HeartbeatFrequency);
}
std::uint64_t AgentInfo::statisticsLogSizeKb() const {
    return settings_.value(Setting::StatisticsLogSize);
}
std::uint32_t AgentInfo::statisticsLogBackups() const {
    return settings_.number(Setting::StatisticsLogBackups);
}
std::uint64_t AgentInfo::appendToFileSizeKb() const {
    return settings_.value(Setting::AppendToFileSize);
}
std::uint32_t AgentInfo::appendToFileBackups() const {
    return settings_.number(Setting::AppendToFileBackups);
}
RolloverType AgentInfo::eventFileRolloverType() const {
    return rolloverType_;
}
std::wstring AgentInfo::eventFileRolloverValue() const {
    return rolloverValue_;
}
std::uint32_t AgentInfo::diskLowerThreshold() const {
    return settings_.number(Setting::DiskLowerThreshold);
}
std::uint32_t AgentInfo::diskUpperThreshold() const {
    return settings_.number(Setting::DiskUpperThreshold);
}
std::uint32_t AgentInfo::diskCheckInterval() const {
    return settings_.number(Setting::DiskCheckInterval);
}
std::uint32_t AgentInfo::diskCheckEventCount() const {
    return settings_.number(Setting::DiskCheckEventCount);
}
std::uint32_t AgentInfo::eventsToReportPerSecond() const {
    return settings_.number(Setting::EventsToReportPerSecond);
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
    return settings_.number(Setting::ErrorLogBackups);
}
std::uint64_t AgentInfo::errorLogSizeKb() const {
    return settings_.value(Setting::ErrorLogSize);
}
std::uint32_t AgentInfo::executeCommandsActionLimit() const {
    return settings_.number(Setting::ExecuteCommandsActionLimit);
}
std::uint32_t AgentInfo::disableAccountActionLimit() const {
    return settings_.number(Setting::DisableAccountActionLimit);
}
std::uint32_t AgentInfo::notifyActionLimit() const {
    return settings_.number(Setting::NotifyActionLimit);
}
std::uint32_t AgentInfo::killProcessActionLimit() const {
    return settings_.number(Setting::KillProcessActionLimit);
}
std::uint32_t AgentInfo::killSessionActionLimit() const {
    return settings_.number(Setting::KillSessionActionLimit);
}
std::wstring AgentInfo::userOfProcess(const std::wstring& user) const {
    return equalsNoCase(user, logon_.user) ? logon_.domain : kUnknownFact;
}
std::uint32_t AgentInfo::fileEventsLimit() const {
    return settings_.number(Setting::FileEventsLimit);
}
std::uint32_t AgentInfo::fileEventBufferSize() const {
    return settings_.number(Setting::FileEventBufferSize);
}
std::uint32_t AgentInfo::eventLogEventsLimit() const {
    return settings_.number(Setting::EventLogEventsLimit);
}
std::uint32_t AgentInfo::ipsDriverEventsLimit() const {
    return settings_.number(Setting::IpsDriverEventsLimit);
}
std::uint32_t AgentInfo::httpVirtualEventsLimit() const {
    return settings_.number(Setting::HttpVirtualEventsLimit);
}
std::uint32_t AgentInfo::pluginEventsLimit() const {
    return settings_.number(Setting::PluginEventsLimit);
}
std::uint32_t AgentInfo::errorLogQueueLimit() const {
    return settings_.number(Setting::ErrorLogQueueLimit);
}
std::uint32_t AgentInfo::eventProcessingQueueLimit() const {
    return settings_.number(Setting::EventProcessingQueueLimit);
}
bool AgentInfo::isDiskMonitored() const {
    return diskLowerThreshold() != 0 && diskUpperThreshold() != 0 &&
           (diskCheckInterval() != 0 || diskCheckEventCount() != 0);
}
bool AgentInfo::lowMemoryFootprint() const {
    return !settings_.flag(Setting::LowMemoryFootprint);
}
std::wstring AgentInfo::agentFeatures() const {
    return agentFeatures_;
}
std::uint32_t AgentInfo::deriveFlags() const {
    return deriveFlags_;
}
std::uint32_t AgentInfo::ipPollInterval() const {
    return settings_.number(Setting::IpPollInterval);
}
bool AgentInfo::isServiceRunning(const std::wstring& service) const {
    return platform::host().serviceState(service) == platform::ServiceState::Running;
}

std::uint32_t AgentInfo::registryEventsLimit() const {
    return settings_.number(Setting::RegistryEventsLimit);
}
std::uint32_t AgentInfo::diffFileSizeLimitKb() const {
    return settings_.number(Setting::DiffFileSizeLimit);
}
std::uint32_t AgentInfo::stateSavingFrequency() const {
    constexpr std::uint64_t kLongest = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(
        std::min(settings_.value(Setting::StateSavingFrequency) * 60, kLongest));
}
bool AgentInfo::closeLogAfterRead() const {
    return settings_.flag(Setting::CloseLogAfterRead);
}
bool AgentInfo::enableFilewatchFilter() const {
    return settings_.flag(Setting::EnableFilewatchFilter);
}
bool AgentInfo::disableFloppyPolling() const {
    return settings_.flag(Setting::DisableFloppyPolling);
}
bool AgentInfo::guidResolve() const {
    return settings_.flag(Setting::GuidResolve);
}
bool AgentInfo::groupsResolve() const {
    return settings_.flag(Setting::GroupsResolve);
}
std::uint32_t AgentInfo::adResolve() const {
    return settings_.number(Setting::AdResolve);
}
bool AgentInfo::formatObjectCache() const {
    return settings_.flag(Setting::FormatObjectCache);
}
bool AgentInfo::heapValidation() const {
    return settings_.flag(Setting::HeapValidation);
}
bool AgentInfo::unsafeExitOnCrash() const {
    return settings_.flag(Setting::UnsafeExitOnCrash);
}
bool AgentInfo::watchedFilesChecksum() const {
    return settings_.flag(Setting::WatchedFilesChecksum);
}
bool AgentInfo::monitorLastAccessTime() const {
    return settings_.flag(Setting::MonitorLastAccessTime);
}
std::uint32_t AgentInfo::recursionLevel() const {
    return settings_.number(Setting::RecursionLevel);
}
std::uint32_t AgentInfo::shortPollInterval() const {
    return settings_.number(Setting::ShortPollInterval);
}
std::uint32_t AgentInfo::longPollInterval() const {
    return settings_.number(Setting::LongPollInterval);
}
std::wstring AgentInfo::agentId() const {
    return agentId_;
}
std::wstring AgentInfo::processName() const {
    return process_.name;
}
std::wstring AgentInfo::processOwner() const {
    return process_.owner;
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
