#include <gtest/gtest.h>
#include <set>
#include <thread>

#include "filewatch/windows/WinFileEventSource.h"
#include "support/BinaryFolder.h"
#include "support/FakeFiles.h"
#include "support/FakeFilter.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::FakeFilter;
using testing::LogCapture;
using Notification = std::unique_ptr<FileNotificationInfo>;

constexpr std::int32_t kList = 1;

class FakeMonitor : public MonitorQueries {
public:
    LastKnownState GetAttributes(const std::wstring&, std::int32_t) override { return {}; }
    bool IsIPSFilterWatchingFile(const std::wstring&, std::int32_t) override { return ownPolicy; }
    IPSFilterInterface* GetStartedFilter() override { return nullptr; }

    bool ownPolicy = false;  // the filter watches everything without being told
};

class WinFileEventSourceTest : public ::testing::Test {
protected:
    WinFileEventSourceTest() {
        source.SetMonitor(&monitor);
        source.SetPollingIntervals({kList});
    }

    static WatchRequest request(const std::wstring& path, std::int32_t level = 1) {
        WatchRequest wanted;
        wanted.path = path;
        wanted.recursionLevel = level;
        wanted.listId = kList;
        return wanted;
    }
    std::wstring path(const std::wstring& name) const { return toLower(folder.path(name)); }
    // What has come on a list since the last call, by its name below the folder.
    std::set<std::wstring> added(LogCapture& log) const {
        const std::size_t base = path(L"").size();
        const std::wstring end = L" added to list # 1";
        std::set<std::wstring> names;
        for (const std::wstring& line : log.takeDebug()) {
            if (line.ends_with(end)) {
                const std::wstring row = line.substr(0, line.size() - end.size());
                names.insert(row.size() < base ? L"" : row.substr(base));
            }
        }
        return names;
    }

    testing::TempDir folder;
    FakeMonitor monitor;
    FakeFilter filter;
    WinFileEventSource source;
};

TEST_F(WinFileEventSourceTest, ChoosesWhoWatches) {
    const struct {
        const char* what;
        bool isActive;
        std::int32_t answer;
        bool ownPolicy;
        bool notRealTime;
        std::size_t asked;
        bool isPolled;
    } rows[] = {
        {"no filter", false, 0, false, false, 0, true},
        {"the filter", true, 0, false, false, 1, false},
        {"refused", true, 5, false, false, 1, true},
        {"refused, yet watched", true, 5, true, false, 1, false},
        {"a log", true, 0, true, true, 0, true},
    };
    for (const auto& row : rows) {
        for (const wchar_t* name : {L"c:\\no such folder\\f.txt", L"c:\\no such folder\\*"}) {
            filter.calls.clear();
            filter.result = row.answer;
            monitor.ownPolicy = row.ownPolicy;
            source.GetRealTime().SetInterface(row.isActive ? &filter : nullptr);
            WatchRequest wanted = request(name);
            wanted.notRealTime = row.notRealTime;
            EXPECT_TRUE(source.AddFileToWatch(wanted)) << row.what;
            EXPECT_EQ(filter.calls.size(), row.asked) << row.what;
            EXPECT_EQ(source.GetPolledCount(), row.isPolled ? 1u : 0u) << row.what;
            EXPECT_TRUE(source.RemoveFileToWatch(wanted)) << row.what;
            EXPECT_FALSE(source.RemoveFileToWatch(wanted)) << row.what;
            EXPECT_EQ(source.GetPolledCount(), 0u) << row.what;
            EXPECT_FALSE(source.IsCovered(name, kList)) << row.what;
        }
    }
}

TEST_F(WinFileEventSourceTest, PollsAFolderAndWhatIsInIt) {
    folder.write("A.log", "");
    folder.write("b.txt", "");
    folder.write("sub/c.log", "");
    folder.write("sub/deep/d.log", "");
    folder.makeFolder("x.log");
    LogCapture log;
    EXPECT_TRUE(source.AddFileToWatch(request(path(L"*.log"), 2)));
    EXPECT_EQ(added(log), (std::set<std::wstring>{L"", L"a.log", L"sub", L"sub\\c.log",
                                                  L"sub\\deep", L"x.log"}));
}

