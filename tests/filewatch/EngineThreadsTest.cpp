// The whole engine with its real threads, on a clock that runs fast: what may happen at the same
// time does. Nothing here waits for a time, only for what the engine says.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "filewatch/FileWatchSubject.h"
#include "filewatch/windows/WinFileWatcher.h"
#include "support/BinaryFolder.h"
#include "support/FastPlatform.h"
#include "support/FilterLibrary.h"
#include "utils/AgentInfo.h"
#include "utils/LogSink.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using Call = testing::TestFilterControl::Call;

constexpr std::uint32_t kActor = 0x7FFFFF01;  // nobody's id
constexpr std::uint32_t kEventsLimit = 500;
constexpr char kFinal[] = "FWC_0033";
constexpr char kEventsLost[] = "FWC_0008";

#if defined(_WIN32)  // an event's set and reset are calls to another process under Wine
constexpr std::uint32_t kNotifications = 20'000;
#elif defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr std::uint32_t kNotifications = 100'000;
#else
constexpr std::uint32_t kNotifications = 1'000'000;
#endif

// What the engine says, for threads that wait for it: events by what they tell, and messages by
// their code.
class Listener : public EventDestination, public LogSink {
public:
    Listener() { setLogSink(this); }
    ~Listener() override { setLogSink(nullptr); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    // Debug lines would take up most of a run in which much happens.
    static void muteDebugLines() {
        for (std::atomic<std::uint32_t>& flags : detail::moduleFlags) {
            flags.fetch_and(~detail::kSinkBit);
        }
    }

    bool isFull() override { return isFull_.load(); }
    void setFull(bool isFull) { isFull_.store(isFull); }
    void take(std::unique_ptr<IDSEvent> event) override { count(describe(*event), total_); }
    void debugOutput(std::wstring_view, int, std::wstring_view) override {}
    void messageOutput(Severity, std::wstring_view text) override {
        count(narrow(std::wstring(text.substr(0, text.find(L':')))), messages_);
    }

    // "C a.txt" of a file, "line" of a log, "FWC_0008" of a message.
    int countOf(const std::string& said) const {
        const std::lock_guard guard(mutex_);
        const auto found = counts_.find(said);
        return found == counts_.end() ? 0 : found->second;
    }
    int countOfEvents() const {
        const std::lock_guard guard(mutex_);
        return total_;
    }
    // The waits give false when they were told to end, and where nothing comes in a time in which
    // any machine would get there.
    bool waitFor(const std::string& said, int times = 1) {
        return wait([&] { return counts_[said] >= times; });
    }
    bool waitForEvents(int total) {
        return wait([&] { return total_ >= total; });
    }
    void endWaits(bool end) {
        {
            const std::lock_guard guard(mutex_);
            isEnding_ = end;
        }
        changed_.notify_all();
    }

private:
    static std::string describe(const IDSEvent& event) {
        if (event.GetSourceKind() == sourceKind::LogWatch) {
            return narrow(event.GetField(eventField::Description));
        }
        const auto& values = event.GetValues();
        const std::wstring path = values.size() > 2 ? values[1] : std::wstring();
        return narrow(values.size() > 2 ? values[2] : std::wstring()) + " " +
               narrow(path.substr(path.rfind(L'\\') + 1));
    }
    void count(const std::string& said, int& sum) {
        {
            const std::lock_guard guard(mutex_);
            ++counts_[said];
            ++sum;
        }
        changed_.notify_all();
    }
    template <class Test>
    bool wait(const Test& test) {
        constexpr std::chrono::minutes kLong{3};
        bool isTrue = false;
        std::unique_lock guard(mutex_);
        const bool isOver =
            changed_.wait_for(guard, kLong, [&] { return (isTrue = test()) || isEnding_; });
        EXPECT_TRUE(isOver) << "nothing came";
        return isTrue;
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, int> counts_;
    int total_ = 0;
    int messages_ = 0;
    bool isEnding_ = false;
    std::atomic<bool> isFull_{false};
};

// Holds up a thread where it comes by.
class Gate {
public:
    void pass() {
        std::unique_lock guard(mutex_);
        ++arrived_;
        changed_.notify_all();
        changed_.wait(guard, [this] { return isOpen_ || arrived_ <= passes_; });
    }
    void waitForArrival(int number) {
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [this, number] { return arrived_ >= number; });
    }
    void let(int passes) {
        const std::lock_guard guard(mutex_);
        passes_ = passes;
        changed_.notify_all();
    }
    void open(bool isOpen) {
        const std::lock_guard guard(mutex_);
        isOpen_ = isOpen;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int arrived_ = 0;
    int passes_ = 0;
    bool isOpen_ = true;
};

// The monitor's thread comes by the gate when the filter says that a file was made: it gives the
// one who does it 20 ms, with the notification in its hands.
class GatedPlatform : public testing::FastPlatform {
public:
    void sleepMs(std::uint32_t milliseconds) override {
        constexpr std::uint32_t kWriterPauseMs = 20;
        if (milliseconds == kWriterPauseMs) {
            gate.pass();
        } else {
            FastPlatform::sleepMs(milliseconds);
        }
    }

    Gate gate;
};

// Joined wherever the test leaves.
class Workers {
public:
    explicit Workers(Listener& listener) : listener_(listener) {}
    ~Workers() { end(); }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    void start(std::function<void()> work) { threads_.emplace_back(std::move(work)); }
    void end() {
        listener_.endWaits(true);
        for (std::thread& thread : threads_) {
            thread.join();
        }
        threads_.clear();
        listener_.endWaits(false);
    }

private:
    Listener& listener_;
    std::vector<std::thread> threads_;
};

constexpr int kRounds = 3;
constexpr int kFilesOfRound = 8;

class EngineThreads : public ::testing::Test {
protected:
    EngineThreads() : library(folder.root.native("bin"), folder.root.path(L"bin")) {
        WinFileWatcher::SetDirty(false);
        write("system/agent.ini",
              "[File Collector]\nshort poll interval=10\nlong poll interval=1\n");
        settings = std::make_unique<AgentInfoRef>();
        saveStateEach(1);
        write("system/logwatch.ini",
              "[Log Files]\nFiles=1\n[File1]\nFileName=" + watched("logs\\*.log") + "\n");
        for (const char* name :
             {"a.txt", "gate.txt", "logs/app.log", "flip/f.cfg", "inst/web/v.cfg"}) {
            write(std::string("watched/") + name, "1\n");
        }
        folder.root.makeFolder("watched/volume");
    }
    void saveStateEach(int minutes) {
        write("system/LocalAgent.ini",
              "[File Collector]\nDatFile State Saving Frequency=" + std::to_string(minutes) +
                  "\n[Event Management]\nFile Collector Events Limit=" +
                  std::to_string(kEventsLimit) + "\n");
        (*settings)->reload();
    }
    void TearDown() override { platform.gate.open(true); }

    static std::string entry(int number, const std::string& value) {
        return "File000" + std::to_string(number) + "=" + value + "\n";
    }
    // The files that are followed throughout are the same in each variant of the lists.
    void writeLists(bool isFirst) {
        const std::string more =
            isFirst ? "PollInterval=11\nMaxFileNumber=2\n" + entry(1, watched("flip\\*.cfg|2|1")) +
                          entry(2, watched("inst\\{VIRTUAL_TAG}\\*.cfg|1|0"))
                    : "PollInterval=12\nMaxFileNumber=1\n" + entry(1, watched("flip\\*.cfg|1|0|1"));
        write("system/filewatch.ini",
              "[FileWatch]\nNumLists=3\n[FileWatch List - High Protection]\nMaxFileNumber=1\n" +
                  entry(1, watched("*.txt|1|1|1")) +
                  "[FileWatch List - Normal Protection]\nMaxFileNumber=2\n" +
                  entry(1, watched("volume\\*.dat|1|0")) + entry(2, watched("absent.txt|1|1")) +
                  "[FileWatch List0003]\n" + more +
                  "[FileWatch - FileDiff]\nMaxFileDiffNumber=1\nFileDiff0001=D\n[D]\nFilter=" +
                  watched("a.*") + "\nType=txt\n");
    }

    // Until it is told to end: work once for each new file that was told. So nobody outruns the
    // engine, whatever the machine.
    void atEachFile(const std::function<void()>& work) {
        for (int number = lastNumber.load() + 1;
             listener.waitFor("C n" + std::to_string(number) + ".txt"); ++number) {
            work();
        }
    }

    void start() {
        const int before = listener.countOf(kFinal);
        initialize();
        ASSERT_TRUE(listener.waitFor(kFinal, before + 1));
    }
    void initialize() {
        control.SetResult(Call::Add, 1);  // polling has what the filter does not take
        subject = std::make_unique<FileWatchSubject>();
        subject->attach(listener);
        subject->Initialize();
    }

    // New files and lines, one after the other has been told, and two more behind the end. Of what
    // else it changes it depends on the moment whether the engine ever sees it.
    void changeFiles() {
        for (int left = 2; left > 0;) {
            const std::string number = std::to_string(++lastNumber);
            write("watched/n" + number + ".txt", "1");
            while (!append("watched/logs/app.log", "line " + number + "\n")) {
            }
            append("watched/a.txt", "more\n");
            append("watched/flip/f.cfg", "more\n");
            std::error_code ignored;
            std::filesystem::remove_all(folder.root.native("watched/inst/web"), ignored);
            folder.root.makeFolder("watched/inst/web");
            append("watched/inst/web/v.cfg", number);
            if (!listener.waitFor("C n" + number + ".txt") || !listener.waitFor("line " + number)) {
                --left;
            }
        }
    }
    void tellByFilter() {
        const std::wstring newest = L"n" + std::to_wstring(lastNumber.load()) + L".txt";
        push(filterEvent::Created, newest);
        push(filterEvent::Modified, L"A.TXT");
        push(filterEvent::Accessed, L"a.txt:s", 5);
        push(filterEvent::Deleted, L"absent.txt");
        push(filterEvent::Renamed, L"absent.txt", 0, path(L"a.txt"));
        push(filterEvent::Unmounted, L"volume");
        push(filterEvent::Mounted, L"volume");
        control.Drain();
    }
    void askForStatistics() {
        EXPECT_TRUE(subject->GetStatistics().starts_with(L"Events collected by File Collector"));
        FileWatchMonitor& monitor = *subject->GetMonitor();
        const QueueState queue = monitor.GetSource().GetQueue().state();
        EXPECT_LE(queue.peak, queue.limit);
        EXPECT_LE(subject->queueState().peak, kEventsLimit);
    }
    void reconfigure() {
        const int before = listener.countOf(kFinal);
        control.SetResult(Call::Add, lists % 3 == 0 ? 0 : 1);
        writeLists(++lists % 2 == 0);
        subject->Reconfigure(FileWatchSubject::kFileLists | FileWatchSubject::kLogLists);
        listener.waitFor(kFinal, before + 1);
    }

    void push(std::uint32_t type, const std::wstring& name, std::uint32_t repeats = 0,
              const std::wstring& newPath = {}) {
        const std::wstring whole = path(name);
        control.Push({type, 7, kActor, nullptr, whole.c_str(), L"p.exe",
                      newPath.empty() ? nullptr : newPath.c_str()},
                     repeats);
    }
    std::wstring path(const std::wstring& name) const {
        return folder.root.path(L"watched\\" + name);
    }
    std::string watched(const std::string& name) const { return narrow(path(widen(name))); }
    void write(const std::string& name, const std::string& text) const {
        folder.root.write(name, text);
    }
    bool append(const std::string& name, const std::string& text) const {
        std::ofstream stream(folder.root.native(name), std::ios::binary | std::ios::app);
        stream << text;
        stream.close();
        return stream.good();
    }

    GatedPlatform platform;
    // Everything at once until some files have been told, then a stop in the middle.
    void runRound(bool reconfigures) {
        start();
        Workers workers(listener);
        workers.start([this] { changeFiles(); });
        workers.start([this] { atEachFile([this] { tellByFilter(); }); });
        workers.start([this] { atEachFile([this] { askForStatistics(); }); });
        if (reconfigures) {
            workers.start([this] { atEachFile([this] { reconfigure(); }); });
        }
        const int last = lastNumber.load() + kFilesOfRound;
        EXPECT_TRUE(listener.waitFor("C n" + std::to_string(last) + ".txt"));
        subject->Stop();
        workers.end();
        subject.reset();
    }

    const testing::BinaryFolder folder;
    std::unique_ptr<AgentInfoRef> settings;
    const testing::FilterLibrary library;
    testing::TestFilterControl& control = library.control();
    Listener listener;
    std::atomic<int> lastNumber{0};
    int lists = 0;  // of the thread that reconfigures
    std::unique_ptr<FileWatchSubject> subject;
};

TEST_F(EngineThreads, EverythingAtOnceAndStoppedInTheMiddle) {
    writeLists(true);
    for (int round = 1; round <= kRounds; ++round) {
        SCOPED_TRACE(round);
        runRound(true);
        initialize();
        subject->Stop();  // in the middle of its start
        subject.reset();
    }
    start();
    write("watched/last.txt", "1");
    EXPECT_TRUE(listener.waitFor("C last.txt"));
    subject.reset();
    for (const char* failure : {"FWC_0002", "FWC_0004", "FWC_0005", kEventsLost}) {
        EXPECT_EQ(listener.countOf(failure), 0) << failure;
    }
}

// While the lists stay as they are, a stop at any moment neither loses what comes nor tells it
// twice.
TEST_F(EngineThreads, TellsEverythingOnce) {
    writeLists(true);
    for (int round = 1; round <= kRounds; ++round) {
        SCOPED_TRACE(round);
        runRound(false);
    }
    for (const char* marker : {"first", "second"}) {
        start();
        write(std::string("watched/") + marker + ".txt", "1");
        EXPECT_TRUE(append("watched/logs/app.log", std::string(marker) + "\n"));
        EXPECT_TRUE(listener.waitFor(std::string("C ") + marker + ".txt"));
        EXPECT_TRUE(listener.waitFor(marker));
        subject.reset();
    }
    for (int number = 1; number <= lastNumber.load(); ++number) {
        EXPECT_EQ(listener.countOf("C n" + std::to_string(number) + ".txt"), 1) << number;
        EXPECT_EQ(listener.countOf("line " + std::to_string(number)), 1) << number;
    }
    EXPECT_EQ(listener.countOf(kEventsLost), 0);
}

// More than the queues hold, while nobody takes anything out. The monitor's thread is held up too,
// so that it is known how much is lost where.
TEST_F(EngineThreads, ASlowConsumerCostsEventsAndNothingElse) {
    Listener::muteDebugLines();
    saveStateEach(0);  // at the end alone: what asks for it stands in the queue as well
    writeLists(true);
    start();
    FileEventSource::NotificationQueue& queue = subject->GetMonitor()->GetSource().GetQueue();
    const std::uint32_t limit = queue.state().limit;
    EXPECT_EQ(limit, 8 * kEventsLimit);
    std::uint32_t lostNotifications = 0;
    std::uint32_t lostEvents = 0;
    int arrivals = 0;
    int reports = 0;
    for (const std::uint32_t count : {kNotifications, limit + 1}) {
        SCOPED_TRACE(count);
        listener.setFull(true);
        platform.gate.open(false);
        push(filterEvent::Created, L"gate.txt");
        platform.gate.waitForArrival(++arrivals);
        push(filterEvent::Accessed, L"a.txt:s" + std::to_wstring(count) + L"-", count);
        control.Drain();
        lostNotifications += count - limit;
        EXPECT_EQ(queue.state().count, limit);
        EXPECT_EQ(queue.state().peak, limit);
        EXPECT_EQ(queue.state().dropped, lostNotifications);
        EXPECT_EQ(listener.countOf(kEventsLost), ++reports) << "of notifications";

        platform.gate.let(arrivals);
        ASSERT_TRUE(listener.waitFor(kEventsLost, ++reports)) << "of events";
        push(filterEvent::Created, L"gate.txt");
        platform.gate.waitForArrival(++arrivals);  // the others are done
        lostEvents += limit - kEventsLimit;
        EXPECT_EQ(subject->queueState().count, kEventsLimit);
        EXPECT_EQ(subject->queueState().peak, kEventsLimit);
        EXPECT_EQ(listener.countOf(kEventsLost), reports);

        platform.gate.open(true);
        const std::wstring dropped =
            L"(Events dropped:" + std::to_wstring(lostEvents) + L") (Files : ";
        EXPECT_NE(subject->GetStatistics().find(dropped), std::wstring::npos)
            << narrow(subject->GetStatistics());
        const int taken = listener.countOfEvents();
        listener.setFull(false);
        EXPECT_TRUE(listener.waitForEvents(taken + static_cast<int>(kEventsLimit)));

        const std::string name = "n" + std::to_string(count) + ".txt";
        write("watched/" + name, "1");
        EXPECT_TRUE(listener.waitFor("C " + name)) << "as before";
        EXPECT_EQ(listener.countOf(kEventsLost), reports);
    }
    EXPECT_GE(subject->GetMonitor()->GetDriverEventCount(), kNotifications);
}

}  // namespace
}  // namespace lathwind
