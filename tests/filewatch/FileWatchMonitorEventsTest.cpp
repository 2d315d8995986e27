#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "filewatch/FileWatchMonitor.h"
#include "support/BinaryFolder.h"
#include "support/FakeEventSource.h"
#include "support/LogCapture.h"
#include "support/MonitorFakes.h"
#include "support/SleeplessHost.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using enum FileAction;
using Texts = std::vector<std::wstring>;

// A monitor over real files and a source that watches nothing: notifications come from the test.
class FileWatchMonitorEvents : public ::testing::Test {
protected:
    FileWatchMonitorEvents() { remake(); }
    void remake() {
        monitor.reset();
        auto made = std::make_unique<testing::FakeEventSource>();
        source = made.get();
        monitor = std::make_unique<FileWatchMonitor>(
            store, &lists, std::vector<std::wstring>(),
            FileWatchMonitor::Parts{.source = std::move(made), .mounts = nullptr});
    }

    std::wstring path(const std::wstring& name) const {
        return toLower(installation.root.path(L"d")).append(L"\\").append(name);
    }
    void write(const std::string& name, const std::string& bytes = "x") const {
        installation.root.write("d/" + name, bytes);
    }
    void remove(const std::string& name) const {
        std::filesystem::remove_all(installation.root.native("d/" + name));
    }
    void addFile(const std::wstring& entry, const std::wstring& label = L"") {
        FileWatchParams params;
        params.listId = 1;
        params.label = label;
        params.recursionLevel = 1;
        lists.files[toLower(path(entry))] = params;
        monitor->AddFile(path(entry), params, *stop);
    }
    void polled(FileAction action, const std::wstring& name, std::int32_t listId = 1) {
        process(std::make_unique<FileNotificationInfo>(path(name), action, listId));
    }
    void driven(DriverOperation operation, const std::wstring& name,
                const std::wstring& oldName = L"") {
        auto note = std::make_unique<FileNotificationInfo>(path(name), operation, 5, 6,
                                                           std::vector<std::byte>(), L"p.exe", -1);
        note->oldPath = oldName.empty() ? L"" : path(oldName);
        process(std::move(note));
    }
    void process(std::unique_ptr<FileNotificationInfo> note) {
        log.debugLines.clear();
        monitor->ProcessNotification(std::move(note));
    }
    // "P C a.txt": by whom it was noticed, the operation, the file. Empties the store.
    Texts events() {
        Texts texts;
        for (const auto& event : store.events) {
            const Texts& values = event->GetValues();
            std::wstring text = values.at(0) + L" " + values.at(2) + L" ";
            texts.push_back(text.append(event->GetFileName().substr(path(L"").size())));
        }
        store.events.clear();
        return texts;
    }
    bool isKnown(const std::wstring& name, std::int32_t mapIndex = 0) {
        return monitor->GetEntity(path(name), mapIndex) != nullptr;
    }
    bool said(const std::wstring& begin, const std::wstring& name) const {
        return log.hasDebug(begin + path(name));
    }

    const testing::BinaryFolder installation;
    testing::SleeplessHost host;
    testing::LogCapture log;
    testing::FakeWatchLists lists;
    testing::FakeEventStore store;
    const std::unique_ptr<Event> stop = platformFactory.createEvent(L"");
    testing::FakeEventSource* source = nullptr;
    std::unique_ptr<FileWatchMonitor> monitor;
};

constexpr wchar_t kToModified[] = L"Changing FILE_ADDED to FILE_MODIFIED for: ";
constexpr wchar_t kToAdded[] =
    L"Changing Modified notification to FILE_ADDED for unknown WatchedEntity: ";
constexpr wchar_t kNoEntity[] = L"Failed to find a WatchedEntity for this notification event ";