TEST_F(WinFileEventSourceTest, RefusesWithAWord) {
    LogCapture log;
    const auto last = [&log] { return log.messages.empty() ? L"" : log.messages.back().text; };
    EXPECT_FALSE(source.AddFileToWatch(request(L"f.txt")));
    EXPECT_EQ(last(), L"FWC_0018: Invalid path(s) will not be monitored: f.txt");
    EXPECT_FALSE(source.AddFileToWatch(request(L"*.txt")));
    EXPECT_EQ(last(), L"FWC_0017: *.txt is not a valid Unix path and will not be monitored.");
    EXPECT_FALSE(source.AddFileToWatch(request(L"c:\\a*\\*.txt", 3)));
    EXPECT_EQ(last(),
              L"FWC_0019: c:\\a*\\*.txt dropped from Filewatch list. Monitoring of files in "
              L"directory c:\\a*\\ at recursion level 3 is not allowed.");
    EXPECT_EQ(source.GetPolledCount(), 0u);
    EXPECT_EQ(source.FindSpec(L"c:\\ab\\c.txt", kList), nullptr);
    EXPECT_EQ(log.messages.size(), 3u);

    EXPECT_TRUE(source.AddFileToWatch(request(L"\\\\server\\share\\f.txt")));
    EXPECT_TRUE(source.AddFileToWatch(request(L"c:")));
    EXPECT_TRUE(source.AddFileToWatch(request(L"c:\\none\\*.txt", 3)));
    log.takeDebug();
    EXPECT_FALSE(source.AddFileToWatch(request(L"c:")));
    EXPECT_FALSE(source.AddFileToWatch(request(L"c:\\none\\*.txt", 1)));
    EXPECT_EQ(log.takeDebug(),
              std::vector<std::wstring>{L"c:\\none\\*.txt is already being watched"});
    EXPECT_EQ(log.messages.size(), 3u);
}

// Two masks share a folder: it is polled until the second one goes.
TEST_F(WinFileEventSourceTest, RemovesWhatNothingElseCovers) {
    folder.write("a.log", "");
    folder.write("b.txt", "");
    const WatchRequest plain = request(path(L"b.txt"));
    const WatchRequest logs = request(path(L"*.log"));
    const WatchRequest all = request(path(L"*"));
    for (const WatchRequest& each : {plain, logs, all}) {
        EXPECT_TRUE(source.AddFileToWatch(each));
    }
    EXPECT_EQ(source.GetPolledCount(), 3u);
    EXPECT_TRUE(source.RemoveFileToWatch(logs));
    EXPECT_EQ(source.GetPolledCount(), 3u);
    EXPECT_TRUE(source.RemoveFileToWatch(all));
    EXPECT_EQ(source.GetPolledCount(), 1u);
    EXPECT_TRUE(source.AddFileToWatch(all));
    EXPECT_TRUE(source.RemoveFileToWatch(plain));
    EXPECT_EQ(source.GetPolledCount(), 3u);
}

// The name of a folder need not match the mask that leads into it.
TEST_F(WinFileEventSourceTest, KeepsTheFoldersThatAnotherEntryLooksInto) {
    folder.write("a.dll", "");
    folder.write("conf/a.xml", "");
    folder.write("conf/sub/b.dll", "");
    const WatchRequest deep = request(path(L"*.dll"), 5);
    const std::set<std::wstring> rows{L"", L"a.dll", L"conf", L"conf\\sub", L"conf\\sub\\b.dll"};
    for (const WatchRequest& other :
         {request(path(L"conf\\*.xml"), 3), request(path(L"conf")), request(path(L"conf\\*"), 9)}) {
        LogCapture log;
        EXPECT_TRUE(source.AddFileToWatch(deep));
        EXPECT_EQ(added(log), rows);
        EXPECT_TRUE(source.AddFileToWatch(other));
        EXPECT_TRUE(source.RemoveFileToWatch(other));
        EXPECT_EQ(source.GetPolledCount(), rows.size()) << log.debugLines.size();
        EXPECT_TRUE(source.RemoveFileToWatch(deep));
        EXPECT_EQ(source.GetPolledCount(), 0u);
    }
}

