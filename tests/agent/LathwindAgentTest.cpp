#include <gtest/gtest.h>

#include "actions/EventFiles.h"
#include "agent/LathwindAgent.h"
#include "agent/StopRequest.h"
#include "support/HostDecorator.h"
#include "support/ScopedCapture.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind::agent {
namespace {

using platform::StopAnswer;
using platform::StopReason;

// An installation, and agents that are run on it in this process.
class LathwindAgentTest : public ::testing::Test {
protected:
    LathwindAgentTest() : before_(std::filesystem::current_path()) {
        root.makeFolder("IDS/bin");
        root.makeFolder("IDS/system");
    }
    ~LathwindAgentTest() override { std::filesystem::current_path(before_); }

    ExitCode run(std::vector<std::wstring> words) {
        words.insert(words.begin(), L"LathwindAgent");
        const testing::ScopedCapture capture;
        const ExitCode code = runAgent(words);
        output = capture.output();
        return code;
    }
    bool printed(const std::string& text) const { return output.find(text) != std::string::npos; }

    testing::TempDir root;
    std::string output;

private:
    std::filesystem::path before_;
};

TEST_F(LathwindAgentTest, WhatCannotStartSaysWhy) {
    EXPECT_EQ(run({L"--nonsense"}), ExitCode::CommandLineRejected);
    EXPECT_TRUE(printed("Usage: LathwindAgent"));
    EXPECT_EQ(run({L"-h"}), ExitCode::Success);
    EXPECT_EQ(run({L"-p", root.path(L"nowhere")}), ExitCode::DirectoryFailed);
    EXPECT_TRUE(printed("Failed to set current working dir to "));
    EXPECT_EQ(run({L"-p", root.path(), L"--service"}), ExitCode::ServiceFailed);
    EXPECT_TRUE(printed("--service is for the service manager alone."));
    EXPECT_EQ(run({L"-p", root.path(L"nowhere"), L"--install"}), ExitCode::DirectoryFailed);
    root.makeFolder("IDS/bin/LathwindAgent.lock");
    EXPECT_EQ(run({L"-p", root.path()}), ExitCode::LockFailed);
    EXPECT_TRUE(printed("Cannot lock "));
}

TEST_F(LathwindAgentTest, ASecondAgentOnTheSameRootIsRefused) {
    std::unique_ptr<platform::InstanceLock> first;
    ASSERT_EQ(
        platform::supervision().lockInstance(root.path(L"IDS\\bin\\LathwindAgent.lock"), first),
        platform::error::Success);
    EXPECT_EQ(run({L"-p", root.path()}), ExitCode::AlreadyRunning);
    EXPECT_TRUE(printed("process " + std::to_string(platform::processes().currentId()) + ","));
    EXPECT_FALSE(root.exists("IDS/bin/FileWatch.dat"));
}

TEST_F(LathwindAgentTest, ACheckShowsWhatIsWatchedAndWhatIsRefusedAndWritesNothing) {
    root.write("IDS/system/agent.ini", "[File Collector]\nshort poll interval=15\n");
    EXPECT_EQ(run({L"-p", root.path(), L"--check"}), ExitCode::Success);  // no lists at all
    root.write("IDS/system/filewatch.ini",
               "[FileWatch]\nNumLists=3\n"
               "[FileWatch List - High Protection]\nListLabel=High\nMaxFileNumber=4\n"
               "File0001=c:\\A\\b.txt|3|1|0\nFile0002=relative.txt\nFile0003=c:\\deep\\*|64\n"
               "File0004=c:\\a\\b.txt\n"
               "[FileWatch List0002]\nPollInterval=5\nMaxFileNumber=1\nFile0001=c:\\c\\*.ini|2\n"
               "[FileWatch - FileDiff]\nMaxFileDiffNumber=1\nFileDiff0001=D\n"
               "[D]\nFilter=*.ini\nType=ini\n");
    root.write("IDS/system/logwatch.ini",
               "[Log Files]\nFiles=1\n[File1]\nFileName=c:\\l.log\nStringsToParse=1\nS1=denied\n");
    EXPECT_EQ(run({L"-p", root.path(), L"--check"}), ExitCode::EntriesRefused);
    for (const char* line : {
             "..\\system\\filewatch.ini [FileWatch List - High Protection] \"High\": list 1, "
             "every 15 s\n  refused: relative.txt: not absolute",
             "  refused: c:\\deep\\*: more levels than there may be\n",
             "b.txt: an earlier entry has the same path\n",
             "  file c:\\a\\b.txt: list 1, every 15 s, levels 3, checksum\n",
             "  file c:\\c\\*.ini: list 10, every 10 s, levels 2\n",
             "  diff of *.ini: ini\n",
             "  log c:\\l.log: every 15 s, ANSI, lines with: denied\n",
             "note: Section name in filewatch.ini not found: ",
             "2 file entries, 1 log entries; 3 refused\n",
         }) {
        EXPECT_TRUE(printed(line)) << line << "\nin\n" << output;
    }
    EXPECT_TRUE(std::filesystem::is_empty(root.native("IDS/bin")));
    EXPECT_FALSE(root.exists("IDS/log"));
}

// Answers in the place of the service manager.
class FakeSupervision : public platform::Supervision {
public:
    platform::ErrorCode listen(platform::StopListener*) override { return answer; }
    void report(const platform::ServiceReport&) override {}
    platform::ErrorCode runService(const std::wstring&,
                                   const std::function<std::uint32_t()>&) override {
        return answer;
    }
    platform::ErrorCode installService(const platform::ServiceDefinition& definition) override {
        installed = definition;
        return answer;
    }
    platform::ErrorCode removeService(const std::wstring&) override { return answer; }
    platform::ErrorCode lockInstance(const std::wstring&,
                                     std::unique_ptr<platform::InstanceLock>&) override {
        return answer;
    }

