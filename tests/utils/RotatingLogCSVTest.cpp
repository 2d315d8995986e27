#include <atomic>
#include <deque>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/ScopedOverride.h"
#include "support/SleeplessHost.h"
#include "support/TempDir.h"
#include "utils/CsvField.h"
#include "utils/DateTime.h"
#include "utils/RotatingLogCSV.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::LogCapture;
using testing::ScopedOverride;
using testing::TempDir;

// What the log did with the one thread and the one event that it may have at a time.
struct Script {
    std::deque<WaitResult> answers;
    std::int32_t waited = 0;
    int sets = 0;
    int resets = 0;
    std::vector<std::wstring> started;
    int joined = 0;
    int alive = 0;
};
Script* script = nullptr;

class ScriptedEvent : public Event {
public:
    void set() override { ++script->sets; }
    void reset() override { ++script->resets; }
    WaitResult wait(std::int32_t milliseconds, bool) override {
        script->waited = milliseconds;
        const WaitResult answer = script->answers.front();
        script->answers.pop_front();
        return answer;
    }
};

class ScriptedThread : public Thread {
public:
    explicit ScriptedThread(Runnable& runnable) : runnable_(runnable) { ++script->alive; }
    ~ScriptedThread() override { --script->alive; }
    void start(const std::wstring& name) override { script->started.push_back(name); }
    bool wait() override {
        ++script->joined;
        runnable_.run();  // a thread that has been told to stop goes through its last turn
        return true;
    }
    void terminate() override {}
    bool isRunning() const override { return true; }

private:
    Runnable& runnable_;
};

class TestLog : public RotatingLogCSV {
public:
    ~TestLog() override { stopThread(); }
    std::int64_t currentTime() override { return now; }
    void markOldFiles() { postRename_ = true; }
    std::atomic<std::int64_t> now = DateTime::ParseDate(L"2013-11-20 01:02:03");
};

class RotatingLogCSVFiles : public ::testing::Test {
protected:
    RotatingLogCSVFiles() {
        script = &script_;
        log_.setPath(folder_.path(L"a.csv"));
    }
    std::string text(const std::string& name) const {
        std::string bytes = folder_.read(name);
        std::erase(bytes, '\r');
        return bytes;
    }

    TempDir folder_;
    Script script_;
    LogCapture sink_;
    testing::SleeplessHost host_;
    ScopedOverride<std::unique_ptr<Event> (*)(const std::wstring&)> eventOverride_{
        platformFactory.createEvent, +[](const std::wstring& name) -> std::unique_ptr<Event> {
            EXPECT_TRUE(name.empty());
            return std::make_unique<ScriptedEvent>();
        }};
    ScopedOverride<std::unique_ptr<Thread> (*)(Runnable&)> threadOverride_{
        platformFactory.createThread, +[](Runnable& runnable) -> std::unique_ptr<Thread> {
            return std::make_unique<ScriptedThread>(runnable);
        }};
    TestLog log_;
};

