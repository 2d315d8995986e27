#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <optional>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/WatchedLogFile.h"
#include "support/BinaryFolder.h"
#include "support/FakeEventSource.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/StateFileBuilder.h"
#include "utils/AgentInfo.h"
#include "utils/IniFile.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using enum RestoreResult;
using lathwind::testing::LogCapture;
using lathwind::testing::ParsedEntity;
using lathwind::testing::parseStateFile;
using lathwind::testing::StateFileBuilder;
using Lines = std::vector<std::wstring>;

constexpr wchar_t kInterrupted[] =
    L"FileWatch config initialization was interrupted so the file states are not being saved.";
constexpr wchar_t kWasInterrupted[] =
    L"FileWatch config initialization was interrupted during last run so the state was not "
    L"restored.";

// Mounts of a test's own making: a save passes here with the header written and no entity yet.
class TestMounts : public MountManager {
public:
    void mount(const std::wstring& point) {
        struct Mounted : MountInfo {
            explicit Mounted(const std::wstring& name)
                : MountInfo(name, name, MountType::Fixed, 1u << kMediaReady) {}
            void Refresh() override {}
        };
        Refreshment next = BeginRefresh();
        next.mounts.push_back(std::make_shared<Mounted>(point));
        EndRefresh(std::move(next));
    }
    void RefreshMounts() override {
        if (!unseen.empty()) {
            mount(std::exchange(unseen, {}));
        }
    }
    bool HasVolumeInfo(const std::wstring&) override { return true; }
    bool IsFatVolume(const std::wstring&) override { return false; }
    void WriteObject(std::ostream& stream) override {
        if (whileSaving) {
            whileSaving();
        }
        MountManager::WriteObject(stream);
    }
    std::function<void()> whileSaving;
    std::wstring unseen;  // a volume that is there, before anybody looks
};

// "modified a.txt" and the like, of a file's event; a log's line.
std::wstring shortForm(const std::wstring& text) {
    const auto lineBehind = [&](std::wstring_view label) {
        const std::size_t begin = text.find(label) + label.size();
        return text.substr(begin, text.find(L'\n', begin) - begin);
    };
    if (text.starts_with(L"Logfile")) {
        return lineBehind(L"Message: ");
    }
    const std::wstring name = lineBehind(L"Name: ");
    return lineBehind(L"Action: ").append(L" ").append(name.substr(name.rfind(L'\\') + 1));
}

class StateTest : public ::testing::Test, public EventStore {
protected:
    StateTest() { start(); }

    // A new engine over the files as they are.
    void start() {
        monitor_.reset();
        auto mounts = std::make_unique<TestMounts>();
        mounts_ = mounts.get();
        monitor_ = std::make_unique<FileWatchMonitor>(
            *this, nullptr, Lines(),
            FileWatchMonitor::Parts{std::make_unique<testing::FakeEventSource>(),
                                    std::move(mounts)});
        const Md5Digest zeros{};
        setDigests(zeros);
        finalize();
    }
    void setDigests(const Md5Digest& digest) {
        const std::vector<Md5Digest> digests(3, digest);
        monitor_->SetDigests(digests, 0);
        monitor_->SetDigests(digests, 1);
    }
    void finalize() { monitor_->SetConfigurationPending(false); }
    std::wstring path(std::wstring_view name) const {
        return toLower(folder_.root.path(L"log\\")) + std::wstring(name);
    }
    void watch(std::wstring_view name) {
        monitor_->AddFile(path(name), {}, *stop_);
        finalize();
    }
    void follow(std::wstring_view name) {
        IniFile ini;
        ini.parse(L"[Log Files]\nFiles=1\n[File1]\nDelimiter=\\n\nFileName=" + path(name) + L"\n");
        LogFileProperties properties;
        LogFileProperties::ReadFromIni(ini, properties, 1);
        monitor_->AddLogFile(properties, WorkItemTarget::kNoOffset);
        finalize();
    }
    void write(const std::string& name, std::string_view text) {
        folder_.root.write("log/" + name, text);
    }
    void putState(const std::optional<std::string>& bytes, const std::string& name) {
        std::filesystem::remove(folder_.root.native("bin/" + name));
        if (bytes) {
            folder_.root.write("bin/" + name, *bytes);
        }
    }
    std::optional<std::string> state(const std::string& name = "FileWatch.dat") const {
        const std::string file = "bin/" + name;
        return folder_.root.exists(file) ? std::optional(folder_.root.read(file)) : std::nullopt;
    }
    std::optional<std::string> previous() const { return state("FileWatch.dat.tmp"); }
    void restore() { monitor_->RestoreState(L"FileWatch.dat", *stop_); }
    // Holds `limit_`. The consumer comes when there is no room, unless it is stuck.
    PushResult Offer(std::unique_ptr<IDSEvent> event) override {
        if (queued_ == limit_) {
            return PushResult::Full;
        }
        ++queued_;
        events_.push_back(shortForm(event->GetEventText()));
        if (eventsToThrow_ != 0 && --eventsToThrow_ == 0) {
            throw std::runtime_error("in the middle of a comparison");
        }
        return PushResult::Stored;
    }
    bool HasRoomFor(std::size_t events) const override {
        const bool hasRoom = std::min(events, limit_) <= limit_ - queued_;
        queued_ = hasRoom || isStuck_ ? queued_ : 0;
        return hasRoom;
    }
    // Events since the last call.
    Lines takeEvents() { return std::exchange(events_, {}); }

