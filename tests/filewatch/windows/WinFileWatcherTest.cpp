#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "filewatch/windows/PollWalk.h"
#include "filewatch/windows/WinFileWatcher.h"
#include "filewatch/windows/WinMountManager.h"
#include "support/BinaryFolder.h"
#include "support/FakeDisk.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/PollingRig.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "utils/AgentInfo.h"
#include "utils/Format.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::FakeDisk;
using testing::LogCapture;
using testing::PollingRig;
using testing::ServiceOverride;
using Lines = std::vector<std::wstring>;

constexpr std::int32_t kList = WinFileWatcher::kHighList;

class WinFileWatcherTest : public ::testing::Test {
protected:
    WinFileWatcherTest() {
        volumes.roots = {L"x:\\"};
        volumes.volumes[L"x:\\"].facts.fileSystem = L"NTFS";
        mounts.SetSpecFinder(&rig.source);
        rig.source.SetMountManager(&mounts);
        rig.source.SetMonitor(&rig.monitor);
        rig.watcher.SetPollingIntervals({kList});
        disk.addFolder(L"x:\\w");
    }

    // A plain entry with what the monitor knows of it.
    void watchFile(const std::wstring& path, bool access = false, std::int32_t list = kList) {
        rig.source.cover(path, 1, list);
        rig.watcher.AddToList({path, 0, access, list, {}});
        rig.monitor.refresh(path, list);
    }
    void watchFolder(const std::wstring& path, const std::wstring& mask, std::int32_t level) {
        rig.source.cover(path + L'\\' + mask, level, kList);
        rig.watcher.AddToList({path + L'\\', level, false, kList, mask});
        disk.now += 60;
    }
    // What a walk tells, as "Action path". Time passes before, so that nothing is young.
    Lines walk(std::int32_t list = kList) {
        disk.now += 60;
        rig.watcher.Walk(list, disk.now);
        return rig.takeTold();
    }
    // The same, and the monitor takes it in.
    Lines walkAndLearn() {
        Lines told = walk();
        rig.learn();
        return told;
    }

    FakeDisk disk;
    testing::FakeVolumes volumes;
    ServiceOverride<platform::Files> files{platformFactory.files, disk};
    ServiceOverride<platform::Volumes> answers{platformFactory.volumes, volumes};
    WinMountManager mounts{+[] { return true; }};
    PollingRig rig;
};

TEST_F(WinFileWatcherTest, TellsWhatBecameOfAFile) {
    const std::wstring path = L"x:\\w\\a.txt";
    struct Case {
        const char* name;
        std::function<void()> change;
        Lines expected;
    };
    const Case cases[] = {
        {"still not there", [] {}, {}},
        {"new", [&] { disk.write(path, "1"); }, {L"Added x:\\w\\a.txt"}},
        {"rests", [] {}, {}},
        {"other contents", [&] { disk.write(path, "2"); }, {L"Modified x:\\w\\a.txt"}},
        {"other access list",
         [&] {
             disk.objects[path].sddl += L"D:";
             disk.touch(path);
         },
         {L"Modified x:\\w\\a.txt"}},
        {"read only", [&] { ++disk.objects[path].facts.accessTime; }, {}},
        {"becomes a folder",
         [&] {
             disk.erase(path);
             disk.addFolder(path);
         },
         {L"Deleted x:\\w\\a.txt", L"Added x:\\w\\a.txt"}},
        {"rests as a folder", [] {}, {}},
        {"a file again",
         [&] {
             disk.erase(path);
             disk.write(path, "3");
         },
         {L"Deleted x:\\w\\a.txt", L"Added x:\\w\\a.txt"}},
        {"gone", [&] { disk.erase(path); }, {L"Deleted x:\\w\\a.txt"}},
        {"stays away", [] {}, {}},
    };
    watchFile(path);
    for (const bool hasStamps : {true, false}) {
        disk.hasStamps = hasStamps;
        for (const Case& test : cases) {
            test.change();
            WinFileWatcher::SetDirty(false);
            EXPECT_EQ(walkAndLearn(), test.expected) << test.name << hasStamps;
            EXPECT_EQ(rig.marksSaving(), !test.expected.empty()) << test.name << hasStamps;
        }
    }
    EXPECT_EQ(rig.watcher.GetPolledCount(), 1u);
}