TEST_F(WinFileEventSourceTest, VirtualEntries) {
    folder.write("Web1/logs/a.log", "");
    folder.makeFolder("web2");
    LogCapture log;
    const WatchRequest entry = request(path(L"{virtual_tag}\\logs\\*.log"));
    EXPECT_TRUE(source.AddFileToWatch(entry));
    EXPECT_EQ(added(log), (std::set<std::wstring>{L"", L"web1", L"web2", L"web1\\logs",
                                                  L"web1\\logs\\a.log", L"web2\\logs"}));
    const auto spec = source.FindSpec(path(L"web1\\logs\\a.log"), kList);
    ASSERT_NE(spec, nullptr);
    EXPECT_EQ(spec->GetVirtualEntry(), entry.path);
    EXPECT_EQ(spec->GetVirtualName(path(L"web1\\logs\\a.log")), L"NAME=web1");
    EXPECT_TRUE(source.IsCovered(path(L"web3"), kList)) << "an instance to come";
    EXPECT_FALSE(source.IsCovered(path(L"web3\\logs\\a.log"), kList));
    EXPECT_FALSE(source.IsExcluded(path(L"web1\\logs"), 1));
    EXPECT_FALSE(source.AddFileToWatch(entry));
    WatchRequest instance = request(path(L"web3\\logs\\*.log"));
    instance.virtualEntry = entry.path;
    EXPECT_TRUE(source.AddFileToWatch(instance));
    EXPECT_TRUE(source.IsCovered(path(L"web3\\logs\\a.log"), kList));
    EXPECT_TRUE(source.RemoveFileToWatch(entry));
    EXPECT_EQ(source.GetPolledCount(), 0u);
    EXPECT_EQ(source.FindSpec(path(L"web3\\logs\\a.log"), FileNotificationInfo::kAnyList), nullptr);

    // Refused, since it is there already, and noted until the entry goes.
    EXPECT_TRUE(source.AddFileToWatch(instance));
    folder.makeFolder("web3");
    EXPECT_TRUE(source.AddFileToWatch(entry));
    EXPECT_TRUE(source.IsExcluded(path(L"web3\\logs\\"), 1));
    EXPECT_TRUE(source.RemoveFileToWatch(entry));
    EXPECT_FALSE(source.IsExcluded(path(L"web3\\logs\\"), 1));
    EXPECT_FALSE(source.RemoveFileToWatch(entry));
}

// The filter is told to forget exactly what it was told to watch.
TEST_F(WinFileEventSourceTest, TheFilterForgetsWhatItWasTold) {
    folder.makeFolder("web1");
    source.GetRealTime().SetInterface(&filter);
    WatchRequest entry = request(path(L"{virtual_tag}\\*.log"), 3);
    entry.monitorAccessTime = true;
    for (const WatchRequest& each :
         {entry, request(path(L"x\\*"), 2), request(path(L"y.txt"), 5)}) {
        EXPECT_TRUE(source.AddFileToWatch(each));
        std::set<std::string> told;
        for (const std::string& call : filter.calls) {
            told.insert("remove" + call.substr(3));
        }
        filter.calls.clear();
        EXPECT_TRUE(source.RemoveFileToWatch(each));
        EXPECT_EQ(std::set<std::string>(filter.calls.begin(), filter.calls.end()), told);
        EXPECT_FALSE(told.empty());
        filter.calls.clear();
    }
}