    testing::BinaryFolder folder_;
    const std::unique_ptr<Event> stop_ = platformFactory.createEvent({});
    Lines events_;
    int eventsToThrow_ = 0;  // the last of so many throws
    std::size_t limit_ = std::numeric_limits<std::size_t>::max();
    mutable std::size_t queued_ = 0;
    bool isStuck_ = false;
    TestMounts* mounts_ = nullptr;
    std::unique_ptr<FileWatchMonitor> monitor_;
};

TEST_F(StateTest, TellsWhatChangedWhileNobodyWatched) {
    for (const char* name : {"changed", "gone", "same"}) {
        write(name, name);
    }
    write("grown.log", "one\n");
    for (const wchar_t* name : {L"changed", L"gone", L"same"}) {
        watch(name);
    }
    follow(L"grown.log");
    monitor_->Serialize();

    write("changed", "changed by somebody");
    write("new", "new");
    write("grown.log", "one\ntwo\n");
    std::filesystem::remove(folder_.root.native("log/gone"));
    start();
    for (const wchar_t* name : {L"changed", L"new", L"same"}) {
        watch(name);
    }
    follow(L"grown.log");
    restore();
    EXPECT_EQ(takeEvents(),
              (Lines{L"Modified File changed", L"Added File new", L"Deleted File gone", L"two"}));
}

// A whole state, and what it became: by its own reader.
TEST_F(StateTest, WritesWhatTheToolReads) {
    for (const char* name : {"a.txt", "b.txt", "c.log"}) {
        write(name, "text\n");
    }
    watch(L"b.txt");
    watch(L"a.txt");
    follow(L"c.log");
    mounts_->AddMountState(path(L"a.txt"), 1);  // a list that knows no mount
    setDigests({0xAB});
    monitor_->Serialize();
    const auto saved = parseStateFile(*state());
    EXPECT_EQ(saved.signature, 0xABCE);
    EXPECT_EQ(saved.version, 12);
    EXPECT_EQ(saved.recursionLevel, 2);
    EXPECT_EQ(saved.digests, std::vector<std::string>(5, "ab" + std::string(30, '0')));
    EXPECT_TRUE(saved.mountStates.contains(1));
    ASSERT_EQ(saved.entities.size(), 3u) << "files in the order of their paths, then logs";
    EXPECT_TRUE(saved.entities[0].path.ends_with("a.txt"));
    EXPECT_TRUE(saved.entities[1].path.ends_with("b.txt"));
    EXPECT_EQ(saved.entities[2].type, 1);
    EXPECT_EQ(saved.entities[2].offset, 5);
    EXPECT_FALSE(previous());

    const auto first = state();
    monitor_->SetConfigurationPending(true);
    LogCapture log;
    monitor_->Serialize();
    EXPECT_TRUE(log.hasDebug(kInterrupted));
    const auto logsAlone = parseStateFile(*state());
    EXPECT_EQ(logsAlone.signature, 0xABCF);
    EXPECT_EQ(logsAlone.entities.size(), 1u);
    EXPECT_EQ(previous(), first);
}

