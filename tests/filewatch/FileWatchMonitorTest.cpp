// The tables: what entries add, what takes it away, and what volumes do to it.
#include <atomic>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/IPSFilterInterface.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/WatchedLogFile.h"
#include "support/BinaryFolder.h"
#include "support/FakeEventSource.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/MonitorFakes.h"
#include "support/ServiceOverride.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::BinaryFolder;
using testing::FakeEventSource;
using testing::FakeEventStore;
using testing::FakeVolumes;
using testing::FakeWatchLists;
using testing::LogCapture;
using testing::ServiceOverride;

// Counts what it is told and knows no mounts.
class FakeMounts : public MountManager {
public:
    void RefreshMounts() override { ++refreshes; }
    bool HasVolumeInfo(const std::wstring&) override { return true; }
    bool IsFatVolume(const std::wstring&) override { return false; }
    int refreshes = 0;
};

FileWatchParams paramsOf(std::int32_t listId, std::int32_t level) {
    FileWatchParams params;
    params.listId = listId;
    params.recursionLevel = level;
    params.label = L"label";
    params.checksum = true;
    return params;
}

LogFileProperties logEntry(const std::wstring& path) {
    LogFileProperties properties;
    properties.SetFileName(path);
    return properties;
}

class FileWatchMonitorTest : public ::testing::Test {
protected:
    FileWatchMonitorTest() {
        auto source = std::make_unique<FakeEventSource>();
        auto mounts = std::make_unique<FakeMounts>();
        source_ = source.get();
        mounts_ = mounts.get();
        FileWatchMonitor::Parts parts{std::move(source), std::move(mounts)};
        monitor_ = std::make_unique<FileWatchMonitor>(events_, &lists_, std::vector<std::wstring>(),
                                                      std::move(parts));
    }

    // As the monitor spells paths.
    std::wstring path(std::wstring_view name = {}) const {
        return toLower(name.empty() ? folder_.root.path() : folder_.root.path(name));
    }
    void write(const char* name) { folder_.root.write(name, name); }
    void add(const std::wstring& entry, std::int32_t level = 1) {
        monitor_->AddFile(entry, paramsOf(1, level), *stop_);
    }
    void remove(const std::wstring& entry, std::int32_t level = 1) {
        monitor_->RemoveFile(entry, paramsOf(1, level), FileWatchMonitor::kFileIndex);
    }
    bool isWatched(std::wstring_view name, std::int32_t mapIndex = FileWatchMonitor::kFileIndex) {
        return monitor_->GetEntity(path(name), mapIndex) != nullptr;
    }
    std::vector<bool> areWatched(std::initializer_list<const wchar_t*> names) {
        std::vector<bool> watched;
        for (const wchar_t* name : names) {
            watched.push_back(isWatched(name));
        }
        return watched;
    }

    const BinaryFolder folder_;
    FakeEventStore events_;
    FakeWatchLists lists_;
    FakeEventSource* source_ = nullptr;
    FakeMounts* mounts_ = nullptr;
    const std::unique_ptr<Event> stop_ = platformFactory.createEvent(std::wstring());
    std::unique_ptr<FileWatchMonitor> monitor_;
};

using FileWatchMonitorThreads = FileWatchMonitorTest;

// ---- Adding

TEST_F(FileWatchMonitorTest, APlainEntryIsWatchedWhetherItsFileIsThereOrNot) {
    write("a.txt");
    source_->refused = {path(L"no.txt")};
    write("no.txt");
    write("odd.txt");
    source_->unwatchable = {path(L"odd.txt")};
    const LogCapture log;
    add(folder_.root.path(L"A.TXT"), 7);
    add(path(L"gone.txt"));
    add(path(L"no.txt"));
    add(path(L"odd.txt"));
    EXPECT_EQ(areWatched({L"a.txt", L"gone.txt", L"no.txt", L"odd.txt"}),
              (std::vector<bool>{true, false, false, false}));
    EXPECT_EQ(source_->watchedPaths(),
              (std::vector<std::wstring>{path(L"a.txt"), path(L"gone.txt"), path(L"odd.txt")}));
    const WatchRequest& request = source_->added.front();
    EXPECT_EQ(request.recursionLevel, 1);
    EXPECT_EQ(request.listId, 1);
    EXPECT_FALSE(request.notRealTime);
    EXPECT_TRUE(log.hasDebug(L"AddWatchedEntity skipping non-existing file " + path(L"gone.txt")));
    EXPECT_TRUE(log.hasDebug(L"AddWatchedEntity skipping unwatchable file " + path(L"odd.txt")));
    EXPECT_TRUE(log.hasDebug(L"Failed to add " + path(L"no.txt")));
    const auto* file = dynamic_cast<WatchedFile*>(monitor_->GetEntity(path(L"a.txt"), 0));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetLabel(), L"label");
    EXPECT_NE(file->GetDigest(), WatchedEntity::Digest{});
    EXPECT_EQ(monitor_->GetWatchedFileCount(), 1u);
}

