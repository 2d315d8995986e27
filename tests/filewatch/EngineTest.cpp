// The whole engine over real files, from the watch lists to the events.
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "actions/EventFilePaths.h"
#include "filewatch/StateFile.h"
#include "filewatch/WatchFileNames.h"
#include "filewatch/WatchedLogFile.h"
#include "support/EngineRig.h"
#include "support/FakeDisk.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/MonitorFakes.h"
#include "support/ServiceOverride.h"

namespace lathwind {
namespace {

using testing::EngineRig;
using Told = std::vector<std::string>;

Told sorted(Told told) {
    std::sort(told.begin(), told.end());
    return told;
}

std::string entries(const EngineRig& rig, const std::vector<std::string>& values) {
    std::string keys = "MaxFileNumber=" + std::to_string(values.size()) + "\n";
    int number = 0;
    for (const std::string& value : values) {
        keys += "File000" + std::to_string(++number) + "=" + rig.watched(value) + "\n";
    }
    return keys;
}

std::uint16_t signatureOf(const EngineRig& rig, const std::string& file) {
    const std::string bytes = rig.root().read("bin/" + file);
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes.at(0)) |
                                      static_cast<unsigned char>(bytes.at(1)) << 8);
}

TEST(Engine, TellsWhatHappensToFilesOfEachKindOfEntry) {
    EngineRig rig;
    rig.write("a.txt", "1");
    rig.write("deep/one/b.txt", "1");
    rig.write("deep/one/two/far.txt", "1");
    rig.write("plain.bin", "1");
    rig.writeFileList(entries(rig, {"*.txt|3|1|0", "plain.bin|1|1|0", "missing.bin|1|0|0"}));
    rig.start();
    rig.poll();
    EXPECT_EQ(rig.take(), Told());

    rig.write("a.txt", "22");
    rig.write("deep/one/b.txt", "22");
    rig.write("deep/one/new.txt", "1");
    rig.write("deep/one/two/far.txt", "22");  // beyond the level
    rig.write("other.doc", "1");              // beside the mask
    rig.remove("plain.bin");
    rig.write("missing.bin", "1");
    rig.poll();
    EXPECT_EQ(sorted(rig.take()), (Told{"C deep\\one\\new.txt", "C missing.bin", "D plain.bin",
                                        "M a.txt", "M deep\\one\\b.txt"}));

    rig.rename("a.txt", "renamed.txt");
    rig.poll();
    EXPECT_EQ(sorted(rig.take()), (Told{"C renamed.txt", "D a.txt"}));
    rig.poll(60);
    EXPECT_EQ(rig.take(), Told());
}

// For programs without lists.
TEST(Engine, WatchesThePathsThatItIsMadeWith) {
    EngineRig rig;
    rig.write("a.txt", "1");
    testing::FakeEventStore store;
    FileWatchMonitor monitor(store, nullptr, {widen(rig.watched("a.txt"))});
    monitor.SetConfigurationPending(false);
    rig.write("a.txt", "22");
    auto& polling = static_cast<WinFileEventSource&>(monitor.GetSource()).GetPolling();
    polling.Step();  // the new timer wakes it
    polling.Step();
    EXPECT_TRUE(monitor.Step());
    EXPECT_EQ(store.events.size(), 1u);
}

TEST(Engine, MakesUpForASaveThatFailed) {
    EngineRig rig;
    rig.writeFileList(entries(rig, {"*.txt|1|1|0"}));
    rig.root().makeFolder("bin/FileWatch.dat");  // stands in the way
    rig.start();
    rig.write("a.txt", "1");
    rig.poll(130);
    std::filesystem::remove(rig.root().native("bin/FileWatch.dat"));
    rig.poll(130);
    EXPECT_EQ(rig.take(), Told{"C a.txt"});
    rig.kill();
    rig.start();
    EXPECT_EQ(rig.take(), Told()) << "the later save held it";
}

// Nor do lists that have changed wait with it until a file does.
TEST(Engine, SavesTheStateOfNewLists) {
    EngineRig rig;
    rig.write("a.txt", "1");
    rig.writeFileList(entries(rig, {"*.bin|1|1|0"}));
    rig.start();
    rig.writeFileList(entries(rig, {"*.txt|1|1|0"}));
    rig.reconfigure(FileWatchSubject::kFileLists);
    rig.poll(130);
    rig.kill();
    rig.write("a.txt", "22");
    rig.start();
    EXPECT_EQ(rig.take(), Told{"M a.txt"});
}

TEST(Engine, TellsAtTheNextStartWhatChangedMeanwhile) {
    EngineRig rig;
    for (const char* name : {"kept.txt", "changed.txt", "gone.txt"}) {
        rig.write(name, "1");
    }
    rig.writeFileList(entries(rig, {"*.txt|1|1|0"}));
    rig.start();
    rig.stop();
    EXPECT_EQ(signatureOf(rig, "FileWatch.dat"), FileWatchSignature);
    rig.write("changed.txt", "22");
    rig.remove("gone.txt");
    rig.write("new.txt", "1");
    rig.start();
    EXPECT_EQ(sorted(rig.take()), (Told{"C new.txt", "D gone.txt", "M changed.txt"}));
}