TEST_F(StateTest, ReadsWhatTheToolWrites) {
    std::ifstream golden(LATHWIND_TEST_DATA "/golden/v12/FileWatch.dat", std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(golden), {}};
    ASSERT_GT(bytes.size(), kFrameBytes);
    bytes[4] = 2;  // the default recursion level here
    std::vector<Md5Digest> digests(5);
    for (std::size_t list = 0; list < digests.size(); ++list) {
        std::copy_n(bytes.begin() + 8 + static_cast<std::ptrdiff_t>(16 * list), 16,
                    digests[list].begin());
    }
    monitor_->SetDigests(std::span(digests).first(2), 0);
    monitor_->SetDigests(std::span(digests).subspan(2), 1);
    putState(bytes, "FileWatch.dat");
    EXPECT_EQ(monitor_->Deserialize(L"FileWatch.dat", *stop_), Restored);
    // Nobody watches here what was there when the file was made.
    EXPECT_EQ(takeEvents(),
              (Lines{L"Deleted File one.txt", L"Deleted File three.ini", L"Deleted File two.bin"}));
}

TEST_F(StateTest, SavesNothingOfARemovableDrive) {
    testing::FakeVolumes volumes;
    volumes.volumes[L"c:\\"].type = platform::DriveType::Removable;
    const testing::ServiceOverride<platform::Volumes> answers(platformFactory.volumes, volumes);
    write("a.txt", "a");
    watch(L"a.txt");
    monitor_->Serialize();
    EXPECT_TRUE(parseStateFile(*state()).entities.empty());

    // Nor is one of its files reported as new, or as gone.
    ParsedEntity gone;
    gone.path = "c:\\usb\\gone";
    gone.exists = 1;
    gone.volumeKind = 2;
    putState(StateFileBuilder(12).header(0xABCE, 2).entity(gone).bytes(), "FileWatch.dat");
    restore();
    EXPECT_EQ(takeEvents(), Lines());
}

TEST_F(StateTest, ResultCodes) {
    const auto header = [](std::uint16_t signature, std::uint32_t level) {
        return StateFileBuilder(12).header(signature, level).bytes();
    };
    const std::string good = header(0xABCE, 2);
    const auto changed = [&](std::size_t offset) {
        std::string bytes = good;
        bytes[offset] = '\x55';
        return bytes;
    };
    ParsedEntity entity;
    entity.path = "c:\\x";
    const std::string record = StateFileBuilder(12).entity(entity).bytes();
    const struct {
        const char* what;
        std::optional<std::string> bytes;
        RestoreResult result;
        std::wstring warning = {};  // how it begins
    } rows[] = {
        {"no file", std::nullopt, NotOpened},
        {"an empty one", "", BadState},
        {"a version cut", good.substr(0, 3), BadState},
        {"a save that never ended", header(0, 2), BadState},
        {"another first word", header(0xABCD, 2), BadState},
        {"an older version", StateFileBuilder(11).header(0xABCE, 2).bytes(), BadState},
        {"a newer version", changed(2), BadState},
        {"another recursion level", header(0xABCE, 3), FileListsChanged},
        {"another filewatch.ini", changed(8), FileListsChanged},
        {"another custfilewatch.ini", changed(39), FileListsChanged},
        {"another logwatch.ini", changed(40), LogListsChanged},
        {"another custlogwatch.ini", changed(56), LogListsChanged},
        {"another ipslogwatch.ini", changed(87), LogListsChanged},
        {"a digest cut", good.substr(0, 87), Failed, L"FWC_0004: "},
        {"mount states cut", good.substr(0, 90), Failed, L"FWC_0004: "},
        {"a record cut", good + record.substr(0, record.size() - 1), Failed, L"FWC_0005: "},
        {"a record's head cut", good + record.substr(0, 7), Restored},
        {"no record", good, Restored},
        {"a record", good + record, Restored},
        {"logs alone", header(0xABCF, 2), BadState},
        {"logs alone, of other lists", header(0xABCF, 3), FileListsChanged},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        putState(row.bytes, "FileWatch.dat");
        LogCapture log;
        EXPECT_EQ(monitor_->Deserialize(L"FileWatch.dat", *stop_), row.result);
        ASSERT_EQ(log.messages.empty(), row.warning.empty());
        if (!row.warning.empty()) {
            EXPECT_TRUE(log.messages.front().text.starts_with(row.warning));
            EXPECT_EQ(
                log.messages.back().text,
                L"FWC_0004: Unexpected error occurred while de-serializing file collector "
                L"information: Exception: Serializable::Read - Read failed at line " +
                    log.messages.back().text.substr(log.messages.back().text.rfind(L"line ") + 5));
        }
        EXPECT_EQ(log.hasDebug(kWasInterrupted), std::string_view(row.what) == "logs alone");
        EXPECT_EQ(takeEvents(), Lines());
    }
}

