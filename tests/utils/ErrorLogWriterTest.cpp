#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "support/FakeAccounts.h"
#include "support/FakeProcesses.h"
#include "support/ScopedOverride.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "utils/AgentInfo.h"
#include "utils/ErrorLogWriter.h"
#include "utils/LogSink.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::ScopedOverride;
using testing::TempDir;

// Leaves the writer's steps to the test.
class IdleThread : public Thread {
public:
    void start(const std::wstring& name) override { EXPECT_EQ(name, L"ErrorLogWriter"); }
    bool wait() override { return true; }
    void terminate() override {}
    bool isRunning() const override { return true; }
};

class RecordingSink : public AgentEventSink {
public:
    PushResult push(AgentEventFacts facts) override {
        events.push_back(std::move(facts));
        return result;
    }
    void drain() override { ++drains; }

    std::vector<AgentEventFacts> events;
    PushResult result = PushResult::Stored;
    int drains = 0;
};

class LogTo : public LogSink {
public:
    explicit LogTo(ErrorLogWriter& writer) : writer_(writer) { setLogSink(this); }
    ~LogTo() override { setLogSink(nullptr); }
    LogTo(const LogTo&) = delete;
    LogTo& operator=(const LogTo&) = delete;
    void debugOutput(std::wstring_view, int, std::wstring_view text) override;
    void messageOutput(Severity severity, std::wstring_view text) override;

private:
    ErrorLogWriter& writer_;
};

LogRecord makeRecord(Severity severity, const std::wstring& text) {
    LogRecord record;
    record.line = detail::messageLine(severity, L"T", ModuleId::Utils, text);
    record.code = detail::codeOf(text);
    record.severity = severity;
    record.module = L"Utils Module";
    return record;
}

// What the code under test logs comes back to the writer under test.
void LogTo::debugOutput(std::wstring_view, int, std::wstring_view text) {
    writer_.submit(makeRecord(Severity::Debug, std::wstring(text)));
}
void LogTo::messageOutput(Severity severity, std::wstring_view text) {
    writer_.submit(makeRecord(severity, std::wstring(text)));
}

constexpr char kBanner[] = "\nVersion 4.7.3.612 2K/XP/2003/2008/2012\n\n";

class ErrorLogWriterTest : public ::testing::Test {
protected:
    std::string contents() const {
        std::string bytes = folder_.read("log/QVRIDSService.log");
        std::erase(bytes, '\r');
        return bytes;
    }
    bool hasLog() const { return folder_.exists("log/QVRIDSService.log"); }

    TempDir folder_;
    testing::FakeAccounts accounts_;
    testing::FakeProcesses processes_;
    testing::ServiceOverride<platform::Accounts> accountAnswers_{platformFactory.accounts,
                                                                 accounts_};
    testing::ServiceOverride<platform::Processes> processAnswers_{platformFactory.processes,
                                                                  processes_};
    ScopedOverride<std::unique_ptr<Thread> (*)(Runnable&)> thread_{
        platformFactory.createThread,
        +[](Runnable&) -> std::unique_ptr<Thread> { return std::make_unique<IdleThread>(); }};
    ErrorLogWriter writer_{folder_.path(L"log\\QVRIDSService.log")};
    RecordingSink sink_;
};

TEST(ErrorLogWriterRecords, MessageIsWhatFollowsTheCode) {
    EXPECT_EQ(messageOf(makeRecord(Severity::Error, L"UT_0042: Unable to x ")), L"Unable to x");
    // Without a code the whole line stays.
    EXPECT_EQ(messageOf(makeRecord(Severity::Error, L"a colon too late: x")),
              L"ERROR:  \tT\tUtils Module\ta colon too late: x");
    LogRecord record = makeRecord(Severity::Error, L"UT_0042:");
    EXPECT_EQ(messageOf(record), L"");
    record.code = L"ELSEWHERE";
    EXPECT_EQ(messageOf(record), L"ERROR:  \tT\tUtils Module\tUT_0042:");
    record.line = record.code;  // nothing follows the code
    EXPECT_EQ(messageOf(record), L"");
}