    platform::ErrorCode answer = platform::error::Success;
    platform::ServiceDefinition installed;
};

TEST_F(LathwindAgentTest, TheServiceStartsThisProgramOnThisRoot) {
    FakeSupervision manager;
    const testing::ServiceOverride override(platformFactory.supervision, manager);
    std::filesystem::current_path(root.native());
    EXPECT_EQ(run({L"-p", L".", L"--install"}), ExitCode::Success);
    EXPECT_EQ(manager.installed.name, kServiceName);
    const std::wstring& line = manager.installed.commandLine;
    EXPECT_NE(line.find(L"agent_tests"), std::wstring::npos);
    EXPECT_EQ(line.find(L" -p \".\""), std::wstring::npos);  // the manager has another folder
    EXPECT_TRUE(line.ends_with(L"\" --service"));
    EXPECT_EQ(run({L"--uninstall"}), ExitCode::Success);
    manager.answer = platform::error::AccessDenied;
    EXPECT_EQ(run({L"--uninstall"}), ExitCode::ServiceFailed);
    EXPECT_TRUE(printed("The service LathwindAgent cannot be removed: "));
}

// Lets a test ask the agent to stop, and notes what the manager is told.
class StoppingSupervision : public FakeSupervision {
public:
    platform::ErrorCode listen(platform::StopListener* newListener) override {
        listener = newListener;
        if (listener != nullptr && dies) {
            platformFactory.exitEvent->set();
        }
        return answer;
    }
    void report(const platform::ServiceReport& report) override {
        const ScopedLock guard(*lock);
        if (stages.empty() || stages.back() != report.stage) {
            stages.push_back(report.stage);
        }
    }

    bool dies = false;
    platform::StopListener* listener = nullptr;
    const std::unique_ptr<Lock> lock = platformFactory.createLock();
    std::vector<platform::ServiceStage> stages;
};

// Asks the agent to stop when it says that its configuration is final.
class StoppingConsole : public testing::HostDecorator {
public:
    explicit StoppingConsole(StoppingSupervision& supervision)
        : HostDecorator(platform::host()), supervision_(supervision) {}
    bool writeOutput(std::wstring_view text) override {
        output += text;
        if (text.starts_with(L"Configuration final: ")) {
            supervision_.listener->onStopRequest(StopReason::ServiceStop);
        }
        return true;
    }
    bool flushOutput() override { return true; }