TEST_F(StateTest, TheTemporaryFileStandsIn) {
    const std::string good = StateFileBuilder(12).header(0xABCE, 2).bytes();
    const std::string otherFiles = StateFileBuilder(12).header(0xABCE, 3).bytes();
    std::string otherLogs = good;
    otherLogs[50] = '\x55';
    using Message = LogCapture::Message;
    const struct {
        const char* what;
        std::optional<std::string> state, previous;
        std::vector<Message> messages;
    } rows[] = {
        {"the first is good", good, std::nullopt, {}},
        {"the second is good", "", good, {}},
        {"of other lists, the second is good", otherFiles, good, {}},
        {"none",
         std::nullopt,
         std::nullopt,
         {{Severity::Warning,
           L"FWC_0027: Unable to de-serialize file collector information: "
           L"FileWatch.dat couldn't be opened"}}},
        {"both are bad",
         "",
         otherFiles,
         {{Severity::Warning,
           L"FWC_0006: Unable to retrieve last known watched file states from "
           L"FileWatch.dat"}}},
        {"other files",
         otherFiles,
         "",
         {{Severity::Status,
           L"FWC_0013: File watch criteria was changed since the last time the "
           L"agent was run; file watch history from last run will be "
           L"unavailable."}}},
        {"other logs",
         otherLogs,
         std::nullopt,
         {{Severity::Status,
           L"FWC_0014: Log watch criteria was changed since the last time the "
           L"agent was run; file watch history from last run will be "
           L"unavailable."}}},
    };
    for (const auto& row : rows) {
        putState(row.state, "FileWatch.dat");
        putState(row.previous, "FileWatch.dat.tmp");
        const LogCapture log;
        restore();
        EXPECT_EQ(log.messages, row.messages) << row.what;
    }
}

// What a kill may leave behind, and what of it must survive the next save up to its end.
TEST_F(StateTest, AKillAtAnyMomentLeavesAGoodState) {
    write("a.txt", "a");
    watch(L"a.txt");
    monitor_->Serialize();
    const std::string good = *state();
    std::string torn = good;
    torn[0] = torn[1] = '\0';
    std::string logsAlone = good.substr(0, 92);
    logsAlone[0] = '\xCF';
    std::string otherLists = good;
    otherLists[8] = '\x55';
    const std::string older = good.substr(0, 92);
    const struct {
        const char* moment;
        std::optional<std::string> state, previous;
        std::string kept;  // as the .tmp while the next save is under way
    } rows[] = {
        {"before a save", good, older, good},
        {"before the second save", good, std::nullopt, good},
        {"behind the rename", std::nullopt, good, good},
        {"behind the creation", "", good, good},
        {"while entities are written", torn.substr(0, 100), good, good},
        {"before the status word", torn, good, good},
        {"an interrupted save", logsAlone, good, good},
        {"an interrupted save of other lists", logsAlone, otherLists, logsAlone},
        {"two interrupted saves", logsAlone, logsAlone, logsAlone},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.moment);
        putState(row.state, "FileWatch.dat");
        putState(row.previous, "FileWatch.dat.tmp");
        std::optional<std::string> kept;
        mounts_->whileSaving = [&] { kept = previous(); };
        monitor_->Serialize();
        EXPECT_EQ(kept, row.kept);
        EXPECT_EQ(state(), good);
    }
}

