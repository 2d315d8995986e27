#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/FakeAccounts.h"
#include "support/FakeProcesses.h"
#include "support/HostDecorator.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "utils/AgentInfo.h"

namespace lathwind {
namespace {

using testing::FakeAccounts;
using testing::FakeProcesses;
using testing::LogCapture;
using testing::ServiceOverride;
using testing::TempDir;
namespace error = platform::error;

class FakeHost : public testing::HostDecorator {
public:
    FakeHost() : HostDecorator(platform::host()) {}
    platform::ErrorCode osVersion(bool extended, platform::OsVersion& found) override {
        found = version;
        return extended && !knowsExtendedForm ? error::InvalidParameter : error::Success;
    }
    bool isWow64Process() override { return isWow64; }
    platform::ErrorCode environment(const std::wstring& key, std::wstring& value) override {
        const auto found = variables.find(key);
        if (found == variables.end()) {
            return error::FileNotFound;
        }
        value = found->second;
        return error::Success;
    }
    platform::ErrorCode hostName(std::wstring& found) override { return give(name, found); }
    platform::ErrorCode ipAddress(std::wstring& found) override { return give(address, found); }
    platform::ServiceState serviceState(const std::wstring& service) override {
        return service == L"QVRIPSDriver" ? driver : platform::ServiceState::Unknown;
    }

    platform::OsVersion version{2, 6, 1};
    bool knowsExtendedForm = true;
    bool isWow64 = false;
    std::map<std::wstring, std::wstring> variables;
    std::wstring name = L"Host1";
    std::wstring address = L"10.0.0.1";
    platform::ServiceState driver = platform::ServiceState::Running;

private:
    static platform::ErrorCode give(const std::wstring& text, std::wstring& found) {
        found = text;
        return text.empty() ? error::NotFound : error::Success;
    }
};

class AgentInfoTest : public ::testing::Test {
protected:
    AgentInfoTest() {
        processes_.running[1].image = L"Agent.EXE";
        processes_.running[1].ownerName = L"SYSTEM";
    }

    // Reads `text` as the named file, all other files being absent.
    AgentInfo& load(const std::string& file = "LocalAgent.ini", const std::string& text = {}) {
        for (const char* name :
             {"LocalAgent.ini", "agent.ini", "AgentPolicyInfo.ini", "IPS/agent.ini"}) {
            std::filesystem::remove(folder_.native(name));
        }
        if (!text.empty()) {
            folder_.write(file, text);
        }
        info_.reload();
        return info_;
    }
    AgentInfo& loadValue(const std::string& file, const std::string& section,
                         const std::string& key, const std::string& value) {
        return load(file, "[" + section + "]\n" + key + " = " + value + "\n");
    }