TEST_F(FileWatchMonitorEvents, WhatANotificationComesTo) {
    using Operation = DriverOperation;
    struct Row {
        const char* what;
        bool isKnown;  // before
        bool isThere;  // now
        FileAction polled;
        Operation driven;
        Texts events;
        const wchar_t* line = nullptr;
        std::uint32_t slept = 0;
    };
    const Row rows[] = {
        {"added", false, true, Added, Operation::None, {L"P C f.txt"}},
        {"modified, unknown", false, true, Modified, Operation::None, {L"P C f.txt"}, kToAdded},
        {"added, known", true, true, Added, Operation::None, {L"P M f.txt"}, kToModified},
        {"modified", true, true, Modified, Operation::None, {L"P M f.txt"}},
        {"deleted", true, false, Deleted, Operation::None, {L"P D f.txt"}},
        {"deleted, unknown", false, false, Deleted, Operation::None, {}, kNoEntity},
        {"vanished", false, false, Added, Operation::None, {}, kNoEntity},
        {"created", false, true, None, Operation::Created, {L"R C f.txt"}, nullptr, 20},
        {"created, known", true, true, None, Operation::Created, {L"R M f.txt"}, kToModified, 20},
        {"accessed", true, true, None, Operation::Accessed, {}},
        {"driver's deletion", true, false, None, Operation::Deleted, {L"R D f.txt"}},
    };
    write("start");
    addFile(L"*.txt");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        remove("f.txt");
        polled(Deleted, L"f.txt");
        if (row.isKnown) {
            write("f.txt");
            polled(Added, L"f.txt");
        }
        row.isThere ? write("f.txt", "more") : remove("f.txt");
        events();
        host.slept = 0;
        if (row.driven == Operation::None) {
            polled(row.polled, L"f.txt");
        } else {
            driven(row.driven, L"f.txt");
        }
        EXPECT_EQ(events(), row.events);
        EXPECT_EQ(isKnown(L"f.txt"), row.isThere);
        EXPECT_EQ(host.slept, row.slept);
        if (row.line == kNoEntity) {
            std::wstring action = row.polled == Deleted ? L"Deleted " : L"Added ";
            EXPECT_TRUE(said(kNoEntity + action, L"f.txt"));
            EXPECT_TRUE(said(L"AddWatchedEntity skipping non-existing file ", L"f.txt"));
        } else if (row.line != nullptr) {
            EXPECT_TRUE(said(row.line, L"f.txt"));
        }
    }
    driven(Operation::Created, L"other.dat");
    EXPECT_TRUE(log.hasDebug(L"Failed to find associate File Filter event for unknown file " +
                             path(L"other.dat") + L" with an filewatch.ini entry."));
}

TEST_F(FileWatchMonitorEvents, AccessesThatNobodyAskedForAreIgnored) {
    write("f.txt");
    addFile(L"f.txt");
    driven(DriverOperation::Accessed, L"f.txt");
    EXPECT_TRUE(
        said(L"FileWatch ignoring driver notification type (File Accessed) for ", L"f.txt"));
    EXPECT_TRUE(said(L"Notification Accessed resulted in 0 IDSEvents for ", L"f.txt"));
    write("f.txt", "more");
    polled(Accessed, L"f.txt");  // as polling would say it, the entity decides
    EXPECT_EQ(events(), Texts{L"P M f.txt"});
    EXPECT_TRUE(said(L"Notification Accessed resulted in 1 IDSEvents for ", L"f.txt"));
}

TEST_F(FileWatchMonitorEvents, EveryCoveringEntryCounts) {
    write("start");
    addFile(L"*.txt", L"by mask");
    addFile(L"late.txt", L"by name");
    write("late.txt");
    polled(Added, L"late.txt");
    ASSERT_EQ(store.events.size(), 1u);
    EXPECT_NE(store.events[0]->GetEventText().find(L"by name"), std::wstring::npos);
    events();
    monitor->RemoveFile(path(L"late.txt"), lists.files[path(L"late.txt")], 0);
    EXPECT_TRUE(isKnown(L"late.txt"));  // by the mask
    lists.files.erase(path(L"*.txt"));  // from now on, and removed a moment later
    write("later.txt");
    polled(Added, L"later.txt");
    EXPECT_FALSE(isKnown(L"later.txt"));
    EXPECT_EQ(events(), Texts());
    monitor->RemoveFile(path(L"*.txt"), {}, 0);
    EXPECT_FALSE(isKnown(L"late.txt"));
}

TEST_F(FileWatchMonitorEvents, ARenameIsTwoThings) {
    struct Row {
        const char* what;
        const wchar_t* from;
        const wchar_t* to;
        bool staysThere;
        bool isThere;  // something at the new path before, known
        Texts events;
    };
    const Row rows[] = {
        {"within", L"a.txt", L"b.txt", false, false, {L"R R a.txt", L"R C b.txt"}},
        {"over another", L"a.txt", L"b.txt", false, true, {L"R R a.txt", L"R M b.txt"}},
        {"a copy", L"a.txt", L"b.txt", true, false, {L"R M a.txt", L"R C b.txt"}},
        {"away", L"a.txt", L"b.dat", false, false, {L"R R a.txt"}},
        {"into", L"a.dat", L"b.txt", false, false, {L"R C b.txt"}},
        {"elsewhere", L"a.dat", L"b.dat", false, false, {}},
    };
    write("start");
    addFile(L"*.txt");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const std::string from = narrow(row.from);
        const std::string to = narrow(row.to);
        write(from);
        polled(Added, row.from);
        if (row.isThere) {
            write(to, "before");
            polled(Added, row.to);
        }
        if (from.ends_with(".dat")) {
            EXPECT_TRUE(isKnown(row.from));  // the source said that it is watched
            polled(Deleted, row.from);
        }
        events();
        remove(from);
        if (row.staysThere) {
            write(from, "stays, changed");
        }
        write(to, "moved");
        host.slept = 0;
        driven(DriverOperation::Renamed, row.to, row.from);
        EXPECT_EQ(events(), row.events);
        EXPECT_EQ(host.slept, 20u);
        EXPECT_EQ(isKnown(row.from), row.staysThere);
        EXPECT_EQ(said(L"Changing FILE_RENAMED to FILE_MODIFIED for: ", row.from), row.staysThere);
        EXPECT_EQ(said(kToModified, row.to), row.isThere);
        EXPECT_FALSE(said(std::wstring(kNoEntity) + L"Deleted(Renamed) ", row.to));
        for (const std::wstring name : {L"a.txt", L"b.txt"}) {
            remove(narrow(name));
            polled(Deleted, name);
        }
    }
}