TEST_F(StateTest, AFailedSaveClearsUp) {
    monitor_->Serialize();
    const auto good = state();
    const auto messageOf = [&](std::function<void()> failure) {
        mounts_->whileSaving = std::move(failure);
        const LogCapture log;
        monitor_->Serialize();
        return log.messages.size() == 1 ? log.messages[0].text : L"";
    };
    constexpr wchar_t kMessage[] =
        L"FWC_0002: Unexpected error occurred while serializing file collector information: ";
    EXPECT_EQ(messageOf([] { throw SerializeException(L"full", 1, L"Disk"); }),
              std::wstring(kMessage) + L"full at line 1 in file Disk");
    EXPECT_FALSE(state());
    EXPECT_EQ(previous(), good);

    EXPECT_EQ(messageOf([] { throw std::runtime_error("other"); }),
              std::wstring(kMessage) + L"Unexpected error");
    EXPECT_EQ(state()->substr(0, 2), std::string(2, '\0'));
    EXPECT_FALSE(previous());

    putState(good, "FileWatch.dat");
    putState(good, "FileWatch.dat.tmp");
    std::filesystem::permissions(folder_.root.native("bin/FileWatch.dat.tmp"),
                                 std::filesystem::perms::owner_read);
    EXPECT_EQ(messageOf({}), L"") << "somebody has made the .tmp read-only";
    EXPECT_EQ(state(), good);

    // A place that cannot be written.
    putState(std::nullopt, "FileWatch.dat");
    folder_.root.makeFolder("bin/FileWatch.dat");
    EXPECT_EQ(messageOf({}), L"");
}

// Before the restore the engine does not know yet what changed: the file that tells it stays.
TEST_F(StateTest, DoesNotSaveBeforeTheRestore) {
    write("a.txt", "a");
    watch(L"a.txt");
    monitor_->Serialize();
    const auto good = state();
    write("a.txt", "changed");
    for (const bool isCut : {false, true}) {
        start();
        watch(L"a.txt");
        monitor_->EnQueueDeserialize();
        EXPECT_TRUE(monitor_->IsConfigurationPending());
        if (isCut) {
            write("new", "");
            watch(L"new");
            stop_->set();
            isStuck_ = true;
            limit_ = 1;
            restore();
            EXPECT_EQ(takeEvents(), Lines{L"Modified File a.txt"});
            limit_ = 9;
            stop_->reset();
        }
        monitor_->Serialize();
        EXPECT_EQ(state(), good) << isCut;
        EXPECT_FALSE(previous());
    }
    restore();
    EXPECT_EQ(takeEvents().front(), L"Modified File a.txt");
    monitor_->Serialize();
    EXPECT_NE(state(), good);
}

// More changes than the store holds: the consumer gets the time to take them.
TEST_F(StateTest, ARestoreWaitsForRoom) {
    folder_.root.write("system/LocalAgent.ini",
                       "[Event Management]\nFile Collector Events Limit=100\n");
    const AgentInfoRef settings;
    settings->reload();
    limit_ = 100;
    std::string lines;
    for (int i = 0; i < 70; ++i) {
        write("gone" + std::to_string(i), "");
        watch(L"gone" + std::to_wstring(i));
        lines += "line\n";
    }
    for (const char* name : {"a.log", "b.log"}) {
        write(name, "line\n");
        follow(widen(name));
    }
    monitor_->Serialize();
    start();
    for (int i = 0; i < 70; ++i) {
        std::filesystem::remove(folder_.root.native("log/gone" + std::to_string(i)));
        write("new" + std::to_string(i), "");
        watch(L"new" + std::to_wstring(i));
    }
    for (const char* name : {"a.log", "b.log"}) {
        write(name, "line\n" + lines);
        follow(widen(name));
    }
    restore();
    EXPECT_EQ(takeEvents().size(), 4u * 70);
}

TEST_F(StateTest, AnExceptionAmongComparisonsTellsNothingTwice) {
    for (const char* name : {"a", "b", "gone"}) {
        write(name, "1");
        watch(widen(name));
    }
    monitor_->Serialize();
    monitor_->Serialize();  // the .tmp is the same
    write("a", "22");
    write("b", "22");
    std::filesystem::remove(folder_.root.native("log/gone"));
    for (const int event : {1, 2, 3}) {
        start();
        watch(L"a");
        watch(L"b");
        eventsToThrow_ = event;
        restore();
        EXPECT_EQ(takeEvents(),
                  (Lines{L"Modified File a", L"Modified File b", L"Deleted File gone"}))
            << event;
    }
}