    TempDir folder_;
    FakeHost host_;
    FakeAccounts accounts_;
    FakeProcesses processes_;
    ServiceOverride<platform::Host> hostAnswers_{platformFactory.host, host_};
    ServiceOverride<platform::Accounts> accountAnswers_{platformFactory.accounts, accounts_};
    ServiceOverride<platform::Processes> processAnswers_{platformFactory.processes, processes_};
    AgentInfo info_{SettingsPaths::in(folder_.path(L""), folder_.path(L"IPS\\"))};
};

constexpr std::uint64_t kMax32 = 0xFFFFFFFFu;
constexpr std::uint64_t kMax64 = 0xFFFFFFFFFFFFFFFFu;

struct NumberCase {
    const char* file;
    const char* section;
    const char* key;
    std::uint64_t fallback, low, high;
    std::uint64_t (*get)(const AgentInfo&);
};

template <auto Accessor>
std::uint64_t get(const AgentInfo& info) {
    return static_cast<std::uint64_t>((info.*Accessor)());
}

constexpr const char* kLocal = "LocalAgent.ini";
constexpr const char* kAgentFile = "agent.ini";
constexpr const char* kEM = "Event Management";
constexpr const char* kSM = "Statistics Management";
constexpr const char* kDM = "Disk Monitor";
constexpr const char* kFC = "File Collector";
constexpr const char* kELC = "Event Log Collector";
using I = AgentInfo;

// clang-format off
constexpr NumberCase kNumbers[] = {
    {kLocal, kEM, "File Collector Events Limit", 5000, 100, kMax32, get<&I::fileEventsLimit>},
    {kLocal, kEM, "Event Log Collector Events Limit", 5000, 100, kMax32, get<&I::eventLogEventsLimit>},
    {kLocal, kEM, "Event Log Collector Events Limit", 5000, 100, kMax32, get<&I::errorLogQueueLimit>},
    {kLocal, kEM, "IPS Driver Collector Events Limit", 5000, 100, kMax32, get<&I::ipsDriverEventsLimit>},
    {kLocal, kEM, "Http Virtual Collector Events Limit", 5000, 100, kMax32, get<&I::httpVirtualEventsLimit>},
    {kLocal, kEM, "Plugin Collector Events Limit", 5000, 100, kMax32, get<&I::pluginEventsLimit>},
    {kLocal, kEM, "Registry Collector Events Limit", 5000, 100, kMax32, get<&I::registryEventsLimit>},
    {kLocal, kEM, "Event Processing Queue Limit", 15000, 1000, kMax32, get<&I::eventProcessingQueueLimit>},
    {kLocal, kEM, "Execute Commands Action Limit", 1000, 100, kMax32, get<&I::executeCommandsActionLimit>},
    {kLocal, kEM, "Disable Account Action Limit", 1000, 100, kMax32, get<&I::disableAccountActionLimit>},
    {kLocal, kEM, "Notify Action Limit", 1000, 100, kMax32, get<&I::notifyActionLimit>},
    {kLocal, kEM, "Kill Process Action Limit", 1000, 100, kMax32, get<&I::killProcessActionLimit>},
    {kLocal, kEM, "Kill Session Action Limit", 1000, 1000, kMax32, get<&I::killSessionActionLimit>},
    {kLocal, kEM, "Append To File Size(KB)", 20480, 5120, kMax64, get<&I::appendToFileSizeKb>},
    {kLocal, kEM, "Append To File Backups", 10, 1, kMax32, get<&I::appendToFileBackups>},
    {kLocal, kEM, "Error Log File Size(KB)", 5120, 2048, kMax64, get<&I::errorLogSizeKb>},
    {kLocal, kEM, "Error Log File Backups", 10, 1, kMax32, get<&I::errorLogBackups>},
    {kLocal, kEM, "IP Address Change Poll Interval", 30, 10, kMax32, get<&I::ipPollInterval>},
    {kLocal, kSM, "Override Statistics Frequency", 1200, 5, kMax32, get<&I::statisticsFrequency>},
    {kLocal, kSM, "Log Size(KB)", 1024, 3, kMax64, get<&I::statisticsLogSizeKb>},
    {kLocal, kSM, "Log Backups", 10, 1, kMax32, get<&I::statisticsLogBackups>},
    {kLocal, kDM, "Check Interval", 30, 0, kMax32, get<&I::diskCheckInterval>},
    {kLocal, kDM, "Check Event Count", 500, 0, kMax32, get<&I::diskCheckEventCount>},
    {kLocal, kFC, "File Collector Event Buffer Size", 32, 16, 1024, get<&I::fileEventBufferSize>},
    {kLocal, kFC, "File Collector Diff File Size Limit", 100, 1, 10240, get<&I::diffFileSizeLimitKb>},
    {kLocal, kELC, "Enable AD Resolve", 2, 0, 2, get<&I::adResolve>},
    {kAgentFile, kEM, "Events To Report Per Second", 20, 1, kMax32, get<&I::eventsToReportPerSecond>},
    {kAgentFile, kSM, "Collection Frequency", 1200, 120, kMax32, get<&I::statisticsFrequency>},
    {kAgentFile, kSM, "HeartBeat Frequency", 30, 1, kMax32, get<&I::heartbeatFrequency>},
    {kAgentFile, kDM, "Lower Threshold", 70, 0, 100, get<&I::diskLowerThreshold>},
    {kAgentFile, kDM, "Upper Threshold", 80, 0, kMax32, get<&I::diskUpperThreshold>},
    {kAgentFile, kFC, "File Collector Recursion Level", 2, 1, kMax32, get<&I::recursionLevel>},
    {kAgentFile, kFC, "short poll interval", 60, 10, kMax32, get<&I::shortPollInterval>},
    {kAgentFile, kFC, "long poll interval", 480, 1, kMax32, get<&I::longPollInterval>},
};
// clang-format on

TEST_F(AgentInfoTest, PutsEveryNumberIntoItsRange) {
    for (const NumberCase& row : kNumbers) {
        const auto value = [&](const std::string& text) {
            return row.get(loadValue(row.file, row.section, row.key, text));
        };
        EXPECT_EQ(row.get(load()), row.fallback) << row.key;
        EXPECT_EQ(value(""), row.fallback) << row.key;
        EXPECT_EQ(value("garbage"), row.low) << row.key;
        EXPECT_EQ(value("0"), row.low) << row.key;
        EXPECT_EQ(value(std::to_string(row.low)), row.low) << row.key;
        if (row.low > 0) {
            EXPECT_EQ(value(std::to_string(row.low - 1)), row.low) << row.key;
        }
        if (row.high < kMax32) {
            EXPECT_EQ(value(std::to_string(row.high + 1)), row.high) << row.key;
        }
        EXPECT_EQ(value("99999999999999999999999"), row.high) << row.key;
        EXPECT_EQ(value("-1"), row.high) << row.key;
        const std::uint64_t inside = row.low + 1;
        EXPECT_EQ(value(std::to_string(inside)), inside) << row.key;
    }
}

struct SwitchCase {
    const char* file;
    const char* section;
    const char* key;
    bool fallback;
    bool takesTrue;  // the text "true" as well as a number
    std::uint64_t (*get)(const AgentInfo&);
};

template <std::uint32_t Bit>
std::uint64_t isEnabled(const AgentInfo& info) {
    return info.collectors().isEnabled(Bit) ? 1 : 0;
}
template <std::uint32_t Bit>
std::uint64_t derives(const AgentInfo& info) {
    return (info.deriveFlags() & Bit) != 0 ? 1 : 0;
}

// clang-format off
constexpr SwitchCase kSwitches[] = {
    {kLocal, kFC, "Close Log File After Read", true, true, get<&I::closeLogAfterRead>},
    {kLocal, kFC, "Enable Filewatch Filter", true, true, get<&I::enableFilewatchFilter>},
    {kLocal, kFC, "Disable Floppy Polling", true, true, get<&I::disableFloppyPolling>},
    {kLocal, kELC, "GUID Resolve", true, false, get<&I::guidResolve>},
    {kLocal, kELC, "Groups Resolve", false, false, get<&I::groupsResolve>},
    {kLocal, kELC, "Enable Format Object Cache", false, true, get<&I::formatObjectCache>},
    {kLocal, "Agent", "Heap Validation", true, true, get<&I::heapValidation>},
    {kLocal, "Log Debugs", "Unsafe Exit On Crash", false, true, get<&I::unsafeExitOnCrash>},
    {kLocal, kELC, "Derive Virtual Agents", false, true, derives<1>},
    {kLocal, "Syslog Collector", "Derive Virtual Agents", false, true, derives<2>},
    {kLocal, kFC, "Enable Filewatch based Collectors", true, false, isEnabled<4>},
    {kAgentFile, "Collector Management", "Enable Event Log Collector", true, false, isEnabled<1>},
    {kAgentFile, "Collector Management", "Enable Registry Collector", true, false, isEnabled<2>},
    {kAgentFile, "Collector Management", "Enable Audit Collector", true, false, isEnabled<8>},
    {kAgentFile, kFC, "Enable Watched Files Checksum", false, true, get<&I::watchedFilesChecksum>},
    {kAgentFile, kFC, "Monitor Last Access Time", false, true, get<&I::monitorLastAccessTime>},
};
// clang-format on

TEST_F(AgentInfoTest, ReadsEverySwitch) {
    for (const SwitchCase& row : kSwitches) {
        const auto value = [&](const std::string& text) {
            return row.get(loadValue(row.file, row.section, row.key, text)) != 0;
        };
        EXPECT_EQ(row.get(load()) != 0, row.fallback) << row.key;
        EXPECT_FALSE(value("0")) << row.key;
        EXPECT_FALSE(value("garbage")) << row.key;
        EXPECT_TRUE(value("1")) << row.key;
        EXPECT_EQ(value("True"), row.takesTrue) << row.key;
    }
    load();  // what the last file said about synchronous logging is gone
    EXPECT_FALSE(AgentInfo::isLoggingSynchronous());
    // Collectors want exactly 1; the lookups anything above 0.
    EXPECT_EQ(
        isEnabled<8>(loadValue(kAgentFile, "Collector Management", "Enable Audit Collector", "2")),
        0u);
    EXPECT_TRUE(loadValue(kLocal, kELC, "Groups Resolve", "2").groupsResolve());
    // The footprint is low unless the key says otherwise.
    EXPECT_TRUE(load().lowMemoryFootprint());
    EXPECT_FALSE(loadValue(kLocal, kEM, "Low Memory Footprint", "1").lowMemoryFootprint());
}

TEST_F(AgentInfoTest, StateSavingIsKeptInSeconds) {
    const auto seconds = [this](const char* minutes) {
        return loadValue(kLocal, kFC, "DatFile State Saving Frequency", minutes)
            .stateSavingFrequency();
    };
    EXPECT_EQ(load().stateSavingFrequency(), 3600u);
    EXPECT_EQ(seconds("1"), 60u);
    EXPECT_EQ(seconds("0"), 0u);
    EXPECT_EQ(seconds("4294967295"), kMax32);  // no wrap-around to a short time
}

TEST_F(AgentInfoTest, AnOverrideOfExactlyTheDefaultIsNone) {
    const auto frequency = [this](const char* override) {
        folder_.write("LocalAgent.ini", std::string("[Statistics Management]\n"
                                                    "Override Statistics Frequency=") +
                                            override);
        folder_.write("agent.ini", "[Statistics Management]\nCollection Frequency=300\n");
        info_.reload();
        return info_.statisticsFrequency();
    };
    EXPECT_EQ(frequency("3"), 5u);
    EXPECT_EQ(frequency("1200"), 300u);
    EXPECT_EQ(frequency("1201"), 1201u);
}

TEST_F(AgentInfoTest, RolloverTypes) {
    const std::pair<const char*, RolloverType> cases[] = {
        {"", RolloverType::Size},     {"Size", RolloverType::Size}, {"Date", RolloverType::Date},
        {"NONE", RolloverType::None}, {"0", RolloverType::Size},    {"1", RolloverType::Date},
        {"2", RolloverType::None},    {"7", RolloverType::None},    {"-1", RolloverType::None},
        {"dates", RolloverType::Size}};
    for (const auto& [text, type] : cases) {
        EXPECT_EQ(
            loadValue(kAgentFile, kEM, "EventFile Rollover Type", text).eventFileRolloverType(),
            type)
            << text;
    }
    EXPECT_EQ(load().eventFileRolloverValue(), L"100");
    EXPECT_EQ(loadValue(kAgentFile, kEM, "EventFile Rollover Value", "0 0 * * 0")
                  .eventFileRolloverValue(),
              L"0 0 * * 0");
}

TEST_F(AgentInfoTest, EventLogFileLiesInTheLogFolder) {
    const std::pair<const char*, const wchar_t*> cases[] = {{"", L"../log/event.log"},
                                                            {"x.log", L"../log/x.log"},
                                                            {"d:\\logs\\x.log", L"d:\\logs\\x.log"},
                                                            {"..\\a\\x.log", L"../log/x.log"},
                                                            {".\\x.log", L"../log/x.log"},
                                                            {"./a/x.log", L"../log/x.log"},
                                                            {"../a/x.log", L"../log/x.log"},
                                                            {"a\\b/x.log", L"../log/x.log"},
                                                            {"..\\a\\", L"../log/event.log"}};
    for (const auto& [text, path] : cases) {
        EXPECT_EQ(loadValue(kLocal, kEM, "Event Log File", text).eventLogFilePath(), path) << text;
    }
}

TEST_F(AgentInfoTest, TheDiskIsMonitoredWithThresholdsAndACheck) {
    EXPECT_TRUE(load().isDiskMonitored());
    EXPECT_FALSE(loadValue(kAgentFile, kDM, "Lower Threshold", "0").isDiskMonitored());
    EXPECT_FALSE(loadValue(kAgentFile, kDM, "Upper Threshold", "0").isDiskMonitored());
    EXPECT_TRUE(loadValue(kLocal, kDM, "Check Interval", "0").isDiskMonitored());
    EXPECT_FALSE(
        load(kLocal, "[Disk Monitor]\nCheck Interval=0\nCheck Event Count=0\n").isDiskMonitored());
}

TEST_F(AgentInfoTest, TheDriverCollectorNeedsItsCompanion) {
    const std::string enabled =
        "[Driver]\nips.enabled=true\n[Agent]\nagent.features=a,b\n"
        "agent.id=42\n";
    EXPECT_FALSE(load().collectors().isEnabled(collectorBit::IpsDriver));
    EXPECT_TRUE(load("IPS/agent.ini", enabled).collectors().isEnabled(collectorBit::IpsDriver));
    EXPECT_EQ(info_.agentFeatures(), L"a,b");
    EXPECT_EQ(info_.agentId(), L"42");
    folder_.write("agent.ini", "[Collector Management]\nEnable IPS Driver Collector=0\n");
    info_.reload();
    EXPECT_FALSE(info_.collectors().isEnabled(collectorBit::IpsDriver));
    EXPECT_FALSE(load("IPS/agent.ini", "[Driver]\nips.enabled=false\n")
                     .collectors()
                     .isEnabled(collectorBit::IpsDriver));
    host_.driver = platform::ServiceState::Stopped;
    EXPECT_FALSE(load("IPS/agent.ini", enabled).collectors().isEnabled(collectorBit::IpsDriver));
}

TEST_F(AgentInfoTest, PluginCollectorsStandOneToALine) {
    EXPECT_TRUE(load().pluginCollectors().empty());
    const AgentInfo& info = load(
        kLocal,
        "[Other]\nx=y.dll\n[plugin collectors]\nDoor log = door.dll\nempty=\n=z.dll\nTwo=2.dll\n"
        "[Plugin Collectors]\nThree=3.dll\n");
    EXPECT_EQ(info.pluginCollectors(),
              (std::vector<PluginSetting>{{L"Door log", L"door.dll"}, {L"Two", L"2.dll"}}));
}

TEST_F(AgentInfoTest, InfoFilesAnswerFromTheirFirstSection) {
    folder_.write("AgentConfigInfo.ini", "[any]\nName = cfg\n[other]\nElse=1\n");
    load("AgentPolicyInfo.ini", "[Policies]\nBase = Strict 2\n");
    EXPECT_EQ(info_.policyInfo(L"base"), L"Strict 2");
    EXPECT_EQ(info_.policyInfo(L"Name"), L"");
    EXPECT_EQ(info_.configInfo(L"Name"), L"cfg");
    EXPECT_EQ(info_.configInfo(L"Else"), L"");
}

TEST_F(AgentInfoTest, OperatingSystems) {
    struct Case {
        platform::OsVersion version;
        bool isWow64;
        std::uint32_t flags;
        const wchar_t* row;
    };
    const Case cases[] = {
        {{2, 4, 0}, false, 1, nullptr},      {{2, 5, 0}, false, 2, nullptr},
        {{2, 5, 1}, false, 4, nullptr},      {{2, 5, 2}, false, 16, nullptr},
        {{2, 5, 2}, true, 8, nullptr},       {{2, 6, 0}, false, 32, nullptr},
        {{2, 6, 1}, true, 64, nullptr},      {{2, 6, 2}, false, 128, nullptr},
        {{2, 3, 51}, false, 0, L"IA_0008:"}, {{2, 5, 3}, false, 0, L"IA_0009:"},
        {{2, 6, 3}, false, 0, L"IA_0009:"},  {{2, 2, 0}, false, 0, L"IA_0010:"},
        {{2, 10, 0}, false, 0, L"IA_0010:"}, {{1, 4, 10}, false, 0, L"IA_0011:"},
    };
    host_.knowsExtendedForm = false;  // the plain form answers as well
    for (const Case& expected : cases) {
        LogCapture log;
        host_.version = expected.version;
        host_.isWow64 = expected.isWow64;
        EXPECT_EQ(info_.reload(), expected.row == nullptr);
        EXPECT_EQ(info_.osFlags(), expected.flags);
        EXPECT_EQ(info_.osLetter(), expected.flags != 0 ? L'W' : L'O');
        std::vector<LogCapture::Message> rows;
        if (expected.row != nullptr) {
            rows.push_back({Severity::Error, expected.row});
        }
        EXPECT_EQ(log.messages, rows);
    }
    LogCapture log;
    host_.version = {platform::osPlatform::Linux, 6, 1};
    EXPECT_TRUE(info_.reload());
    EXPECT_EQ(info_.osName(), L"linux");
    EXPECT_EQ(info_.osLetter(), L'L');
    EXPECT_EQ(info_.platformName(), L"Linux");
    EXPECT_TRUE(log.messages.empty());
}

TEST_F(AgentInfoTest, FactsOfTheHostAndTheirFallbacks) {
    accounts_.workstation = {L"Admin", L"CORP", L"DC1"};
    accounts_.loggedOnBatches = {{L"a", L"b"}, {L"c"}};
    load();
    EXPECT_EQ(info_.hostName(), L"host1");
    EXPECT_EQ(info_.ipAddress(), L"10.0.0.1");
    EXPECT_EQ(info_.userName(), L"admin");
    EXPECT_EQ(info_.logonDomain(), L"corp");
    EXPECT_EQ(info_.logonServer(), L"dc1");
    EXPECT_EQ(info_.loggedOnUsers(), (std::vector<std::wstring>{L"a", L"b", L"c"}));
    EXPECT_EQ(info_.userOfProcess(L"ADMIN"), L"corp");
    EXPECT_EQ(info_.userOfProcess(L"other"), L"unknown");
    EXPECT_EQ(info_.processId(), 1u);
    EXPECT_EQ(info_.processName(), L"agent.exe");
    EXPECT_EQ(info_.processOwner(), L"system");

    accounts_.workstation = {};
    accounts_.user = L"Local";
    host_.variables = {{L"USERNAME", L"Variable"}, {L"USERDOMAIN", L"BOX"}};
    load();
    EXPECT_EQ(info_.userName(), L"local");
    EXPECT_EQ(info_.logonDomain(), L"box");
    EXPECT_EQ(info_.logonServer(), L"unknown");
    EXPECT_EQ(info_.loggedOnUsers().size(), 3u);  // not added to those of the load before

    accounts_.user.clear();
    load();
    EXPECT_EQ(info_.userName(), L"variable");

    host_.variables.clear();
    host_.name.clear();
    host_.address.clear();
    processes_.running.clear();
    accounts_.loggedOnBatches = {{}, {L"never reached"}};  // promises more, gives nothing
    load();
    EXPECT_EQ(info_.userName(), L"");
    EXPECT_EQ(info_.logonDomain(), L"unknown");
    EXPECT_EQ(info_.hostName(), L"unknown");
    EXPECT_EQ(info_.ipAddress(), L"unknown");
    EXPECT_EQ(info_.processName(), L"unknown");
    EXPECT_TRUE(info_.loggedOnUsers().empty());
}

TEST_F(AgentInfoTest, PollsTheAddress) {
    load();
    LogCapture log;
    EXPECT_FALSE(info_.pollIpAddress());
    host_.address = L"127.0.0.1";
    EXPECT_FALSE(info_.pollIpAddress());
    EXPECT_EQ(info_.ipAddress(), L"10.0.0.1");
    host_.address = L"10.0.0.2";
    EXPECT_TRUE(info_.pollIpAddress());
    EXPECT_FALSE(info_.pollIpAddress());
    EXPECT_EQ(info_.ipAddress(), L"10.0.0.2");
    const std::vector<std::wstring> expected = {
        L"Agent IP Address : 10.0.0.1", L"Agent IP Address : 127.0.0.1",
        L"Agent IP Address : 10.0.0.2", L"New IP Address : 10.0.0.2",
        L"Agent IP Address : 10.0.0.2"};
    EXPECT_EQ(log.debugLines, expected);
}

}  // namespace
}  // namespace lathwind