TEST(ErrorLogWriterRecords, BecomeEventsBySeverity) {
    struct Case {
        Severity severity;
        std::uint32_t eventSeverity, code;
        const wchar_t* type;
        std::uint32_t priority, flags;
    };
    for (const Case& expected : {Case{Severity::Status, 3, 10, L"MSTD", 0, 0},
                                 Case{Severity::Warning, 1, 9, L"MERR", 55, 16},
                                 Case{Severity::Error, 0, 9, L"MERR", 85, 16}}) {
        const LogRecord record = makeRecord(expected.severity, L"FWC_0018: path\n");
        AgentEventOrigin origin;
        origin.processId = 7;
        const AgentEventFacts facts = makeAgentEventFacts(record, origin);
        EXPECT_EQ(facts.eventSeverity, expected.eventSeverity);
        EXPECT_EQ(facts.eventCode, expected.code);
        EXPECT_EQ(facts.type, expected.type);
        EXPECT_EQ(facts.priority, expected.priority);
        EXPECT_EQ(facts.controlFlags, expected.flags);
        EXPECT_EQ(facts.origin.processId, 7u);
        EXPECT_EQ(facts.rawText, record.line);
        for (std::size_t i = 0; i < facts.fields.size(); ++i) {
            const std::wstring field = i == 2    ? L"FWC_0018"
                                       : i == 7  ? L"Utils Module"
                                       : i == 11 ? L"path"
                                                 : L"";
            EXPECT_EQ(facts.fields[i], field) << i;
        }
    }
}

TEST_F(ErrorLogWriterTest, WritesBannerThenRecordsInOrder) {
    writer_.submit(makeRecord(Severity::Status, L"early"));  // waits for the writer
    ASSERT_TRUE(writer_.start());
    ASSERT_TRUE(writer_.start());  // no second banner
    EXPECT_EQ(contents(), kBanner);
    writer_.submit(makeRecord(Severity::Warning, L"later"));
    EXPECT_TRUE(writer_.step(0));
    EXPECT_EQ(contents(),
              std::string(kBanner) +
                  "STATUS: \tT\tUtils Module\tearly\nWARNING:\tT\tUtils Module\tlater\n");
    EXPECT_TRUE(writer_.step(0));
    writer_.stop();
    EXPECT_FALSE(writer_.step(0));
}

TEST_F(ErrorLogWriterTest, StopLosesOrDrainsTheQueue) {
    for (const Drain drain : {Drain::No, Drain::Yes}) {
        ASSERT_TRUE(writer_.start());  // a stopped writer starts again
        writer_.submit(makeRecord(Severity::Error, L"last words"));
        writer_.stop(drain);
        EXPECT_FALSE(writer_.isStarted());
        EXPECT_EQ(contents().find("last words") != std::string::npos, drain == Drain::Yes);
        writer_.submit(makeRecord(Severity::Error, L"too late"));
    }
    EXPECT_EQ(contents().find("too late"), std::string::npos);
}

TEST_F(ErrorLogWriterTest, OpensOnTheFirstRecordIfAskedTo) {
    ASSERT_TRUE(writer_.start(OpenLog::OnFirstRecord));
    writer_.submit(makeRecord(Severity::Status, L"IA_0033: only an event"));
    EXPECT_TRUE(writer_.step(0));
    EXPECT_FALSE(folder_.exists("log"));
    writer_.submit(makeRecord(Severity::Error, L"x"));
    EXPECT_TRUE(writer_.step(0));
    EXPECT_EQ(contents(), std::string(kBanner) + "ERROR:  \tT\tUtils Module\tx\n");
}

TEST_F(ErrorLogWriterTest, DropsEverythingWithoutALog) {
    folder_.write("log", "a file where the folder should be");
    writer_.setEventSink(&sink_);
    EXPECT_FALSE(writer_.start());
    EXPECT_FALSE(writer_.isStarted());
    EXPECT_TRUE(writer_.start(OpenLog::OnFirstRecord));
    writer_.submit(makeRecord(Severity::Error, L"x"));
    writer_.submit(makeRecord(Severity::Error, L"y"));
    writer_.stop(Drain::Yes);
    EXPECT_FALSE(writer_.isStarted());
    EXPECT_EQ(writer_.errorCount(), 0u);
    EXPECT_TRUE(sink_.events.empty());
}