TEST_F(FileWatchMonitorTest, AWildcardEntryReachesAsDeepAsItsLevel) {
    for (const char* name : {"d/a.txt", "d/b.log", "d/sub/c.txt", "d/sub/low/e.txt"}) {
        write(name);
    }
    const auto names = {L"d\\a.txt", L"d\\b.log", L"d\\sub\\c.txt", L"d\\sub\\low\\e.txt"};
    add(path(L"d\\*.TXT"), 2);
    EXPECT_EQ(areWatched(names), (std::vector<bool>{true, false, true, false}));
    EXPECT_EQ(source_->added.at(0).recursionLevel, 2);
    add(path(L"d\\*"), -3);  // of an entry that somebody mistyped
    EXPECT_EQ(monitor_->GetWatchedFileCount(), 2u);
    add(path(L"d\\*"), 0);  // the setting's default, which is 2
    EXPECT_EQ(areWatched(names), (std::vector<bool>{true, true, true, false}));
    EXPECT_TRUE(isWatched(L"d\\sub\\low")) << "a folder is watched like a file";

    const LogCapture log;
    add(L"*.txt");
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].text, L"FWC_0018: Invalid path(s) will not be monitored: *.txt");
    source_->refused = {path(L"d\\?.txt")};
    add(path(L"d\\?.txt"));
    EXPECT_TRUE(log.hasDebug(L"Failed to add " + path(L"d\\?.txt")));
}

// What lies on a volume that may be slow, and is polled, is looked through no deeper than asked for
// by a mask without letters.
TEST_F(FileWatchMonitorTest, PollingReachesOneLevelOfASlowVolumeByAMaskWithLetters) {
    FakeVolumes volumes;
    volumes.volumes[L"f:\\"].type = platform::DriveType::Fixed;
    volumes.volumes[L"n:\\"].type = platform::DriveType::Remote;
    const ServiceOverride answers(platformFactory.volumes, volumes);
    struct Row {
        bool filterEnabled;
        const wchar_t* entry;
        std::int32_t level;
        std::int32_t reached;
    } rows[] = {
        {false, L"n:\\d\\*.txt", 5, 1},
        {false, L"n:\\d\\*?*", 5, 5},
        {false, L"\\\\server\\share\\x?", 5, 1},
        {false, L"f:\\d\\*.txt", 5, 5},
        {true, L"n:\\d\\*.txt", 5, 5},
        {true, L"n:\\d\\*.txt", 0, 2},  // the setting's default
        {false, L"n:\\{virtual_tag}\\d\\*.txt", 5, 1},
        {true, L"n:\\{virtual_tag}\\d\\*.txt", 5, 5},
        {true, L"n:\\{virtual_tag}\\d\\a.txt", 5, 1},
    };
    for (const Row& row : rows) {
        folder_.root.write("system/LocalAgent.ini",
                           row.filterEnabled ? "[File Collector]\nEnable Filewatch Filter=1\n"
                                             : "[File Collector]\nEnable Filewatch Filter=0\n");
        add(row.entry, row.level);
        EXPECT_EQ(source_->added.back().recursionLevel, row.reached) << narrow(row.entry);
        remove(row.entry, row.level);
        EXPECT_EQ(source_->removed.back().recursionLevel, row.reached) << narrow(row.entry);
    }
}