// Somebody holds one of the lists when the agent starts.
TEST(Engine, KeepsItsHistoryWhereAListCannotBeReadForAMoment) {
    EngineRig rig;
    rig.write("a.txt", "1");
    rig.writeFileList(entries(rig, {"*.txt|1|1|0"}));
    rig.start();
    rig.stop();
    rig.write("a.txt", "22");
    const auto list = rig.root().native("system/filewatch.ini");
    std::filesystem::rename(list, rig.root().native("system/away"));
    std::filesystem::create_directory(list);  // there, and no text
    int waits = 0;
    rig.platform().whenTimePasses = [&] {
        if (++waits == 2) {
            std::filesystem::remove(list);
            std::filesystem::rename(rig.root().native("system/away"), list);
        }
    };
    const testing::LogCapture log;
    rig.start();
    rig.platform().whenTimePasses = {};
    EXPECT_EQ(rig.take(), Told{"M a.txt"});
    EXPECT_TRUE(log.hasDebug(std::wstring(watchFiles::kFileWatchList) +
                             L" is there and could not be read"));
}

TEST(Engine, SavesItsStateAtFirstAndWhenAWalkHasFoundSomething) {
    EngineRig rig;
    rig.write("a.txt", "1");
    rig.writeFileList(entries(rig, {"*.txt|1|0|0"}));
    rig.start();
    rig.poll(150);
    rig.kill();
    rig.write("a.txt", "22");
    rig.start();
    EXPECT_EQ(rig.take(), Told{"M a.txt"}) << "without a state one is saved";
    rig.poll(150);
    std::filesystem::remove(rig.root().native("bin/FileWatch.dat"));
    rig.poll(300);
    EXPECT_FALSE(rig.root().exists("bin/FileWatch.dat"));
    rig.write("a.txt", "333");
    rig.poll(150);
    ASSERT_TRUE(rig.root().exists("bin/FileWatch.dat"));
    EXPECT_EQ(rig.take(), Told{"M a.txt"});
    rig.kill();
    rig.start();
    EXPECT_EQ(rig.take(), Told());  // the state held the change
}

TEST(Engine, FollowsVirtualInstancesThatComeAndGo) {
    EngineRig rig;
    rig.write("inst/web1/conf/a.cfg", "1");
    rig.writeFileList(entries(rig, {"inst\\{VIRTUAL_TAG}\\conf\\*.cfg|1|0|0"}));
    rig.start();
    rig.write("inst/web1/conf/a.cfg", "22");
    rig.write("inst/web2/conf/b.cfg", "1");
    rig.poll(20);
    Told told = rig.take();
    EXPECT_EQ(sorted(told),
              (Told{"C inst\\web2", "C inst\\web2\\conf\\b.cfg", "M inst\\web1\\conf\\a.cfg"}));
    rig.write("inst/web2/conf/b.cfg", "22");
    rig.poll();
    EXPECT_EQ(rig.take(), Told{"M inst\\web2\\conf\\b.cfg"});
    rig.remove("inst/web2");
    rig.poll(20);
    EXPECT_EQ(sorted(rig.take()), (Told{"D inst\\web2", "D inst\\web2\\conf\\b.cfg"}));
}

TEST(Engine, LeavesFilesBesideInstancesToOtherEntries) {
    EngineRig rig;
    rig.write("inst/web1/a.txt", "1");
    rig.write("inst/beside.txt", "1");
    rig.write("inst/beside.cfg", "1");
    rig.writeFileList(entries(rig, {"inst\\{VIRTUAL_TAG}\\*.txt|1|0|0", "inst\\*.cfg|1|0|0"}));
    rig.start();
    WinFileWatcher::SetDirty(false);  // a first state is saved in any case
    rig.poll(150);
    EXPECT_EQ(rig.source().GetNotificationCount(), 0u);
    EXPECT_FALSE(rig.root().exists("bin/FileWatch.dat"));
    EXPECT_EQ(rig.source().GetPolledCount(), 4u) << "two folders with a file each";
    rig.write("inst/beside.txt", "22");
    rig.write("inst/beside.cfg", "22");
    rig.poll();
    EXPECT_EQ(rig.take(), Told{"M inst\\beside.cfg"});
}

TEST(Engine, ReadsLogsOnFromWhereTheLastRunEnded) {
    EngineRig rig;
    rig.write("app.log", "old\n");
    rig.root().write("system/logwatch.ini",
                     "[Log Files]\nFiles=1\n[File1]\nFileName=" + rig.watched("*.log") + "\n");
    rig.start();
    rig.append("app.log", "one\n");
    rig.write("new.log", "first\n");
    rig.poll();
    EXPECT_EQ(sorted(rig.take()), (Told{"app.log: one", "new.log: first"}));
    rig.append("app.log", "two\n");
    rig.stop();
    rig.append("app.log", "three\n");
    rig.start();
    EXPECT_EQ(rig.take(), (Told{"app.log: two", "app.log: three"}));
    rig.remove("app.log");
    rig.poll();
    rig.write("app.log", "fresh\n");
    rig.poll();
    EXPECT_EQ(rig.take(), Told{"app.log: fresh"});
}

