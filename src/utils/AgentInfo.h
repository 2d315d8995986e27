#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "utils/CollectorTable.h"
#include "utils/HostFacts.h"
#include "utils/OsIdentity.h"
#include "utils/SettingsTable.h"

// The process-wide settings, and what the agent knows about itself and its host. Nothing else
// reads the settings files.
//
//   AgentInfoRef settings;
//   const auto limit = settings->diffFileSizeLimitKb();
//
// A file or key that is missing gives the default; a value out of range is corrected without a
// word. docs/settings.md lists every key.
namespace lathwind {

class IniFile;

// The settings files, relative to the binary folder.
struct SettingsPaths {
    std::wstring localAgent = L"../system/LocalAgent.ini";
    std::wstring agent = L"../system/agent.ini";
    std::wstring policyInfo = L"../system/AgentPolicyInfo.ini";
    std::wstring configInfo = L"../system/AgentConfigInfo.ini";
    std::wstring companion = L"..\\..\\IPS\\agent.ini";

    // The same files in other folders (each with its separator behind it), for tests and tools.
    static SettingsPaths in(const std::wstring& systemFolder, const std::wstring& companionFolder);
};

// A collector that lives in a library in the binary folder.
struct PluginSetting {
    std::wstring name;
    std::wstring library;

    friend bool operator==(const PluginSetting&, const PluginSetting&) = default;
};

namespace deriveFlag {
inline constexpr std::uint32_t EventLog = 1;
inline constexpr std::uint32_t Syslog = 2;
}  // namespace deriveFlag

// Threads: accessors read plain fields without a lock, and may be called by any thread; the
// fields change only in reload, which runs while no other thread reads them. The IP address is
// switched atomically: one thread at a time may poll or reload while others ask for it. The
// collector table has its own lock.
class AgentInfo {
public:
    // Fills in the defaults and reads nothing yet: reload() does.
    explicit AgentInfo(SettingsPaths paths = {});
    virtual ~AgentInfo();
    AgentInfo(const AgentInfo&) = delete;
    AgentInfo& operator=(const AgentInfo&) = delete;

    // Reads everything anew. False when the operating system is an unknown one.
    virtual bool reload();
    // Asks for the address again. True when it is a new one; the loopback address is none.
    virtual bool pollIpAddress();
    virtual bool isReserved() const;  // always false
    virtual std::wstring hostName() const;
    virtual std::wstring ipAddress() const;
    virtual std::wstring reportedHostName() const;  // the host name again
    virtual std::wstring logonDomain() const;
    virtual std::wstring userName() const;
    virtual std::vector<std::wstring> loggedOnUsers() const;
    virtual std::wstring logonServer() const;
    virtual std::uint32_t statisticsFrequency() const;  // seconds
    virtual std::uint32_t heartbeatFrequency() const;
    virtual std::uint64_t statisticsLogSizeKb() const;
    virtual std::uint32_t statisticsLogBackups() const;
    virtual std::uint64_t appendToFileSizeKb() const;
    virtual std::uint32_t appendToFileBackups() const;
    virtual RolloverType eventFileRolloverType() const;
    virtual std::wstring eventFileRolloverValue() const;
    virtual std::uint32_t diskLowerThreshold() const;  // percent
    virtual std::uint32_t diskUpperThreshold() const;  // percent
    virtual std::uint32_t diskCheckInterval() const;   // seconds
    virtual std::uint32_t diskCheckEventCount() const;
    virtual std::uint32_t eventsToReportPerSecond() const;
    virtual std::uint32_t reserved1() const;  // 0: nothing writes it
    virtual std::uint32_t reserved2() const;  // 0: nothing writes it
    virtual std::uint32_t processId() const;
    virtual std::wstring eventLogFilePath() const;
    virtual std::uint32_t errorLogBackups() const;
    virtual std::uint64_t errorLogSizeKb() const;
    virtual std::uint32_t executeCommandsActionLimit() const;
    virtual std::uint32_t disableAccountActionLimit() const;
    virtual std::uint32_t notifyActionLimit() const;
    virtual std::uint32_t killProcessActionLimit() const;
    virtual std::uint32_t killSessionActionLimit() const;
    // The domain to show for a process's user: the logon domain for the agent's own user,
    // "unknown" for any other.
    virtual std::wstring userOfProcess(const std::wstring& user) const;
    virtual std::uint32_t fileEventsLimit() const;
    virtual std::uint32_t fileEventBufferSize() const;
    virtual std::uint32_t eventLogEventsLimit() const;
    virtual std::uint32_t ipsDriverEventsLimit() const;
    virtual std::uint32_t httpVirtualEventsLimit() const;
    virtual std::uint32_t pluginEventsLimit() const;
    virtual std::uint32_t errorLogQueueLimit() const;  // the second event log limit
    virtual std::uint32_t eventProcessingQueueLimit() const;
    // Are both thresholds set, and is there an interval or a count at which to check?
    virtual bool isDiskMonitored() const;
    virtual bool lowMemoryFootprint() const;  // true when the key is 0
    virtual std::wstring agentFeatures() const;
    virtual std::uint32_t deriveFlags() const;     // bits of deriveFlag
    virtual std::uint32_t ipPollInterval() const;  // seconds
    virtual bool isServiceRunning(const std::wstring& service) const;