TEST_F(FileWatchMonitorTest, AVirtualEntryNamesItsFilesByTheirFolder) {
    for (const char* name : {"v/Web1/logs/a.log", "v/Web1/other/a.log", "v/web2/logs/sub/b.log",
                             "v/none/x.log", "v/db/logs/c.log"}) {
        write(name);
    }
    add(path(L"v\\{VIRTUAL_TAG}\\logs\\*.log"), 2);
    EXPECT_EQ(areWatched({L"v\\web1\\logs\\a.log", L"v\\web2\\logs\\sub\\b.log",
                          L"v\\web1\\other\\a.log", L"v\\none\\x.log"}),
              (std::vector<bool>{true, true, false, false}));
    const auto nameOf = [&](const wchar_t* name) {
        return monitor_->GetEntity(path(name), 0)->GetVirtualName();
    };
    EXPECT_EQ(nameOf(L"v\\web1\\logs\\a.log"), L"NAME=web1");
    EXPECT_EQ(nameOf(L"v\\web2\\logs\\sub\\b.log"), L"NAME=web2");
    remove(path(L"v\\{virtual_tag}\\logs\\*.log"), 2);
    EXPECT_EQ(monitor_->GetWatchedFileCount(), 0u);
    // The token may be a part of the folder's name.
    add(path(L"v\\web{virtual_tag}\\logs\\a.log"));
    EXPECT_EQ(nameOf(L"v\\web1\\logs\\a.log"), L"NAME=1");
    EXPECT_FALSE(isWatched(L"v\\db\\logs\\c.log"));
}

TEST_F(FileWatchMonitorTest, LogsBeginAtTheirEndOrWhereToldTo) {
    folder_.root.write("l/a.log", "12345");
    folder_.root.write("l/b.log", "123");
    const auto offsetOf = [&](const wchar_t* name) {
        return dynamic_cast<WatchedLogFile*>(monitor_->GetEntity(path(name), 1))->GetOffset();
    };
    monitor_->AddLogFile(logEntry(path(L"l\\a.log")), WorkItemTarget::kNoOffset);
    monitor_->AddLogFile(logEntry(path(L"l\\b.log")), 2);
    EXPECT_EQ(offsetOf(L"l\\a.log"), 5u);
    EXPECT_EQ(offsetOf(L"l\\b.log"), 2u);
    const WatchRequest& request = source_->added.front();
    EXPECT_TRUE(request.notRealTime);
    EXPECT_EQ(request.listId, 0);
    // Known already: what was read is not read again.
    monitor_->AddLogFile(logEntry(path(L"l\\a.log")), 0);
    EXPECT_EQ(offsetOf(L"l\\a.log"), 5u);
    EXPECT_EQ(monitor_->GetWatchedLogCount(), 2u);
    EXPECT_EQ(monitor_->GetWatchedFileCount(), 0u);

    const LogCapture log;
    source_->refused = {path(L"l\\*.txt"), path(L"{virtual_tag}\\x.log")};
    monitor_->AddLogFile(logEntry(path(L"l\\*.txt")), WorkItemTarget::kNoOffset);
    monitor_->AddLogFile(logEntry(path(L"{VIRTUAL_TAG}\\x.log")), WorkItemTarget::kNoOffset);
    EXPECT_TRUE(log.hasDebug(L"AddWildCardLogFile: Failed to add " + path(L"l\\*.txt")));
    EXPECT_TRUE(log.hasDebug(L"AddVirtualLogFile: Failed to add " + path(L"{virtual_tag}\\x.log")));

    write("m/sub/deep.log");
    write("m/c.log");
    monitor_->AddLogFile(logEntry(path(L"m\\*.log")), WorkItemTarget::kNoOffset);
    monitor_->AddLogFile(logEntry(path(L"{virtual_tag}\\sub\\*.log")), WorkItemTarget::kNoOffset);
    EXPECT_TRUE(isWatched(L"m\\c.log", 1));
    ASSERT_TRUE(isWatched(L"m\\sub\\deep.log", 1));
    EXPECT_EQ(monitor_->GetEntity(path(L"m\\sub\\deep.log"), 1)->GetVirtualName(), L"NAME=m");
}

// ---- Removing

TEST_F(FileWatchMonitorTest, AnEntityGoesWithTheLastEntryThatLedToIt) {
    write("d/a.txt");
    write("d/b.txt");
    add(path(L"d\\*.txt"));
    add(path(L"d\\a.txt"));
    const WatchedEntity* const first = monitor_->GetEntity(path(L"d\\a.txt"), 0);
    add(path(L"d\\a.*"));
    EXPECT_EQ(monitor_->GetEntity(path(L"d\\a.txt"), 0), first);
    remove(path(L"d\\*.TXT"));
    EXPECT_EQ(areWatched({L"d\\a.txt", L"d\\b.txt"}), (std::vector<bool>{true, false}));
    remove(path(L"d\\*.txt"));  // not configured any more: nothing but the source hears of it
    remove(path(L"d\\a.txt"));
    EXPECT_TRUE(isWatched(L"d\\a.txt"));
    remove(path(L"d\\a.*"));
    EXPECT_FALSE(isWatched(L"d\\a.txt"));
    EXPECT_TRUE(source_->added.empty());
    remove(L"*");  // cannot have been accepted
    EXPECT_EQ(source_->removed.size(), 4u);
}