// Folders have longer names than those in the configuration.
class ShortNames : public testing::FakeFiles {
public:
    ErrorCode longPath(const std::wstring& path, std::wstring& longForm) override {
        longForm = path == L"c:\\progra~1\\" ? L"C:\\Program Files\\" : path;
        return path == L"c:\\gone\\" ? platform::error::PathNotFound : platform::error::Success;
    }
};

TEST_F(WinFileEventSourceTest, LongNames) {
    ShortNames files;
    testing::ServiceOverride answers(platformFactory.files, files);
    LogCapture log;
    const WatchRequest masked = request(L"c:\\progra~1\\*.log");
    EXPECT_TRUE(source.AddFileToWatch(masked));
    EXPECT_TRUE(log.hasDebug(L"c:\\program files added to list # 1"));
    EXPECT_TRUE(source.IsCovered(L"c:\\program files\\a.log", kList));
    EXPECT_FALSE(source.AddFileToWatch(masked));
    WatchRequest log0 = masked;  // the same folder on two lists
    log0.listId = 0;
    EXPECT_TRUE(source.AddFileToWatch(log0));
    EXPECT_TRUE(source.RemoveFileToWatch(log0));
    EXPECT_TRUE(source.RemoveFileToWatch(masked));
    EXPECT_EQ(source.GetPolledCount(), 0u);

    const WatchRequest plain = request(L"c:\\progra~1\\f.txt");
    EXPECT_TRUE(source.AddFileToWatch(plain));
    EXPECT_TRUE(log.hasDebug(L"c:\\progra~1\\f.txt added to list # 1"));
    EXPECT_EQ(source.FindSpec(plain.path, kList)->GetFullPath(), L"c:\\program files\\f.txt");
    EXPECT_TRUE(source.IsCovered(L"c:\\program files\\f.txt", kList));
    EXPECT_TRUE(source.RemoveFileToWatch(plain));
    EXPECT_EQ(source.GetPolledCount(), 0u);

    EXPECT_TRUE(source.AddFileToWatch(request(L"c:\\gone\\f.txt")));
    EXPECT_TRUE(log.hasDebug(L"GetLongPathName failed for c:\\gone\\: " +
                             platform::host().errorText(platform::error::PathNotFound)));
}

// ---- The queue

Notification changed(const std::wstring& path, FileAction action = FileAction::Modified) {
    return std::make_unique<FileNotificationInfo>(path, action, kList);
}

TEST_F(WinFileEventSourceTest, RelevanceTable) {
    EXPECT_TRUE(source.AddFileToWatch(request(path(L"*.log"))));
    EXPECT_TRUE(source.AddFileToWatch(request(path(L"inst\\{virtual_tag}\\*"))));
    LogCapture log;
    const std::wstring watched = path(L"a.log");
    const std::wstring strange = path(L"a.txt");
    using Driver = DriverOperation;
    const struct {
        std::wstring path;
        FileAction action;
        Driver driver;
        std::wstring oldPath;
        std::int32_t listId;
        bool isRelevant;
    } rows[] = {
        {strange, FileAction::Modified, Driver::None, L"", kList, false},
        {watched, FileAction::Modified, Driver::None, L"", kList, true},
        {watched, FileAction::Modified, Driver::None, L"", 2, false},
        {watched, FileAction::Deleted, Driver::Deleted, L"", -1, true},
        {L"NoFile", FileAction::SaveMarker, Driver::None, L"", 3, true},
        {L"q:\\", FileAction::Unmount, Driver::None, L"", kList, false},
        {L"q:\\", FileAction::Unmount, Driver::Unmounted, L"", -1, true},
        {strange, FileAction::Renamed, Driver::Renamed, watched, -1, true},
        {strange, FileAction::Modified, Driver::Modified, watched, -1, false},
        {path(L"inst\\web1"), FileAction::Added, Driver::None, L"", kList, true},
    };
    std::vector<FileNotificationInfo*> relevant;
    for (const auto& row : rows) {
        Notification note = changed(row.path, row.action);
        note->driverOperation = row.driver;
        note->oldPath = row.oldPath;
        note->listId = row.listId;
        if (row.isRelevant) {
            relevant.push_back(note.get());
        }
        EXPECT_TRUE(source.Queue(note));
    }
    Notification next;
    for (FileNotificationInfo* each : relevant) {
        next = source.GetNext();
        EXPECT_EQ(next.get(), each);
    }
    EXPECT_EQ(next->virtualName, L"NAME=web1");
    EXPECT_TRUE(log.hasDebug(L"Notification event: " + watched + L" Modified"));
    EXPECT_EQ(log.debugLines.size(), relevant.size() - 1) << "nothing is said of the marker";
}