TEST_F(FileWatchMonitorEvents, APolledMountOfAnEntryTakesItsFilesInWithoutAWord) {
    write("vol/old.txt");
    addFile(L"vol\\*.txt");
    monitor->SetConfigurationPending(false);
    write("vol/new.txt");
    polled(Mount, L"vol\\*.txt");
    EXPECT_TRUE(isKnown(L"vol\\new.txt"));
    EXPECT_EQ(events(), Texts());
    EXPECT_FALSE(monitor->IsConfigurationPending());  // nothing would make it final again
}

TEST_F(FileWatchMonitorEvents, AnInstanceComesAndGoesAndComesAgain) {
    const std::wstring entry = L"{VIRTUAL_TAG}\\logs\\*.log";
    write("old/logs/a.log");
    write("older/logs/a.log");
    addFile(entry);
    source->added.push_back({path(L"*"), 1, false, false, 1, path(toLower(entry))});  // the root
    ASSERT_TRUE(isKnown(L"old\\logs\\a.log"));
    write("beside.txt");
    polled(Added, L"beside.txt");  // nobody asked for it
    EXPECT_EQ(events(), Texts());
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        write("new/logs/a.log");
        write("new/logs/b.txt");
        polled(Added, L"new");
        EXPECT_TRUE(log.hasDebug(L"Added directory (" + path(L"new") + L") contained file/dir: " +
                                 path(L"new\\logs\\a.log")));
        EXPECT_EQ(source->added.back().path, path(L"new\\logs\\*.log"));
        EXPECT_EQ(source->added.back().virtualEntry, path(toLower(entry)));
        EXPECT_FALSE(source->added.back().notRealTime);
        EXPECT_EQ(store.events.at(0)->GetValues().at(0), L"P");
        EXPECT_EQ(monitor->GetEntity(path(L"new\\logs\\a.log"), 0)->GetVirtualName(), L"NAME=new");
        EXPECT_EQ(events(), (Texts{L"P C new\\logs\\a.log", L"P C new"}));

        remove("new");
        polled(Deleted, L"new");
        EXPECT_TRUE(log.hasDebug(L"Deleted directory (" + path(L"new") + L") contained file/dir: " +
                                 path(L"new\\logs\\a.log")));
        EXPECT_EQ(events(), (Texts{L"P D new", L"P D new\\logs\\a.log"}));
        EXPECT_EQ(source->removed.back().path, path(L"new\\logs\\*.log"));
        EXPECT_EQ(source->removedSpecs.back(), path(L"new\\logs\\*"));
        EXPECT_FALSE(isKnown(L"new"));
        EXPECT_FALSE(isKnown(L"new\\logs\\a.log"));
    }
    // Those that were there from the start have no entities of their own, and go all the same.
    remove("old");
    polled(Deleted, L"old");
    EXPECT_EQ(events(), Texts{L"P D old\\logs\\a.log"});
    EXPECT_EQ(source->removed.back().path, path(L"old\\logs\\*.log"));
    remove("older");
    driven(DriverOperation::Renamed, L"elsewhere", L"older");
    EXPECT_EQ(events(), Texts{L"R D older\\logs\\a.log"});
}

TEST_F(FileWatchMonitorEvents, AnInstanceThatCameIsNotGoneAtTheNextStart) {
    const std::wstring entry = L"{virtual_tag}\\*.log";
    write("start");
    for (const bool isFirst : {true, false}) {
        addFile(entry);
        if (isFirst) {
            write("new/a.log");
            polled(Added, L"new");
            EXPECT_EQ(events().size(), 2u);
            monitor->SetConfigurationPending(false);
            monitor->Serialize();
            remake();
        }
    }
    EXPECT_EQ(monitor->Deserialize(L"FileWatch.dat", *stop), RestoreResult::Restored);
    EXPECT_EQ(events(), Texts());
}