TEST_F(FileWatchMonitorTest, EntitiesMayGoBeforeTheirEntries) {
    for (const char* name : {"d/a.txt", "d/b.txt", "d/c.dat"}) {
        write(name);
    }
    add(path(L"d\\*"));
    for (const wchar_t* name : {L"d\\a.txt", L"d\\b.txt"}) {
        monitor_->AddLogFile(logEntry(path(name)), WorkItemTarget::kNoOffset);
    }
    monitor_->RemoveWatchedEntity(path(L"d\\a.txt"));
    EXPECT_EQ(areWatched({L"d\\a.txt", L"d\\b.txt"}), (std::vector<bool>{false, true}));
    EXPECT_EQ(monitor_->GetWatchedLogCount(), 1u);
    monitor_->RemoveWatchedEntities(WatchedPathSpec(path(L"d\\*.txt"), 1, false));
    EXPECT_EQ(areWatched({L"d\\b.txt", L"d\\c.dat"}), (std::vector<bool>{false, true}));
    EXPECT_EQ(monitor_->GetWatchedLogCount(), 0u);
}

// ---- Threads and lifetime

TEST_F(FileWatchMonitorTest, TheConfigurationIsPendingFromTheFirstChangeToTheEnd) {
    write("a.txt");
    const LogCapture log;
    EXPECT_FALSE(monitor_->IsConfigurationPending());
    add(path(L"a.txt"));
    add(path(L"b.txt"));
    EXPECT_TRUE(monitor_->IsConfigurationPending());
    EXPECT_EQ(std::count(log.debugLines.begin(), log.debugLines.end(),
                         L"FileWatch configuration pending flag is set."),
              1);
    monitor_->AddLogFile(logEntry(path(L"a.txt")), WorkItemTarget::kNoOffset);
    monitor_->SetConfigurationPending(false);
    monitor_->SetConfigurationPending(false);
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].severity, Severity::Status);
    EXPECT_EQ(log.messages[0].text,
              L"FWC_0033: File Collector configuration finalized: 1 watched files 1 watched log "
              L"files.");
    monitor_->RemoveFile(path(L"x"), {}, 1);
    EXPECT_TRUE(monitor_->IsConfigurationPending());
}

TEST_F(FileWatchMonitorTest, AStopEndsAWalkAfterAHundredPaths) {
    for (int number = 0; number < 150; ++number) {
        write(("d/" + std::to_string(number)).c_str());
    }
    stop_->set();
    add(path(L"d\\*"));
    EXPECT_EQ(monitor_->GetWatchedFileCount(), 100u);
}

TEST_F(FileWatchMonitorTest, PollingIsGivenWhatWasPublished) {
    folder_.root.write("a.txt", "1");
    add(path(L"a.txt"));
    const LastKnownState before = monitor_->GetAttributes(path(L"a.txt"), 1);
    ASSERT_NE(before.attributes, nullptr);
    EXPECT_EQ(monitor_->GetAttributes(path(L"a.txt"), 0).attributes, nullptr) << "no log";
    folder_.root.write("a.txt", "12");
    monitor_->ProcessNotification(
        std::make_unique<FileNotificationInfo>(path(L"a.txt"), FileAction::Modified, 1));
    EXPECT_EQ(monitor_->GetAttributes(path(L"a.txt"), 1).attributes->GetSize(), 2u);
    EXPECT_EQ(before.attributes->GetSize(), 1u);
    EXPECT_EQ(events_.events.size(), 1u);
}

TEST_F(FileWatchMonitorTest, UpdatesReachEachFileAndWhatIsPublished) {
    folder_.root.write("a.txt", "1");
    add(path(L"a.txt"));
    const LastKnownState before = monitor_->GetAttributes(path(L"a.txt"), 1);
    monitor_->UpdateAll();
    monitor_->UpdateFileDiffs();
    EXPECT_NE(monitor_->GetAttributes(path(L"a.txt"), 1).attributes, before.attributes);
    EXPECT_TRUE(
        monitor_->GetAttributes(path(L"a.txt"), 1).attributes->Equals(*before.attributes, false));
    std::uint64_t totalKb = 1;
    EXPECT_EQ(monitor_->GetDiffEntityCount(&totalKb), 0u);
    EXPECT_EQ(totalKb, 0u);
}