TEST_F(WinFileWatcherTest, ComparesTheAccessTimeWhereItIsMonitored) {
    disk.write(L"x:\\w\\a", "1");
    watchFile(L"x:\\w\\a", true);
    EXPECT_EQ(walk(), Lines{});
    ++disk.objects[L"x:\\w\\a"].facts.accessTime;
    EXPECT_EQ(walk(), Lines{L"Modified x:\\w\\a"});
    EXPECT_EQ(walk(), Lines{L"Modified x:\\w\\a"}) << "until the monitor knows";
}

// A row costs one question of the system, and in one of eight walks the questions of a full look,
// which finds what a forged stamp hides.
TEST_F(WinFileWatcherTest, LooksQuicklyAtMostAndFullyAtEachInTurn) {
    constexpr int kFiles = 16;
    for (int i = 0; i < kFiles; ++i) {
        std::wstring path = L"x:\\w\\";
        path += std::to_wstring(10 + i);
        disk.write(path, "1");
        watchFile(path);
    }
    EXPECT_EQ(walk(), Lines{});  // confirms the stamps
    disk.calls = 0;
    EXPECT_EQ(walk(), Lines{});
    const int fullLooks = kFiles / static_cast<int>(PollEntry::kFullLookWalks);
    EXPECT_EQ(disk.calls, kFiles - fullLooks + fullLooks * 4);  // status, security, EA, streams

    for (auto& [path, object] : disk.objects) {
        object.sddl += L"D:";  // and nobody noted the moment
    }
    std::set<std::wstring> told;
    for (std::uint32_t i = 0; i < PollEntry::kFullLookWalks; ++i) {
        for (const std::wstring& line : walkAndLearn()) {
            EXPECT_TRUE(told.insert(line).second) << "told twice";
        }
    }
    EXPECT_EQ(told.size(), std::size_t{kFiles});
}

TEST_F(WinFileWatcherTest, FindsWhatComesIntoAFolder) {
    watchFolder(L"x:\\w", L"*.txt", 2);
    disk.addFolder(L"x:\\w\\sub");
    disk.write(L"x:\\w\\a.txt", "1");
    disk.write(L"x:\\w\\a.log", "1");
    disk.write(L"x:\\w\\sub\\b.txt", "1");
    disk.addFolder(L"x:\\w\\sub\\deep");
    disk.write(L"x:\\w\\sub\\deep\\c.txt", "1");  // one level too deep
    LogCapture log;
    EXPECT_EQ(walkAndLearn(), (Lines{L"Modified x:\\w", L"Added x:\\w\\a.txt", L"Added x:\\w\\sub",
                                     L"Added x:\\w\\sub\\b.txt", L"Added x:\\w\\sub\\deep"}));
    EXPECT_TRUE(log.hasDebug(L"x:\\w\\sub will be added (RL=1, MAT=0)"));
    EXPECT_TRUE(log.hasDebug(L"x:\\w\\a.txt will be added (RL=1, MAT=0)"));
    EXPECT_TRUE(log.hasDebug(L"x:\\w\\a.txt added to list # 1)"));
    EXPECT_EQ(rig.watcher.GetPolledCount(), 5u);
    EXPECT_EQ(walkAndLearn(), Lines{});

    disk.write(L"x:\\w\\sub\\d.txt", "1");
    EXPECT_EQ(walkAndLearn(), (Lines{L"Modified x:\\w\\sub", L"Added x:\\w\\sub\\d.txt"}));
    disk.write(L"x:\\w\\sub\\d.txt", "2");
    EXPECT_EQ(walkAndLearn(), Lines{L"Modified x:\\w\\sub\\d.txt"});

    // Names that come and go leave no rows behind.
    disk.erase(L"x:\\w\\sub");
    EXPECT_EQ(walkAndLearn().size(), 5u);
    EXPECT_EQ(walkAndLearn(), Lines{});
    EXPECT_EQ(rig.watcher.GetPolledCount(), 2u);
    EXPECT_TRUE(log.hasDebug(L"x:\\w\\sub removed from list 1"));
    disk.addFolder(L"x:\\w\\sub");
    disk.write(L"x:\\w\\sub\\b.txt", "1");
    EXPECT_EQ(walkAndLearn(),
              (Lines{L"Modified x:\\w", L"Added x:\\w\\sub", L"Added x:\\w\\sub\\b.txt"}));
}