TEST(CsvField, QuotesWhatWouldBreakALine) {
    const struct {
        const wchar_t* value;
        const wchar_t* field;
    } rows[] = {
        {L"", L""},           {L"plain text", L"plain text"},
        {L"a,b", L"\"a,b\""}, {L"say \"x\"", L"\"say \"\"x\"\"\""},
        {L"\"", L"\"\"\"\""}, {L"a;b", L"a;b"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(csvField(row.value), row.field);
        EXPECT_EQ(csvField(row.value, L""), row.value);
    }
    EXPECT_EQ(csvField(L"a;b'c", L"'", L";"), L"'a;b''c'");
}

TEST_F(RotatingLogCSVFiles, MarksTheBeginningAndTheEndOfAFile) {
    setHostIdentityProvider(+[] {
        return HostIdentity{L"box", L"10.0.0.1", L"corp, \"west\"", L"windows", L"17"};
    });
    log_.setSizeMode(0);
    ASSERT_TRUE(log_.open());
    ASSERT_TRUE(log_.write(L"event\n"));
    setHostIdentityProvider(nullptr);
    std::string rest = ",";
    rest += narrow(DateTime::FormatTimeStamp(log_.now, 0)) +
            ",I,,,,,,,box,10.0.0.1,\"corp, \"\"west\"\"\",windows,17,";
    const std::string first = narrow(folder_.path(L"a.csv"));
    const std::string second = narrow(folder_.path(L"a1.csv"));
    const std::string end = ",E," LATHWIND_PRODUCT_VERSION "\n";
    EXPECT_EQ(text("a.csv"), "MSOF,0" + rest + first + "," + end +  //
                                 "MEOF,0" + rest + first + "," + second + end);
    EXPECT_EQ(text("a1.csv"), "MSOF,0" + rest + second + "," + first + end + "event\n");
    const LogCapture::Message rolled = {
        Severity::Status, L"PE_0109: Rolled over CSV Log file from '" + folder_.path(L"a.csv") +
                              L"' to '" + folder_.path(L"a1.csv") + L"'"};
    EXPECT_EQ(sink_.messages, std::vector{rolled});
    EXPECT_EQ(sink_.debugLines, std::vector<std::wstring>{L"Post rename = 0"});
}

TEST_F(RotatingLogCSVFiles, PutsOldFilesAsideIfAskedTo) {
    log_.markOldFiles();
    log_.setSizeMode(1000000);
    ASSERT_TRUE(log_.open());
    ASSERT_TRUE(log_.forceRollover());
    EXPECT_TRUE(folder_.exists("a1.csv"));
    EXPECT_TRUE(folder_.exists("_a.csv"));
    EXPECT_FALSE(folder_.exists("a.csv"));
}

TEST_F(RotatingLogCSVFiles, KeepsItsThreadInStepWithTheMode) {
    log_.setSizeMode(5);
    log_.setNoRollover();
    EXPECT_TRUE(script_.started.empty());
    log_.setDateMode(L"0 2 * * *");
    EXPECT_EQ(script_.started, std::vector<std::wstring>{L"RotatingCSVLog"});
    log_.setDateMode(L"0 2 * * *");
    EXPECT_EQ(script_.sets, 0);
    log_.setDateMode(L"0 3 * * *");
    EXPECT_EQ(script_.sets, 1);  // the thread works its wait out anew
    script_.answers = {WaitResult::Signalled};
    log_.setNoRollover();
    EXPECT_EQ(script_.sets, 2);
    EXPECT_EQ(script_.joined, 1);
    EXPECT_EQ(script_.alive, 0);
    EXPECT_FALSE(log_.step());
    log_.setDateMode(L"0 3 * * *");
    EXPECT_EQ(script_.started.size(), 2u);
    script_.answers = {WaitResult::Signalled};  // for the destructor
}

TEST_F(RotatingLogCSVFiles, RollsWithoutAnyEvent) {
    log_.setDateMode(L"0 2 * * *");
    ASSERT_TRUE(log_.open());
    script_.answers = {WaitResult::TimeOut, WaitResult::TimeOut, WaitResult::Signalled};
    EXPECT_TRUE(log_.step());
    EXPECT_EQ(script_.waited, (57 * 60 + 57 + 2) * 1000);
    EXPECT_FALSE(folder_.exists("a1.csv"));  // not yet
    log_.now = log_.limit() + 2;
    EXPECT_TRUE(log_.step());
    EXPECT_EQ(script_.waited, 0);
    EXPECT_TRUE(folder_.exists("a1.csv"));
    EXPECT_TRUE(log_.step());  // signalled without a stop: round again
    EXPECT_GE(script_.resets, 1);
    script_.answers = {WaitResult::Signalled};
}

TEST_F(RotatingLogCSVFiles, WaitsInTurnsForAFarRollover) {
    log_.setDateMode(L"0 0 1 * *");
    log_.now = log_.limit() - 40 * 86400;
    EXPECT_EQ(log_.waitTime(), 2147483000);
    log_.now = log_.limit() + 100;
    EXPECT_EQ(log_.waitTime(), 0);
    script_.answers = {WaitResult::Signalled};
}

TEST_F(RotatingLogCSVFiles, StartsAnewAfterItsWaitFailed) {
    for (const WaitResult failure : {WaitResult::Completion, WaitResult::Failed}) {
        log_.setDateMode(failure == WaitResult::Failed ? L"0 2 * * *" : L"0 3 * * *");
        script_.started.clear();
        script_.answers = {failure, failure};
        log_.run();
        EXPECT_EQ(sink_.debugLines.back(),
                  L"Unexpected FAILED/TIMEOUT in Event->Wait()() within Run()");
        log_.setDateMode(L"0 4 * * *");
        EXPECT_EQ(script_.started.size(), 1u);
    }
    script_.answers = {WaitResult::Signalled};
}

// A real thread, a clock that is moved by hand, and a writer beside it.
TEST(RotatingLogCSVThreads, RollsOverBesideAWriterAndStopsWhenTold) {
    TempDir folder;
    const testing::SleeplessHost host;
    class Sink : public LogSink {  // takes what both threads log
        void debugOutput(std::wstring_view, int, std::wstring_view) override {}
        void messageOutput(Severity, std::wstring_view) override {}
    } sink;
    setLogSink(&sink);

    class Log : public TestLog {
    public:
        ~Log() override { stopThread(); }
        bool rollOver() override {
            const bool rolled = RotatingLogCSV::rollOver();
            if (++rollovers == 1) {
                first.set_value();
            }
            return rolled;
        }
        int rollovers = 0;  // under the log's lock
        std::promise<void> first;
    } log;
    log.setPath(folder.path(L"a.csv"));
    log.setDateMode(L"0 2 * * *");
    const auto write = [&] {
        const ScopedLock guard(log.lock());
        EXPECT_TRUE(log.isOpen() || log.open());
        EXPECT_TRUE(log.write(L"line\n"));
    };
    write();
    log.now += 86400;
    log.setDateMode(L"* * * * *");  // due at once; the thread waits for its margin of two seconds
    log.now += 2;
    log.reschedule(false);
    log.first.get_future().wait();
    for (int i = 0; i < 5; ++i) {
        write();
    }
    log.setNoRollover();
    EXPECT_GE(log.rollovers, 1);
    EXPECT_TRUE(folder.exists("a1.csv"));
    write();
    setLogSink(nullptr);
}

}  // namespace
}  // namespace lathwind