TEST_F(StateTest, AnInterruptedStateKeepsThePlacesOfLogs) {
    write("x.log", "one\n");
    write("y.log", "one\n");
    follow(L"x.log");
    follow(L"y.log");
    monitor_->Serialize();
    const auto older = state();
    write("x.log", "one\ntwo\n");
    start();
    follow(L"x.log");
    monitor_->SetConfigurationPending(true);
    monitor_->Serialize();
    putState(older, "FileWatch.dat.tmp");
    write("x.log", "one\ntwo\nthree\n");
    write("y.log", "one\ntwo\n");
    start();
    follow(L"x.log");
    follow(L"y.log");
    LogCapture log;
    restore();
    EXPECT_EQ(takeEvents(), (Lines{L"three", L"two"})) << "no line twice, and none missing";
    EXPECT_TRUE(log.hasDebug(kWasInterrupted));
    EXPECT_TRUE(log.hasDebug(L"Setting the File Offset to 8 on file: " + path(L"x.log")));
    EXPECT_TRUE(log.messages.empty());
}

// A volume that came or went is told once for each entry, and its files are neither new nor gone.
TEST_F(StateTest, TellsOfVolumesInPlaceOfTheirFiles) {
    for (const char* name : {"one", "two"}) {
        write(name, name);
    }
    watch(L"*");
    monitor_->Serialize();
    start();
    watch(L"*");
    mounts_->mount(L"c:\\");
    mounts_->AddMountState(L"x:\\", 1);  // a list, so that there is somebody to know
    restore();
    EXPECT_EQ(takeEvents(), Lines{L"Mount File *"});

    std::string gone = StateFileBuilder(12).header(0xABCE, 2).bytes();
    gone.resize(gone.size() - 4);
    StateFileBuilder rest(12);
    rest.number(1, 4).number(1, 4).number(1, 4).text("d:\\");
    for (const char* name : {"d:\\one", "d:\\two"}) {
        ParsedEntity entity;
        entity.path = name;
        entity.exists = entity.volumeKind = 1;
        rest.entity(entity);
    }
    putState(gone + rest.bytes(), "FileWatch.dat");
    start();
    monitor_->AddFile(L"d:\\*", {}, *stop_);
    restore();
    EXPECT_EQ(takeEvents(), Lines{L"Unmount File *"});
}

// With the filter, nobody looks at the volumes before the restore.
TEST_F(StateTest, TakesNoVolumeForGoneOrNewThatNobodyHasLookedAt) {
    for (const bool isKnown : {false, true}) {
        start();
        write("a.txt", "1");
        watch(L"a.txt");
        if (isKnown) {
            mounts_->mount(L"c:\\");
            mounts_->AddMountState(L"c:\\", 1);
        }
        monitor_->Serialize();
        write("a.txt", "22");
        start();
        watch(L"a.txt");
        mounts_->unseen = L"c:\\";
        restore();
        EXPECT_EQ(takeEvents(), Lines{L"Modified File a.txt"}) << isKnown;
    }
}

TEST_F(StateTest, KeepsTheFirstOfTwoRecords) {
    write("a.txt", "12345");
    watch(L"a.txt");
    monitor_->Serialize();
    const std::string once = *state();
    const std::string record = once.substr(92);
    ParsedEntity other = parseStateFile(once).entities.front();
    other.size = 77;
    const auto restored = [&](const std::string& records) {
        putState(once.substr(0, 92) + records, "FileWatch.dat");
        LogCapture log;
        restore();
        EXPECT_TRUE(log.hasDebug(L"Deserialize duplicate WatchedEntities: " + path(L"a.txt")));
        return takeEvents();
    };
    const std::string otherRecord = StateFileBuilder(12).entity(other).bytes();
    EXPECT_EQ(restored(record + otherRecord), Lines());
    EXPECT_EQ(restored(otherRecord + record), Lines{L"Modified File a.txt"});
}

}  // namespace
}  // namespace lathwind