// A change in the tick of the clock in which the folder was looked at leaves its time as it is.
TEST_F(WinFileWatcherTest, ListsAFolderAgainThatChangedAMomentAgo) {
    watchFolder(L"x:\\w", L"*", 1);
    EXPECT_EQ(walk(), Lines{});
    disk.write(L"x:\\w\\a", "1");
    rig.watcher.Walk(kList, disk.now);
    rig.takeTold();
    rig.learn();
    const auto facts = disk.objects[L"x:\\w"].facts;
    disk.write(L"x:\\w\\b", "1");
    disk.objects[L"x:\\w"].facts = facts;
    EXPECT_EQ(walkAndLearn(), Lines{L"Added x:\\w\\b"});
    disk.write(L"x:\\w\\c", "1");
    disk.objects[L"x:\\w"].facts = facts;
    EXPECT_EQ(walk(), Lines{}) << "a time that has rested is trusted";

    volumes.volumes[L"x:\\"].facts.fileSystem = L"FAT32";
    EXPECT_EQ(walk(), Lines{L"Added x:\\w\\c"}) << "but not on such a volume";
}

TEST_F(WinFileWatcherTest, AVolumeThatLeavesDeletesNothing) {
    watchFolder(L"x:\\w", L"*", 2);
    for (const wchar_t* path : {L"x:\\w\\a", L"x:\\w\\b", L"x:\\w\\c"}) {
        disk.write(path, "1");
    }
    watchFile(L"x:\\w\\a");
    rig.monitor.refresh(L"x:\\w\\a", kList);
    ASSERT_EQ(walkAndLearn().size(), 3u);

    // Neither the volume nor the mount manager says why the files have gone.
    disk.isGone = true;
    volumes.volumes[L"x:\\"].code = platform::error::GenFailure;
    LogCapture log;
    EXPECT_EQ(walk(), Lines{});
    EXPECT_EQ(log.debugLines,
              Lines(3, L"Repeating file check for file: x:\\w because of Mount discrepency ..)"))
        << "once for the volume";

    volumes.volumes[L"x:\\"].code = platform::error::NotReady;
    EXPECT_EQ(walk(), (Lines{L"Unmount x:\\w\\a", L"Unmount x:\\w\\*"})) << "once for each spec";
    rig.monitor.refreshAll(kList);
    EXPECT_EQ(walk(), Lines{});

    disk.isGone = false;
    disk.write(L"x:\\w\\d", "1");
    volumes.volumes[L"x:\\"].code = platform::error::Success;
    EXPECT_EQ(walk(), (Lines{L"Mount x:\\w\\*", L"Mount x:\\w\\a"}));
    rig.monitor.refreshAll(kList);
    rig.monitor.refresh(L"x:\\w\\d", kList);
    EXPECT_EQ(walk(), Lines{});
    disk.write(L"x:\\w\\d", "2");
    EXPECT_EQ(walk(), Lines{L"Modified x:\\w\\d"}) << "found with its volume";
}

// A volume in a folder, which can be read when the volume has gone. What the monitor knows may
// outlast that: of logs it always does.
TEST_F(WinFileWatcherTest, WhatIsAwayWithItsVolumeIsNotDeleted) {
    volumes.volumes[L"x:\\"].facts.flags = 0x80;
    auto& points = volumes.volumes[L"x:\\"].mountPoints;
    const std::wstring path = L"x:\\mnt\\a";
    for (const std::int32_t list : {kList, WinFileWatcher::kLogList}) {
        points = {L"mnt\\"};
        disk.addFolder(L"x:\\mnt");
        disk.write(path, "1");
        watchFile(path, false, list);
        EXPECT_EQ(walk(list), Lines{});
        const auto object = disk.objects[path];
        for (const bool isSame : {true, false}) {
            points.clear();
            disk.erase(path);
            EXPECT_EQ(walk(list), Lines{L"Unmount " + path});
            EXPECT_EQ(walk(list), Lines{});
            EXPECT_EQ(walk(list), Lines{});
            points = {L"mnt\\"};
            if (isSame) {
                disk.objects[path] = object;
                EXPECT_EQ(walk(list), Lines{L"Mount " + path});
                EXPECT_EQ(walk(list), Lines{});
                continue;
            }
            EXPECT_EQ(walk(list), Lines{L"Mount " + path});
            EXPECT_EQ(walk(list), Lines{L"Deleted " + path}) << "the volume came without it";
        }
    }
}