// A log that is full and whose oldest backup cannot be deleted complains at each write. The
// complaint is written to that very log.
TEST_F(ErrorLogWriterTest, SaysOnceThatItCannotRollOver) {
    const std::string log = "log/QVRIDSService.log";
    folder_.write(log, std::string(6 << 20, 'x') + "\n");
    for (int backup = 1; backup <= 9; ++backup) {
        folder_.write(log + "." + std::to_string(backup), "old");
    }
    folder_.write(log + ".10/in the way", "a folder is not deleted as a file");
    folder_.write("LocalAgent.ini", "[Log Debugs]\nUnsafe Exit On Crash=1\n");
    AgentInfo settings(SettingsPaths::in(folder_.path(L""), folder_.path(L"")));
    const LogTo loop(writer_);
    for (const bool synchronous : {false, true}) {
        ASSERT_TRUE(writer_.start());  // the banner is the first line that finds the log full
        writer_.submit(makeRecord(Severity::Status, L"first"));
        EXPECT_TRUE(writer_.step(0));
        if (synchronous) {
            settings.reload();
        }
        writer_.submit(makeRecord(Severity::Status, L"second"));
        writer_.submit(makeRecord(Severity::Status, L"third"));
        EXPECT_TRUE(writer_.step(0));
        writer_.stop();
    }
    folder_.write("LocalAgent.ini", "");
    settings.reload();
    const std::string text = contents().substr(6 << 20);
    std::size_t complaints = 0;
    for (std::size_t at = 0; (at = text.find("UT_0042", at)) != std::string::npos; ++at) {
        ++complaints;
    }
    EXPECT_EQ(complaints, 2u);  // one in each run of the writer
    EXPECT_NE(text.find("UT_0043: Could not rename"), std::string::npos);
    EXPECT_NE(text.find("third"), std::string::npos);
}

TEST_F(ErrorLogWriterTest, ForwardsEventsAndCounts) {
    writer_.setEventSink(&sink_);
    ASSERT_TRUE(writer_.start());
    const auto logAll = [this] {
        // An event only, even with the code in an argument.
        writer_.submit(makeRecord(Severity::Status, L"IA_0030: IA_0033"));
        writer_.submit(makeRecord(Severity::Warning, L"IA_0033: w"));
        writer_.submit(makeRecord(Severity::Error, L"e"));
        writer_.submit(makeRecord(Severity::Debug, L"d"));
        EXPECT_TRUE(writer_.step(0));
    };
    logAll();
    ASSERT_EQ(sink_.events.size(), 3u);
    EXPECT_EQ(sink_.events[0].type, L"MSTD");
    EXPECT_EQ(sink_.events[0].origin.processId, platform::processes().currentId());
    EXPECT_EQ(contents().find("STATUS"), std::string::npos);
    EXPECT_NE(contents().find("IA_0033: w"), std::string::npos);
    EXPECT_NE(contents().find("\td\n"), std::string::npos);

    // A refused error is not counted, the others are.
    sink_.result = PushResult::Full;
    logAll();
    const std::array<StatisticsRow, 3> expected = {{{L"Errors reported by Agent", 1},
                                                    {L"Warnings reported by Agent", 2},
                                                    {L"Status reported by Agent", 2}}};
    EXPECT_EQ(writer_.statistics(), expected);
    writer_.stop();
    EXPECT_EQ(sink_.drains, 1);
}

TEST_F(ErrorLogWriterTest, WritesAtOnceWhenACrashMayFollow) {
    ASSERT_TRUE(writer_.start());
    folder_.write("LocalAgent.ini", "[Log Debugs]\nUnsafe Exit On Crash=1\n");
    AgentInfo careful(SettingsPaths::in(folder_.path(L""), folder_.path(L"")));
    careful.reload();
    writer_.submit(makeRecord(Severity::Error, L"x"));
    EXPECT_NE(contents().find("\tx\n"), std::string::npos);
    folder_.write("LocalAgent.ini", "");
    careful.reload();
    writer_.submit(makeRecord(Severity::Error, L"y"));
    EXPECT_EQ(contents().find("\ty\n"), std::string::npos);
}

}  // namespace
}  // namespace lathwind