// Polling, and whoever looks at a snapshot, against all that changes the tables.
TEST_F(FileWatchMonitorThreads, PollingReadsWhileTheTablesChange) {
    constexpr int kFiles = 20;
    std::vector<std::wstring> paths;
    for (int number = 0; number < kFiles; ++number) {
        folder_.root.write("d/" + std::to_string(number), "x");
        paths.push_back(path(L"d\\" + std::to_wstring(number)));
    }
    std::atomic<bool> isDone{false};
    std::atomic<std::uint64_t> bytes{0};
    std::thread polling([&] {
        while (!isDone) {
            for (const std::wstring& each : paths) {
                if (const auto known = monitor_->GetAttributes(each, 1).attributes) {
                    bytes += known->GetSize();
                    known->GetVolumeKind();
                }
            }
        }
    });
    for (int round = 0; round < 10 || (bytes == 0 && round < 10000); ++round) {
        add(path(L"d\\*"));
        for (const std::wstring& each : paths) {
            monitor_->ProcessNotification(
                std::make_unique<FileNotificationInfo>(each, FileAction::Modified, 1));
        }
        monitor_->UpdateAll();
        remove(path(L"d\\*"));
    }
    isDone = true;
    polling.join();
    EXPECT_EQ(monitor_->GetWatchedFileCount(), 0u);
    EXPECT_NE(bytes, 0u);
}

// A callback of the filter's library that comes late finds a whole monitor or none.
TEST(FileWatchMonitorLifeThreads, TheFilterMayCallWhileMonitorsComeAndGo) {
    std::atomic<bool> isDone{false};
    std::thread filter([&] {
        IPSFilterEvent event{};
        event.eventType = filterEvent::Modified;
        event.filePath = L"c:\\x";
        event.processImage = L"x";
        while (!isDone) {
            FileWatchMonitor::OnFilterEvent(&event);
        }
    });
    FakeEventStore events;
    std::uint32_t seen = 0;
    for (int round = 0; round < 200 || (seen == 0 && round < 100000); ++round) {
        FileWatchMonitor monitor(events, nullptr, {},
                                 {std::make_unique<FakeEventSource>(), nullptr});
        std::this_thread::yield();
        seen += monitor.GetDriverEventCount();
    }
    isDone = true;
    filter.join();
    EXPECT_NE(seen, 0u);
}

// ---- Volumes

TEST_F(FileWatchMonitorTest, AMountLooksAgainAtAllBelowIt) {
    for (const char* name : {"vol/p.txt", "vol/w/a.log", "vol/w/b.log", "volume/x.txt"}) {
        write(name);
    }
    const std::wstring entries[] = {path(L"vol\\p.txt"), path(L"vol\\w\\*.log"),
                                    path(L"volume\\x.txt")};
    for (const std::wstring& entry : entries) {
        lists_.files[entry] = paramsOf(2, 1);
        add(entry);
    }
    const std::size_t asked = source_->added.size();
    const WatchedEntity* const before = monitor_->GetEntity(path(L"vol\\w\\a.log"), 0);
    std::filesystem::remove(folder_.root.native("vol/w/b.log"));
    write("vol/w/c.log");
    LogCapture log;
    monitor_->ProcessMount(folder_.root.path(L"vol"), 1, L"none", L"", *stop_);
    // An entry whose text merely begins like the path is looked at as well.
    EXPECT_TRUE(log.hasDebug(L"Un-Mount for " + path(L"vol") + L" processed. 4 files affected."));
    EXPECT_TRUE(
        log.hasDebug(L"Mount for " + folder_.root.path(L"vol") + L" processed. 4 files affected."));
    EXPECT_EQ(areWatched({L"vol\\p.txt", L"vol\\w\\a.log", L"vol\\w\\b.log", L"vol\\w\\c.log",
                          L"volume\\x.txt"}),
              (std::vector<bool>{true, true, false, true, true}));
    EXPECT_NE(monitor_->GetEntity(path(L"vol\\w\\a.log"), 0), before);
    EXPECT_EQ(source_->added.size(), asked) << "the source keeps what it watches";
    EXPECT_EQ(mounts_->refreshes, 2);

    stop_->set();
    monitor_->ProcessMount(path(L"vol"), 1, L"none", L"", *stop_);
    EXPECT_TRUE(log.hasDebug(L"Mount for " + path(L"vol") + L" processed. 0 files affected."));
    log.takeDebug();
    stop_->reset();
    monitor_->ProcessMount(path(L"elsewhere"), 1, L"none", L"", *stop_);
    EXPECT_TRUE(
        log.hasDebug(L"Mount for " + path(L"elsewhere") + L" processed. 0 files affected."));
}