TEST_F(FileWatchMonitorEvents, WhatOtherEntriesAskedForOutlivesTheInstance) {
    addFile(L"{virtual_tag}\\*.log");
    addFile(L"web\\*.txt");
    write("web/a.log");
    write("web/a.txt");
    polled(Added, L"web");
    polled(Added, L"web\\a.txt");
    events();
    remove("web");
    polled(Deleted, L"web");
    EXPECT_EQ(events(), (Texts{L"P D web", L"P D web\\a.log"}));
    polled(Deleted, L"web\\a.txt");
    EXPECT_EQ(events(), Texts{L"P D web\\a.txt"});
}

TEST_F(FileWatchMonitorEvents, AnInstancesFolderGoesWithTheLastEntryOfItsRoot) {
    const Texts entries = {L"{virtual_tag}\\*.log", L"{virtual_tag}\\*.txt"};
    for (const std::wstring& entry : entries) {
        addFile(entry);
    }
    write("web/a.log");
    polled(Added, L"web");
    for (const std::wstring& entry : entries) {
        EXPECT_TRUE(isKnown(L"web"));
        monitor->RemoveFile(path(entry), lists.files[path(entry)], 0);
    }
    EXPECT_EQ(monitor->GetWatchedFileCount(), 0u);
}

TEST_F(FileWatchMonitorEvents, LogsOfAnInstance) {
    const std::wstring entry = path(L"{virtual_tag}\\*.log");
    LogFileProperties properties;
    properties.SetFileName(entry);
    lists.logs[path(L"web\\*.log")] = properties;
    write("start");
    monitor->AddLogFile(properties, WorkItemTarget::kNoOffset);
    write("web/a.log", "one\n");
    polled(Added, L"web", 0);
    EXPECT_TRUE(source->added.back().notRealTime);
    EXPECT_EQ(source->added.back().listId, 0);
    EXPECT_TRUE(isKnown(L"web\\a.log", 1));
    polled(Modified, L"web\\a.log", 0);
    EXPECT_EQ(store.events.size(), 1u);  // from the start
    remove("web");
    polled(Deleted, L"web", 0);
    EXPECT_FALSE(isKnown(L"web\\a.log", 1));
    EXPECT_EQ(store.events.size(), 1u);
}

TEST_F(FileWatchMonitorEvents, MountsOfTheDriver) {
    write("mnt/f.txt");
    addFile(L"mnt");
    driven(DriverOperation::Mounted, L"mnt");
    EXPECT_EQ(events(), Texts{L"R N mnt"});
    EXPECT_TRUE(log.hasDebug(L"Driver notification of Mount/Un-Mount of " + path(L"mnt") +
                             L" is defferred to work-item thread."));
}

TEST_F(FileWatchMonitorEvents, AFullStoreIsReportedOnceAnEpisode) {
    write("f.txt");
    addFile(L"f.txt");
    const PushResult results[] = {PushResult::Full, PushResult::Full, PushResult::Stored,
                                  PushResult::Full};
    std::size_t size = 1;
    for (const PushResult result : results) {
        store.result = result;
        write("f.txt", std::string(++size, 'x'));
        polled(Modified, L"f.txt");
        EXPECT_TRUE(said(L"Notification Modified resulted in 1 IDSEvents for ", L"f.txt"));
    }
    ASSERT_EQ(log.messages.size(), 2u);
    EXPECT_EQ(log.messages[0].severity, Severity::Error);
    EXPECT_TRUE(log.messages[0].text.starts_with(L"FWC_0008: "));
}

TEST_F(FileWatchMonitorEvents, OneBadNotificationIsAllThatIsLost) {
    struct BrokenLists : testing::FakeWatchLists {
        bool GetFileParams(const std::wstring&, FileWatchParams*) override {
            throw std::runtime_error("broken");
        }
    } broken;
    auto made = std::make_unique<testing::FakeEventSource>();
    testing::FakeEventSource& queued = *made;
    FileWatchMonitor other(store, &broken, {}, {.source = std::move(made), .mounts = nullptr});
    write("known.txt");
    FileWatchParams params;
    params.recursionLevel = 1;
    for (const wchar_t* entry : {L"*.dat", L"known.txt"}) {
        other.AddFile(path(entry), params, *stop);
    }
    write("new.dat");
    write("known.txt", "more");
    for (const wchar_t* name : {L"new.dat", L"known.txt"}) {
        auto note = std::make_unique<FileNotificationInfo>(path(name), Modified, 1);
        ASSERT_TRUE(queued.Queue(note));
    }
    log.debugLines.clear();
    EXPECT_TRUE(other.Step());
    EXPECT_EQ(log.debugLines.back(),
              L"Dropping a notification that could not be processed: broken");
    EXPECT_TRUE(other.Step());
    EXPECT_EQ(events(), Texts{L"P M known.txt"});
    queued.Stop();
    EXPECT_FALSE(other.Step());
}

}  // namespace
}  // namespace lathwind