TEST(FileEventSource, QueueLimits) {
    const testing::BinaryFolder installation;
    installation.root.write("system/LocalAgent.ini",
                            "[Event Management]\nFile Collector Events Limit=1000\n");
    WinFileEventSource source;
    const QueueState state = source.GetQueue().state();
    EXPECT_EQ(state.limit, 8000u);
    EXPECT_EQ(state.highMark, 7200u);
    EXPECT_EQ(state.lowMark, 6480u);

    Notification none;
    EXPECT_FALSE(source.Queue(none));
    LogCapture log;
    for (int i = 0; i < 8003; ++i) {
        Notification note = changed(L"NoFile", FileAction::SaveMarker);
        EXPECT_EQ(source.Queue(note), i < 8000);
        EXPECT_EQ(note == nullptr, i < 8000) << "what is refused stays the caller's";
    }
    ASSERT_EQ(log.messages.size(), 1u) << "told once an episode";
    EXPECT_EQ(log.messages[0].severity, Severity::Error);
    EXPECT_TRUE(log.messages[0].text.starts_with(L"FWC_0008: File collector queue is full."));
}

class WinFileEventSourceThreads : public WinFileEventSourceTest {};

TEST_F(WinFileEventSourceThreads, StopEndsTheConsumerForGood) {
    std::thread consumer([this] {
        while (source.GetNext() != nullptr) {
        }
    });
    source.Start();
    Notification first = changed(L"NoFile", FileAction::SaveMarker);
    EXPECT_TRUE(source.Queue(first));
    std::thread producer([this] {  // a filter that does not heed the end
        for (int i = 0; i < 500; ++i) {
            Notification note = changed(L"NoFile", FileAction::SaveMarker);
            source.Queue(note);
        }
    });
    source.Stop();
    consumer.join();
    producer.join();
    EXPECT_EQ(source.GetNext(), nullptr);
    Notification late = changed(L"NoFile", FileAction::SaveMarker);
    EXPECT_FALSE(source.Queue(late));
    source.Start();
    EXPECT_TRUE(source.Queue(late));
    EXPECT_NE(source.GetNext(), nullptr);
}

TEST_F(WinFileEventSourceThreads, LooksUpWhileEntriesComeAndGo) {
    folder.write("a/b.log", "");
    EXPECT_TRUE(source.AddFileToWatch(request(path(L"a\\b.log"))));
    std::thread changer([this] {
        for (int i = 0; i < 50; ++i) {
            for (const wchar_t* name : {L"a\\*.log", L"a\\c.log", L"{virtual_tag}\\*.log"}) {
                EXPECT_TRUE(source.AddFileToWatch(request(path(name), 2)));
            }
            for (const wchar_t* name : {L"{virtual_tag}\\*.log", L"a\\c.log", L"a\\*.log"}) {
                EXPECT_TRUE(source.RemoveFileToWatch(request(path(name), 2)));
            }
        }
    });
    for (int i = 0; i < 500; ++i) {
        EXPECT_TRUE(source.IsCovered(path(L"a\\b.log"), kList));
        source.IsExcluded(path(L"a"), 1);
        source.GetPolledCount();
    }
    changer.join();
    EXPECT_EQ(source.GetPolledCount(), 1u);
}

}  // namespace
}  // namespace lathwind