TEST_F(WinFileWatcherTest, RefusedMountsAreToldInTheirOrder) {
    disk.write(L"x:\\w\\a", "1");
    watchFile(L"x:\\w\\a");
    WinFileWatcher::SetDirty(false);
    rig.source.GetQueue().setLimit(0);
    for (const bool isGone : {true, false, true}) {
        disk.isGone = isGone;
        volumes.volumes[L"x:\\"].code =
            isGone ? platform::error::NotReady : platform::error::Success;
        EXPECT_EQ(walk(), Lines{});
        rig.monitor.refreshAll(kList);
    }
    WinFileWatcher::SetDirty(false);
    rig.source.GetQueue().setLimit(1000);
    EXPECT_EQ(walk(), (Lines{L"Mount x:\\w\\a", L"Unmount x:\\w\\a"})) << "the last of each";
    EXPECT_TRUE(rig.marksSaving());
    EXPECT_EQ(walk(), Lines{});
}

// The file of an entry that is being added has no entity yet; a new one is told afterwards.
TEST_F(WinFileWatcherTest, InventsNothingWhileEntriesAreAdded) {
    disk.write(L"x:\\w\\a", "1");
    rig.source.cover(L"x:\\w\\a", 1, kList);
    rig.watcher.AddToList({L"x:\\w\\a", 0, false, kList, {}});
    rig.monitor.isPending = true;
    EXPECT_EQ(walk(), Lines{});
    EXPECT_EQ(rig.watcher.GetPolledCount(), 1u);
    rig.monitor.isPending = false;
    EXPECT_EQ(walk(), Lines{L"Added x:\\w\\a"});
}

TEST_F(WinFileWatcherTest, AFolderInThePlaceOfAFileIsWatchedLikeItsNeighbours) {
    disk.write(L"x:\\w\\f.txt", "1");
    watchFolder(L"x:\\w", L"*.txt", 3);
    rig.watcher.AddToList({L"x:\\w\\f.txt", 0, false, kList, {}});
    rig.monitor.refresh(L"x:\\w\\f.txt", kList);
    EXPECT_EQ(walkAndLearn(), Lines{});
    disk.erase(L"x:\\w\\f.txt");
    disk.addFolder(L"x:\\w\\f.txt");
    disk.addFolder(L"x:\\w\\f.txt\\s");
    disk.write(L"x:\\w\\f.txt\\s\\1.txt", "1");
    disk.addFolder(L"x:\\w\\f.txt\\s\\t");
    disk.write(L"x:\\w\\f.txt\\s\\t\\2.txt", "1");  // too deep
    EXPECT_EQ(walkAndLearn(),
              (Lines{L"Modified x:\\w", L"Deleted x:\\w\\f.txt", L"Added x:\\w\\f.txt",
                     L"Added x:\\w\\f.txt\\s", L"Added x:\\w\\f.txt\\s\\1.txt",
                     L"Added x:\\w\\f.txt\\s\\t"}));
    disk.write(L"x:\\w\\f.txt\\3.txt", "1");
    EXPECT_EQ(walkAndLearn(), (Lines{L"Modified x:\\w\\f.txt", L"Added x:\\w\\f.txt\\3.txt"}));
}

// A plain entry and one with a mask for the same path, where there is no folder yet.
TEST_F(WinFileWatcherTest, AMaskIsNotLostOnAPlainRow) {
    rig.source.cover(L"x:\\n", 1, kList);
    rig.watcher.AddToList({L"x:\\n", 0, true, kList, {}});
    watchFolder(L"x:\\n", L"*.dll", 1);
    EXPECT_EQ(walk(), Lines{});
    disk.addFolder(L"x:\\n");
    disk.write(L"x:\\n\\a.dll", "1");
    EXPECT_EQ(walkAndLearn(), (Lines{L"Added x:\\n", L"Added x:\\n\\a.dll"}));
    ++disk.objects[L"x:\\n\\a.dll"].facts.accessTime;
    EXPECT_EQ(walk(), Lines{L"Modified x:\\n\\a.dll"}) << "the flag is the plain entry's";
}