    // Settings without an operation of their own in the table above.
    std::uint32_t registryEventsLimit() const;
    std::uint32_t diffFileSizeLimitKb() const;
    std::uint32_t stateSavingFrequency() const;  // seconds
    bool closeLogAfterRead() const;
    bool enableFilewatchFilter() const;
    bool disableFloppyPolling() const;
    bool guidResolve() const;
    bool groupsResolve() const;
    std::uint32_t adResolve() const;  // 0 to 2
    bool formatObjectCache() const;
    bool heapValidation() const;
    bool unsafeExitOnCrash() const;
    bool watchedFilesChecksum() const;
    bool monitorLastAccessTime() const;
    std::uint32_t recursionLevel() const;
    std::uint32_t shortPollInterval() const;  // seconds
    std::uint32_t longPollInterval() const;   // as the key says
    std::wstring agentId() const;
    const std::vector<PluginSetting>& pluginCollectors() const noexcept { return plugins_; }

    // The agent's own process, in lower case; "unknown" where it cannot be told.
    std::wstring processName() const;
    std::wstring processOwner() const;

    std::uint32_t osFlags() const;
    std::wstring_view osName() const;
    wchar_t osLetter() const;
    std::wstring platformName() const;  // "Windows", or "Linux"

    // What the management side last sent, by name; empty for an unknown one.
    std::wstring policyInfo(const std::wstring& name) const;
    std::wstring configInfo(const std::wstring& name) const;

    CollectorTable& collectors() noexcept { return collectors_; }
    const CollectorTable& collectors() const noexcept { return collectors_; }

    // "Unsafe Exit On Crash" as it was last read in this process, false before. The log writer
    // asks for each record; it must not have to create the settings, which may be logging
    // themselves.
    static bool isLoggingSynchronous() noexcept;

protected:
    // The steps of loading. Each may be called again.
    virtual std::wstring lookUpIpAddress();
    virtual bool loadAll();
    virtual bool determineOs();
    virtual std::wstring lookUpHostName();
    virtual void listLoggedOnUsers();
    virtual void determineUser();
    virtual void readCollectorConfiguration();
    virtual void readFileCollectorConfiguration();

private:
    void readLocalAgentSettings();
    void readAgentSettings();
    void readCompanion();
    void setIpAddress(const std::wstring& address);

    const SettingsPaths paths_;
    bool lastLoad_ = false;
    std::uint32_t osFlags_ = 0;
    std::array<std::wstring, 2> ipAddresses_;
    std::atomic<const std::wstring*> ipAddress_;
    std::wstring hostName_;
    LogonFacts logon_;
    std::vector<std::wstring> loggedOnUsers_;
    SettingsTable settings_;
    std::uint32_t statisticsFrequency_ = 0;
    RolloverType rolloverType_ = RolloverType::Size;
    std::wstring rolloverValue_;
    std::wstring eventLogFilePath_;
    std::uint32_t deriveFlags_ = 0;
    std::uint32_t processId_ = 0;
    ProcessIdentity process_;
    std::wstring agentFeatures_;
    std::wstring agentId_;
    std::vector<PluginSetting> plugins_;
    std::unique_ptr<IniFile> localAgent_;
    std::unique_ptr<IniFile> agent_;
    std::unique_ptr<IniFile> policyInfo_;
    std::unique_ptr<IniFile> configInfo_;
    CollectorTable collectors_;
};

// A counted reference to the process's settings: the first one reads the files, the last one to
// go destroys the object. Cheap while another reference is held.
// While the files are being read the object can be had on the reading thread, with its defaults.
class AgentInfoRef {
public:
    AgentInfoRef();
    ~AgentInfoRef();
    AgentInfoRef(const AgentInfoRef&) = delete;
    AgentInfoRef& operator=(const AgentInfoRef&) = delete;

    AgentInfo* operator->() const noexcept { return info_; }
    AgentInfo& operator*() const noexcept { return *info_; }

private:
    AgentInfo* info_;
};

}  // namespace lathwind