TEST_F(FileWatchMonitorTest, AMountKeepsItsOwnPointAndLooksForInstances) {
    for (const char* name : {"vol/a/logs/1.log", "vol/b/logs/2.log"}) {
        write(name);
    }
    const std::wstring entry = path(L"vol\\{virtual_tag}\\logs\\*.log");
    lists_.files[entry] = paramsOf(2, 1);
    add(entry);
    std::filesystem::rename(folder_.root.native("vol/b"), folder_.root.native("vol/c"));
    monitor_->ProcessMount(path(L"vol"), 1, L"none", L"", *stop_);
    EXPECT_EQ(areWatched({L"vol\\a\\logs\\1.log", L"vol\\b\\logs\\2.log", L"vol\\c\\logs\\2.log"}),
              (std::vector<bool>{true, false, true}));
    EXPECT_EQ(source_->added.back().path, path(L"vol\\c\\logs\\*.log"));
    EXPECT_EQ(source_->added.back().virtualEntry, entry);
    EXPECT_EQ(monitor_->GetEntity(path(L"vol\\c\\logs\\2.log"), 0)->GetVirtualName(), L"NAME=c");
    // The source has the instances now and refuses them, which keeps none from being looked at.
    source_->refused = {path(L"vol\\a\\logs\\*.log"), path(L"vol\\c\\logs\\*.log")};
    monitor_->ProcessMount(path(L"vol"), 1, L"none", L"", *stop_);
    EXPECT_TRUE(isWatched(L"vol\\c\\logs\\2.log"));

    // The row of the mount point itself stays.
    add(path(L"vol\\*"));
    lists_.files[path(L"vol\\*")] = paramsOf(2, 1);
    const WatchedEntity* const point = monitor_->GetEntity(path(L"vol\\a"), 0);
    ASSERT_NE(point, nullptr);
    add(path(L"vol\\a*"));
    const LogCapture log;
    monitor_->ProcessMount(path(L"vol\\a"), 1, L"none", L"", *stop_);
    EXPECT_TRUE(log.hasDebug(L"Mount point " + path(L"vol\\a") + L" skipped."));
    EXPECT_EQ(monitor_->GetEntity(path(L"vol\\a"), 0), point);
}

TEST_F(FileWatchMonitorTest, AMountThatPollingSawRefreshesWithoutEvents) {
    for (const char* name : {"vol/a.log", "vol/b.txt"}) {
        write(name);
    }
    add(path(L"vol\\*.log"));
    const std::size_t asked = source_->added.size();
    folder_.root.write("vol/a.log", "longer than before");
    write("vol/new.log");
    const auto notify = [&](const std::wstring& where, FileAction action) {
        auto note = std::make_unique<FileNotificationInfo>(where, action, 1);
        note->recursionLevel = 1;
        monitor_->ProcessNotification(std::move(note));
    };
    notify(path(L"vol\\a.log"), FileAction::Unmount);
    EXPECT_EQ(monitor_->GetAttributes(path(L"vol\\a.log"), 1).attributes->GetSize(), 18u);
    EXPECT_FALSE(isWatched(L"vol\\new.log"));
    const std::size_t events = events_.events.size();
    notify(path(L"vol\\a.log"), FileAction::Mount);
    const auto* file = dynamic_cast<WatchedFile*>(monitor_->GetEntity(path(L"vol\\new.log"), 0));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetLabel(), L"label") << "taken from the entity that was notified";
    EXPECT_TRUE(file->IsChecksumEnabled());
    EXPECT_EQ(source_->added.size(), asked);
    EXPECT_EQ(events_.events.size(), events + 1) << "the mount itself";
    monitor_->ProcessNotification(
        std::make_unique<FileNotificationInfo>(path(L"vol\\a.log"), FileAction::Modified, 1));
    EXPECT_EQ(events_.events.size(), events + 1);
}

}  // namespace
}  // namespace lathwind