TEST_F(WinFileWatcherTest, LeavesToTheFilterWhatItWatches) {
    disk.write(L"x:\\w\\a", "1");
    watchFile(L"x:\\w\\a");
    watchFolder(L"x:\\w", L"*", 1);
    rig.monitor.filtered = {L"x:\\w\\a", L"x:\\w\\b", L"x:\\w"};
    disk.write(L"x:\\w\\a", "2");
    disk.write(L"x:\\w\\b", "2");
    LogCapture log;
    EXPECT_EQ(walk(), Lines{});
    EXPECT_TRUE(
        log.hasDebug(L"x:\\w\\b added to FileWatcher but being monitored by File Filter Driver"));
    disk.erase(L"x:\\w\\a");
    EXPECT_EQ(walk(), Lines{});

    disk.write(L"x:\\w\\a", "1");
    watchFile(L"x:\\w\\a", false, WinFileWatcher::kLogList);
    disk.write(L"x:\\w\\a", "22");
    EXPECT_EQ(walk(WinFileWatcher::kLogList), Lines{L"Modified x:\\w\\a"})
        << "what the filter tells never reaches a log";
}

// A log whose last pass ended at its limit is not done though its file rests.
TEST_F(WinFileWatcherTest, ReadsOnALogWithLinesLeft) {
    disk.write(L"x:\\w\\log", "1");
    watchFile(L"x:\\w\\log", false, 0);
    EXPECT_EQ(walk(0), Lines{});
    rig.monitor.unread = {L"x:\\w\\log"};
    WinFileWatcher::SetDirty(false);
    EXPECT_EQ(walk(0), Lines{L"Modified x:\\w\\log"});
    EXPECT_EQ(walk(0), Lines{L"Modified x:\\w\\log"});
    EXPECT_TRUE(rig.marksSaving());
    rig.monitor.unread.clear();
    EXPECT_EQ(walk(0), Lines{});
}

// What the full queue refused is told at the next walk; so is the wish to save.
TEST_F(WinFileWatcherTest, AFullQueueLosesNothing) {
    watchFolder(L"x:\\w", L"*", 1);
    watchFile(L"x:\\w\\a");
    EXPECT_EQ(walk(), Lines{});
    WinFileWatcher::SetDirty(false);
    rig.source.GetQueue().setLimit(0);
    disk.write(L"x:\\w\\a", "1");
    disk.addFolder(L"x:\\w\\sub");
    LogCapture log;
    EXPECT_EQ(walk(), Lines{});
    EXPECT_EQ(rig.watcher.GetNotificationCount(), 3u);
    EXPECT_EQ(walk(), Lines{});
    EXPECT_FALSE(rig.marksSaving());
    EXPECT_EQ(log.messages.size(), 1u) << "once an episode";
    rig.source.GetQueue().setLimit(1000);
    EXPECT_EQ(walk(), (Lines{L"Modified x:\\w", L"Added x:\\w\\a", L"Added x:\\w\\sub"}));
    EXPECT_TRUE(rig.marksSaving());
    EXPECT_FALSE(rig.marksSaving()) << "once for a change";
}

// A row whose spec has gone would fill the queue at every walk.
TEST_F(WinFileWatcherTest, DropsARowThatNothingCovers) {
    disk.write(L"x:\\w\\a", "1");
    watchFile(L"x:\\w\\a");
    rig.source.uncover(L"x:\\w\\a", kList);
    EXPECT_EQ(walk(), Lines{});
    EXPECT_EQ(rig.watcher.GetPolledCount(), 1u) << "its entity is there";
    rig.monitor.forget(L"x:\\w\\a");
    EXPECT_EQ(walk(), Lines{});
    EXPECT_EQ(rig.watcher.GetPolledCount(), 0u);
    watchFolder(L"x:\\w\\a", L"*.txt", 1);
    EXPECT_EQ(walk(), Lines{});
    disk.erase(L"x:\\w\\a");
    disk.addFolder(L"x:\\w\\a");
    EXPECT_EQ(walk(), Lines{L"Added x:\\w\\a"}) << "what the mask waits for";
}