    std::wstring output;

private:
    StoppingSupervision& supervision_;
};

class LathwindAgentThreads : public LathwindAgentTest {
protected:
    ~LathwindAgentThreads() override { EventFiles::instance().close(); }

    StoppingSupervision supervision_;
    StoppingConsole console_{supervision_};
    testing::ServiceOverride<platform::Supervision> supervisor_{platformFactory.supervision,
                                                                supervision_};
    testing::ServiceOverride<platform::Host> host_{platformFactory.host, console_};
};

TEST_F(LathwindAgentThreads, AStopSavesTheStateAndTellsTheManagerOfEachStage) {
    root.write("IDS/system/logwatch.ini",
               "[Log Files]\nFiles=1\n[File1]\nFileName=" + narrow(root.path(L"l.log")) + "\n");
    root.write("l.log", "line\n");
    EXPECT_EQ(runAgent({L"LathwindAgent", L"-p", root.path()}), ExitCode::Success);
    EXPECT_NE(console_.output.find(L"final: 0 watched files, 1 watched log files"),
              std::wstring::npos);
    EXPECT_NE(console_.output.find(L"\nStopping: service stop.\nStopped: "), std::wstring::npos);
    for (const char* file : {"IDS/bin/FileWatch.dat", "IDS/log/QVRIDSService.log",
                             "IDS/log/statistics/agent.log", "IDS/log/statistics/rt-fim.log"}) {
        EXPECT_TRUE(root.exists(file)) << file;
    }
    // The agent's own last words are events too.
    EXPECT_NE(root.read("IDS/log/QVRIDSEvents.csv").find("FWC_0033"), std::string::npos);
    using platform::ServiceStage;
    EXPECT_EQ(supervision_.stages,
              (std::vector{ServiceStage::Starting, ServiceStage::Running, ServiceStage::Stopping}));
}

TEST_F(LathwindAgentThreads, ADeadThreadEndsTheAgentInOrderAndWithItsOwnCode) {
    supervision_.dies = true;
    EXPECT_EQ(runAgent({L"LathwindAgent", L"-p", root.path()}), ExitCode::ThreadDied);
    EXPECT_NE(console_.output.find(L"\nStopping: a thread of the agent has died.\nStopped: "),
              std::wstring::npos);
    EXPECT_EQ(platformFactory.exitEvent, nullptr);
}

TEST(StopRequestThreads, AServiceOutlivesALogoffAndAConsoleWaitsForTheState) {
    struct Case {
        StopReason reason;
        StopAnswer console;
        StopAnswer service;
    };
    for (const Case& row : {Case{StopReason::Interrupt, StopAnswer::Stop, StopAnswer::Stop},
                            Case{StopReason::Termination, StopAnswer::Stop, StopAnswer::Stop},
                            Case{StopReason::ServiceStop, StopAnswer::Stop, StopAnswer::Stop},
                            Case{StopReason::ConsoleClosed, StopAnswer::HoldOpen, StopAnswer::Stop},
                            Case{StopReason::Logoff, StopAnswer::HoldOpen, StopAnswer::Ignore},
                            Case{StopReason::Shutdown, StopAnswer::HoldOpen, StopAnswer::Stop}}) {
        EXPECT_EQ(answerTo(row.reason, false), row.console);
        EXPECT_EQ(answerTo(row.reason, true), row.service);
    }
    const auto wake = platformFactory.createEvent({});
    StopRequest request(*wake, true);
    request.onStopRequest(StopReason::Logoff);
    EXPECT_FALSE(request.isMade());
    EXPECT_EQ(wake->wait(0, false), WaitResult::TimeOut);
    request.onStopRequest(StopReason::ServiceStop);
    request.onStopRequest(StopReason::Interrupt);
    EXPECT_EQ(wake->wait(0, false), WaitResult::Signalled);
    EXPECT_EQ(request.reason(), StopReason::ServiceStop);
}

}  // namespace
}  // namespace lathwind::agent