// Files are found, and told of, under long names, whatever the lists write.
TEST(Engine, WatchesFoldersThatTheListsNameByTheirShortNames) {
    struct ShortNames : testing::FakeDisk {
        ErrorCode longPath(const std::wstring& path, std::wstring& longForm) override {
            longForm = path;
            if (longForm.starts_with(L"x:\\progra~1")) {
                longForm.replace(3, 8, L"Program Files");
            }
            platform::FileFacts facts;
            return query(toLower(longForm.substr(0, longForm.size() - 1)), facts);
        }
    } disk;
    testing::FakeVolumes volumes;
    volumes.roots = {L"x:\\"};
    const testing::ServiceOverride<platform::Files> files(platformFactory.files, disk);
    const testing::ServiceOverride<platform::Volumes> drives(platformFactory.volumes, volumes);
    EngineRig rig;
    rig.root().write("system/logwatch.ini",
                     "[Log Files]\nFiles=1\n[File1]\nDelimiter=\\n\n"
                     "FileName=x:\\progra~1\\Later\\*.log\n");
    rig.writeFileList(
        "MaxFileNumber=2\nFile0001=x:\\Progra~1\\*.txt|1|1|0\nFile0002=x:\\progra~1\\plain|1|1|"
        "0\n");
    disk.addFolder(L"x:\\program files");
    disk.write(L"x:\\program files\\a.txt", "1");
    disk.write(L"x:\\program files\\plain", "1");
    rig.start();
    rig.poll();
    EXPECT_EQ(rig.take(), Told());
    ++disk.now;
    disk.write(L"x:\\program files\\a.txt", "22");
    disk.write(L"x:\\program files\\plain", "22");
    disk.addFolder(L"x:\\program files\\later");
    disk.write(L"x:\\program files\\later\\b.log", "line\n");
    rig.poll(20);
    EXPECT_EQ(sorted(rig.take()), (Told{"M x:\\program files\\a.txt", "M x:\\program files\\plain",
                                        "x:\\program files\\later\\b.log: line"}));
    rig.stop();
    rig.start();
    rig.poll(20);
    EXPECT_EQ(rig.take(), Told());

    setEventFilePaths(L"X:\\Progra~1\\events.csv", {});
    EXPECT_TRUE(WatchedLogFile::IsServiceCsvLog(L"x:\\program files\\qvrips.log"));
    setEventFilePaths({}, {});
}

TEST(Engine, ReconfiguresOnlyWhatChanged) {
    EngineRig rig;
    rig.write("a.txt", "1");
    rig.write("b.cfg", "1");
    rig.writeFileList(entries(rig, {"*.txt|1|0|0", "b.cfg|1|0|0"}));
    rig.start();
    rig.write("a.txt", "22");  // not yet seen when the lists change
    rig.write("c.doc", "1");
    rig.writeFileList("ListLabel=new\n" + entries(rig, {"*.txt|1|0|0", "*.doc|1|0|0"}));
    rig.reconfigure(FileWatchSubject::kFileLists);
    EXPECT_EQ(rig.take(), Told());
    rig.write("b.cfg", "22");
    rig.write("c.doc", "22");
    rig.poll();
    EXPECT_EQ(sorted(rig.take()), (Told{"M a.txt", "M c.doc"}));
    EXPECT_EQ(rig.monitor().GetWatchedFileCount(), 2u);
}

TEST(Engine, HoldsAFileOfTwoEntriesOnce) {
    EngineRig rig;
    rig.write("a.txt", "1");
    rig.writeFileList(entries(rig, {"*.txt|1|0|0", "a.*|1|0|0"}));
    rig.start();
    rig.write("a.txt", "22");
    rig.poll();
    EXPECT_EQ(rig.take(), Told{"M a.txt"});
    rig.writeFileList(entries(rig, {"a.*|1|0|0"}));
    rig.reconfigure(FileWatchSubject::kFileLists);
    rig.write("a.txt", "333");
    rig.poll();
    EXPECT_EQ(rig.take(), Told{"M a.txt"});
}

TEST(Engine, ChangesAreToldWhenTheClockIsSetBack) {
    EngineRig rig;
    rig.write("a.txt", "1");
    rig.writeFileList(entries(rig, {"*.txt|1|0|0"}));
    rig.start();
    rig.poll();
    rig.platform().setBack(7200 * 1000);
    rig.write("a.txt", "22");
    rig.poll(20);
    EXPECT_EQ(rig.take(), Told{"M a.txt"});
}

}  // namespace
}  // namespace lathwind