TEST_F(WinFileWatcherTest, AddsAPathOnceAndMergesWhatIsAskedFor) {
    LogCapture log;
    EXPECT_TRUE(rig.watcher.AddToList({L"X:\\W\\", 1, false, kList, L"*.a"}));
    EXPECT_FALSE(rig.watcher.AddToList({L"x:\\w", 2, true, kList, L"*.b"}));
    EXPECT_FALSE(rig.watcher.AddToList({L"x:\\w", 1, false, 60, L"*.b"}));
    EXPECT_TRUE(rig.watcher.AddToList({L"x:\\", 1, false, kList, L"*"}));
    EXPECT_EQ(log.takeDebug(),
              (Lines{L"x:\\w added to list # 1", L"x:\\w not added since already in list # 1",
                     L"Unknown list ID passed for x:\\w", L"x:\\ added to list # 1"}));
    rig.watcher.RemoveFromList(L"x:\\", kList);
    disk.now += 60;
    rig.source.cover(L"x:\\w\\*", 2, kList);
    disk.addFolder(L"x:\\w\\s");
    for (const wchar_t* path : {L"x:\\w\\1.a", L"x:\\w\\2.b", L"x:\\w\\s\\3.b", L"x:\\w\\4.c"}) {
        disk.write(path, "1");
    }
    EXPECT_EQ(walk(), (Lines{L"Modified x:\\w", L"Added x:\\w\\1.a", L"Added x:\\w\\2.b",
                             L"Added x:\\w\\s", L"Added x:\\w\\s\\3.b"}));

    log.takeDebug();
    EXPECT_TRUE(rig.watcher.RemoveFromList(L"x:\\w\\1.a\\", kList));
    EXPECT_FALSE(rig.watcher.RemoveFromList(L"x:\\w\\1.a", kList));
    EXPECT_FALSE(rig.watcher.RemoveFromList(L"x:\\w\\1.a", 60));
    EXPECT_EQ(log.takeDebug(),
              (Lines{L"x:\\w\\1.a removed from list 1", L"Unknown list ID passed for x:\\w\\1.a"}));
}

TEST_F(WinFileWatcherTest, RemovesTheRowsOfAFolder) {
    struct Case {
        const char* name;
        std::int32_t level;
        const wchar_t* mask;
        bool checkCoverage;
        const wchar_t* covered;
        std::size_t removed;
    };
    const Case cases[] = {
        {"the folder alone", 2, L"", false, L"", 1},
        {"its own files", 1, L"*.txt", false, L"", 3},             // folder, 1.txt, s
        {"two levels", 2, L"*.txt", false, L"", 4},                // and s\2.txt
        {"one is covered", 2, L"*", true, L"x:\\w\\s\\*.txt", 3},  // folder, 1.txt, 1.log
        {"all are covered, but do not ask", 2, L"*", false, L"x:\\*", 5},
    };
    disk.addFolder(L"x:\\w\\s");
    disk.addFolder(L"x:\\ww");
    for (const Case& test : cases) {
        PollingRig fresh;
        fresh.watcher.SetPollingIntervals({kList});
        for (const wchar_t* path : {L"x:\\w", L"x:\\w\\1.txt", L"x:\\w\\1.log", L"x:\\w\\s",
                                    L"x:\\w\\s\\2.txt", L"x:\\ww", L"x:\\v.txt"}) {
            fresh.watcher.AddToList({path, 0, false, kList, {}});
        }
        if (*test.covered != 0) {
            fresh.source.cover(test.covered, 3, kList);
        }
        const PollRequest request{L"x:\\w\\", test.level, false, kList, test.mask};
        EXPECT_EQ(fresh.watcher.RemoveWildCardFileToWatch(request, test.checkCoverage),
                  test.removed)
            << test.name;
        EXPECT_EQ(fresh.watcher.GetPolledCount(), 7 - test.removed) << test.name;
    }
    LogCapture log;
    rig.watcher.AddToList({L"x:\\w\\1.txt", 0, false, kList, {}});
    rig.watcher.RemoveWildCardFileToWatch({L"x:\\w\\", 1, false, kList, L"*"}, false);
    EXPECT_TRUE(
        log.hasDebug(L"POLLING FileWatch RemoveWildCardFileToWatch x:\\w\\ mask * nListID 1"));
    EXPECT_TRUE(log.hasDebug(L"POLLING FileWatch removing x:\\w\\1.txt from nListID 1"));
}

TEST_F(WinFileWatcherTest, ListsAndTimersAreThoseOfTheConfiguration) {
    rig.watcher.SetPollingIntervals({1, 2, 60});
    rig.watcher.AddToList({L"x:\\w\\a", 0, false, 60, {}});
    rig.watcher.AddToList({L"x:\\w\\a", 0, false, 0, {}});
    const auto period = [this](std::int64_t id) {
        const auto timer = rig.watcher.GetTimer(id);
        return timer != nullptr ? timer->GetPeriod() : -1;
    };
    EXPECT_EQ(period(1), 60);
    EXPECT_EQ(period(2), 480 * 60);
    EXPECT_EQ(period(60), 60);
    EXPECT_EQ(rig.watcher.GetPolledCount(), 2u);
    LogCapture log;
    rig.watcher.SetPollingIntervals({});
    Lines expected{L"fn SetPollingIntervals => Checking the High/Low timers.. ",
                   L"fn SetPollingIntervals => Finding the timers to remove.. ",
                   L"fn SetPollingIntervals => Removing Unnecessary timers.. "};
    std::erase_if(log.debugLines, [](const auto& line) { return line.starts_with(L"Cancelled"); });
    for (const std::int32_t id : {1, 2, 60}) {
        expected.push_back(format(L"fn SetPollingIntervals => Removed timer: %d.. ", id));
    }
    expected.emplace_back(L"fn SetPollingIntervals => Removing Filelists for removed timers.. ");
    for (const std::int32_t id : {1, 2, 60}) {
        for (const wchar_t* step : {L"Removing", L"Removed"}) {
            expected.push_back(
                format(L"fn SetPollingIntervals => %ls file lists for timer: %d.. ", step, id));
        }
    }
    EXPECT_EQ(log.debugLines, expected);
    EXPECT_EQ(rig.watcher.GetPolledCount(), 1u) << "list 0 stays";
    EXPECT_EQ(period(1), -1);
    disk.write(L"x:\\w\\a", "1");
    rig.source.cover(L"x:\\w\\a", 1, 0);
    EXPECT_EQ(walk(0), Lines{L"Added x:\\w\\a"});
    EXPECT_EQ(walk(60), Lines{}) << "an unknown list";
}

TEST_F(WinFileWatcherTest, AWalkAdoptsTheIntervalThatTheSettingsHaveByThen) {
    const testing::BinaryFolder folder;
    const AgentInfoRef settings;
    folder.root.write("system/agent.ini",
                      "[File Collector]\r\nshort poll interval=5\r\nlong poll interval=2\r\n");
    settings->reload();
    EXPECT_EQ(rig.watcher.Walk(1, disk.now), 10) << "the floor";
    EXPECT_EQ(rig.watcher.Walk(0, disk.now), 10);
    rig.watcher.SetPollingIntervals({1, 2});
    EXPECT_EQ(rig.watcher.Walk(2, disk.now), 120);
    EXPECT_EQ(rig.watcher.GetTimer(1)->GetPeriod(), 10) << "made anew";
}

TEST(WinFileWatcherThreads, WalksWhileListsChange) {
    const testing::TempDir folder;
    PollingRig rig;
    rig.source.cover(toLower(folder.path(L"*")), 1, 1);
    rig.source.SetMonitor(&rig.monitor);
    rig.watcher.isImpatient = true;
    rig.watcher.SetPollingIntervals({1, 10});
    rig.watcher.Start();
    for (int round = 0; round < 30; ++round) {
        folder.write(std::to_string(round), "1");
        rig.watcher.AddToList({folder.path(), 1, false, 1, L"*"});
        rig.watcher.AddToList({folder.path(L"g"), 0, false, 10, {}});
        rig.watcher.SetPollingIntervals(round % 2 == 0 ? std::set<std::int32_t>{1}
                                                       : std::set<std::int32_t>{1, 10});
        if (round % 7 == 3) {
            rig.watcher.RemoveWildCardFileToWatch({folder.path(), 1, false, 1, L"*"}, false);
        }
        rig.watcher.GetPolledCount();
    }
    while (rig.watcher.GetNotificationCount() == 0) {
        std::this_thread::yield();
    }
    rig.watcher.Stop();
    EXPECT_FALSE(rig.takeTold().empty());
}

}  // namespace
}  // namespace lathwind
