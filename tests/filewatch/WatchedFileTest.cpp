#include <functional>
#include <gtest/gtest.h>
#include <sstream>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/FileWatchParams.h"
#include "filewatch/WatchedFile.h"
#include "plugins/DiffFilter.h"
#include "plugins/DiffModule.h"
#include "plugins/FileDiff.h"
#include "plugins/FileDiffState.h"
#include "support/FakeFiles.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/StateFileBuilder.h"
#include "support/TempDir.h"
#include "utils/Digests.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using lathwind::testing::LogCapture;
using lathwind::testing::ParsedEntity;
using lathwind::testing::StateFileBuilder;
using lathwind::testing::TempDir;

// "old>new", or nothing where `isSilent`.
class FakeFilter : public DiffFilter {
public:
    std::wstring run(void*&, const ByteArray& previous, const ByteArray& current) const override {
        const auto text = [](const ByteArray& bytes) {
            return std::wstring(bytes.GetData(), bytes.GetData() + bytes.GetLength());
        };
        return isSilent ? std::wstring() : text(previous).append(L"\xFFDC>").append(text(current));
    }
    void release(void*) const override {}

    bool isSilent = false;
};

template <class Module>
class InUse : public Module {
public:
    InUse() { setDiffModule(this); }
    ~InUse() override { setDiffModule(nullptr); }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;
};

// Covers "*.txt".
class FakeModule : public DiffModule {
public:
    bool lookup(const std::wstring& path, FileDiffState& state) override {
        const bool covered = path.ends_with(L".txt");
        state.setFilter(covered ? L"txt" : L"", covered ? &filter : nullptr);
        return covered;
    }
    bool isText(const std::wstring&, FileDiffState& state) override {
        whenAsked();
        state.isBinary = isBinary;
        return !isBinary;
    }

    FakeFilter filter;
    bool isBinary = false;
    std::function<void()> whenAsked = [] {};
};
using FakeDiff = InUse<FakeModule>;

std::string contentsOf(const WatchedFile& file) {
    const FileDiffState* state = file.GetDiffState();
    if (state == nullptr || !state->holdsContents()) {
        return "none";
    }
    const ByteArray& bytes = *state->contents;
    return bytes.GetData() == nullptr
               ? std::string()
               : std::string(bytes.GetData(), bytes.GetData() + bytes.GetLength());
}

std::wstring sha256Of(std::string_view bytes) {
    WatchedEntity::Digest digest{};
    HashBufferSha256(bytes.data(), bytes.size(), digest.data());
    return Sha256ToHex(digest.data());
}

class WatchedFileTest : public ::testing::Test {
protected:
    std::wstring path() const { return toLower(folder_.path(L"one.txt")); }
    // The one event of a hint at a change, or null.
    std::unique_ptr<IDSEvent> modified(WatchedFile& file,
                                       FileAction action = FileAction::Modified) {
        EventList events;
        const std::size_t count =
            file.ProcessNotification(events, FileNotificationInfo(path(), action, 1));
        EXPECT_EQ(count, events.size());
        return events.empty() ? nullptr : std::move(events.front());
    }
    std::unique_ptr<IDSEvent> sinceLastRun(WatchedFile& live, const WatchedFile& saved) {
        EventList events;
        live.CompareWithSaved(events, saved, {});
        return events.empty() ? nullptr : std::move(events.front());
    }
    TempDir folder_;
};

TEST_F(WatchedFileTest, InitializeHashesOnlyWhereAsked) {
    folder_.write("one.txt", "contents");
    FileWatchParams params;
    params.label = L"list";
    params.monitorAccessTime = true;
    WatchedFile plain(path(), &params, {});
    EXPECT_EQ(plain.GetLabel(), L"list");
    EXPECT_TRUE(plain.IsAccessTimeMonitored());
    EXPECT_FALSE(plain.IsChecksumEnabled());
    EXPECT_TRUE(plain.InitializeEntity(false));
    EXPECT_TRUE(Sha256IsZero(plain.GetDigest().data()));

    params.checksum = true;
    WatchedFile hashed(path(), &params, {});
    EXPECT_TRUE(hashed.InitializeEntity(true));
    EXPECT_EQ(Sha256ToHex(hashed.GetDigest().data()), sha256Of("contents"));
    EXPECT_EQ(hashed.GetAttributes().GetSize(), 0u);

    std::filesystem::remove(folder_.native("one.txt"));
    EXPECT_TRUE(hashed.InitializeEntity(false));
    EXPECT_TRUE(Sha256IsZero(hashed.GetDigest().data()));

    WatchedFile unnamed({}, &params, {});
    EXPECT_FALSE(unnamed.InitializeEntity(false));
    EXPECT_FALSE(unnamed.UpdateEntity(true));
}

TEST_F(WatchedFileTest, FoldersAreNeverHashed) {
    folder_.makeFolder("one.txt");
    WatchedFile entity(path(), nullptr, {});
    EXPECT_TRUE(entity.UpdateEntity(true));
    EXPECT_TRUE(Sha256IsZero(entity.GetDigest().data()));
}

TEST_F(WatchedFileTest, AnUpgradeReplacesTheDigestAndKeepsTheContents) {
    folder_.write("one.txt", "contents");
    ParsedEntity record;
    record.path = utf8FromUtf16(path());
    record.exists = 1;
    record.digest = std::string(32, 'b');
    record.diffKey = "txt";
    record.contents = "6f6c640a";
    std::istringstream stream(StateFileBuilder(5).entity(record).bytes());
    const auto entity = WatchedEntity::ReadEntityOfVersion(stream, 5);
    ASSERT_TRUE(entity->UpdateEntity(true));
    EXPECT_EQ(Sha256ToHex(entity->GetDigest().data()), sha256Of("contents"));
    EXPECT_EQ(contentsOf(static_cast<WatchedFile&>(*entity)), "old\n");
    ASSERT_TRUE(entity->UpdateEntity(false));
    EXPECT_EQ(Sha256ToHex(entity->GetDigest().data()), sha256Of("contents"));
}

TEST_F(WatchedFileTest, PrepareDiffTakesTheContents) {
    folder_.write("one.txt", "old\n");
    WatchedFile file(path(), nullptr, {});
    EXPECT_TRUE(file.PrepareDiff());
    EXPECT_EQ(file.GetDiffState(), nullptr) << "no rules, nothing asked";

    FakeDiff module;
    module.isBinary = true;
    {
        const LogCapture log;
        EXPECT_TRUE(file.PrepareDiff());
        EXPECT_EQ(contentsOf(file), "none");
        EXPECT_TRUE(log.hasDebug(L"Disabling DIFF for binary file " + path()));
    }
    module.isBinary = false;
    EXPECT_TRUE(file.PrepareDiff());
    EXPECT_EQ(contentsOf(file), "none") << "a file found binary stays without a diff";

    WatchedFile text(path(), nullptr, {});
    EXPECT_TRUE(text.PrepareDiff());
    EXPECT_EQ(contentsOf(text), "old\n");
    EXPECT_EQ(text.GetDiffType(), L"txt");
    EXPECT_EQ(text.GetMemorySize(), 76u);
    EXPECT_EQ(contentsOf(WatchedFile(text)), "old\n");

    folder_.write("two.bin", "x");
    WatchedFile uncovered(folder_.path(L"two.bin"), nullptr, {});
    EXPECT_TRUE(uncovered.PrepareDiff());
    EXPECT_EQ(contentsOf(uncovered), "none");
}

TEST_F(WatchedFileTest, AFileThatIsTooBigWarnsOnce) {
    const FakeDiff module;
    const LogCapture log;
    folder_.write("one.txt", std::string(100 * 1024, 'x'));  // the limit itself: 100 KiB
    WatchedFile file(path(), nullptr, {});
    file.PrepareDiff();
    file.PrepareDiff();
    EXPECT_EQ(contentsOf(file), "none");
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].severity, Severity::Warning);
    EXPECT_EQ(log.messages[0].text,
              L"FWC_0023:  File too big to perform diff (100 Kb > 100 Kb limit): " + path());

    folder_.write("one.txt", std::string(100 * 1024 - 1, 'x'));
    EXPECT_TRUE(file.InitializeEntity(false));
    EXPECT_EQ(contentsOf(file).size(), 100u * 1024 - 1);
    folder_.write("one.txt", std::string(101 * 1024, 'x'));
    EXPECT_TRUE(file.InitializeEntity(false));
    EXPECT_EQ(log.messages.size(), 2u);
    EXPECT_EQ(file.GetMemorySize(), 72u) << "contents of a file above the limit are not charged";
}

// The length of saved contents comes from the file and may be anything.
TEST_F(WatchedFileTest, ContentsLengths) {
    ParsedEntity record;
    record.path = "c:\\no such folder\\one.txt";
    record.diffKey = "txt";
    const std::string whole = StateFileBuilder(12).entity(record).bytes();
    const std::string front = whole.substr(0, whole.size() - 4);
    struct Case {
        std::int64_t length;
        std::size_t present;
        bool throws;
    };
    const Case cases[] = {
        {0, 0, false}, {-1, 0, false},           {-2147483648LL, 8, false}, {3, 3, false},
        {3, 2, true},  {2147483647, 1000, true}, {600000, 600000, false},   {600000, 599999, true},
    };
    for (const Case& c : cases) {
        StateFileBuilder length(12);
        length.number(c.length, 4);
        std::istringstream stream(front + length.bytes() + std::string(c.present, 'z'));
        if (c.throws) {
            EXPECT_THROW(WatchedEntity::ReadEntityOfVersion(stream, 12), SerializeException);
            continue;
        }
        const auto entity = WatchedEntity::ReadEntityOfVersion(stream, 12);
        const std::size_t kept = c.length > 0 ? c.present : 0;
        EXPECT_EQ(contentsOf(static_cast<WatchedFile&>(*entity)), std::string(kept, 'z'));
        std::ostringstream out;
        entity->WriteEntity(out);
        EXPECT_EQ(out.str().size(), front.size() + 4 + kept);
    }
}

TEST_F(WatchedFileTest, EqualityIsLastActionAndSnapshot) {
    ParsedEntity record;
    record.path = "c:\\no such folder\\one.txt";
    record.lastAction = 2;
    const auto read = [](const ParsedEntity& parsed) {
        std::istringstream stream(StateFileBuilder(12).entity(parsed).bytes());
        return WatchedEntity::ReadEntityOfVersion(stream, 12);
    };
    const auto first = read(record);
    const auto equals = [&](const ParsedEntity& other) {
        return static_cast<WatchedFile&>(*first).Equals(static_cast<WatchedFile&>(*read(other)));
    };
    ParsedEntity other = record;
    other.digest = "ff";
    EXPECT_TRUE(equals(other));
    other.lastAction = 3;
    EXPECT_FALSE(equals(other));
    other = record;
    other.accessTime = 1;
    EXPECT_FALSE(equals(other));
}

std::wstring detailsOf(const IDSEvent& event) {
    return event.GetField(eventField::BinaryData);
}

std::wstring digestLines(const std::wstring& previous, const std::wstring& current) {
    std::wstring text = L"SHA-256 checksum changed.\n";
    text += previous.empty() ? L"" : L"Old Hash: " + previous + L"\n";
    return text.append(L"New Hash: ").append(current).append(L"\n\n");
}

// Real contents under facts that the test writes down: systems differ in what a write moves.
class SteadyFiles : public testing::FakeFiles {
public:
    std::FILE* openStream(const std::wstring& path, const std::wstring& mode,
                          platform::Sharing sharing) override {
        if (const auto object = objects.find(path); stampsReads && object != objects.end()) {
            ++object->second.facts.accessTime;
        }
        return opens ? real_.openStream(path, mode, sharing) : nullptr;
    }
    bool opens = true;
    bool stampsReads = false;

private:
    platform::Files& real_ = platform::files();
};

class WatchedFileDigests : public WatchedFileTest {
protected:
    WatchedFileDigests() {
        params_.checksum = true;
        rewrite("contents");
    }
    void rewrite(std::string_view bytes, std::uint64_t modifiedTime = 1) {
        folder_.write("one.txt", bytes);
        files_.objects[path()].facts = {0, 1, 1, modifiedTime, bytes.size()};
    }
    WatchedFile make() const {
        WatchedFile file(path(), &params_, {});
        file.InitializeEntity(false);
        return file;
    }

    FileWatchParams params_;
    SteadyFiles files_;
    testing::ServiceOverride<platform::Files> answers_{platformFactory.files, files_};
    LogCapture log_;
};

TEST_F(WatchedFileDigests, OfANotification) {
    WatchedFile file = make();
    EXPECT_EQ(detailsOf(*modified(file, FileAction::Added)), digestLines({}, sha256Of("contents")));
    rewrite("stnetnoc");
    EXPECT_EQ(modified(file), nullptr) << "nothing but the digest would tell";
    rewrite("changed!!");
    const auto changed = modified(file);
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(detailsOf(*changed), digestLines(sha256Of("contents"), sha256Of("changed!!")));
    EXPECT_EQ(changed->GetEventText().find(L"Hash"), std::wstring::npos);
    EXPECT_TRUE(log_.hasDebug(L"SHA2 processed for: " + path()));
    EXPECT_TRUE(log_.hasDebug(L"Checksums changed for file: " + path()));
    rewrite("changed!!", 2);
    EXPECT_EQ(detailsOf(*modified(file)), L"") << "the same contents at another time";

    const std::wstring none(64, L'0');
    files_.opens = false;
    rewrite("unseen");
    EXPECT_EQ(detailsOf(*modified(file)), digestLines(sha256Of("changed!!"), none));
    EXPECT_TRUE(log_.hasDebug(L"SHA2 calculation failed for: " + path()));
    files_.opens = true;
    rewrite("seen");
    EXPECT_EQ(detailsOf(*modified(file)), digestLines(none, sha256Of("seen")));

    // Found by an access to have come back: its digest is that of what is there now.
    files_.objects.clear();
    EXPECT_NE(modified(file, FileAction::Deleted), nullptr);
    rewrite("back");
    EXPECT_EQ(detailsOf(*modified(file, FileAction::Accessed)), digestLines({}, sha256Of("back")));
}

TEST_F(WatchedFileDigests, SinceTheLastRun) {
    const WatchedFile saved = make();
    const auto start = [&] {
        WatchedFile live = make();
        return sinceLastRun(live, saved);
    };
    EXPECT_EQ(start(), nullptr);
    rewrite("contents", 2);
    EXPECT_EQ(start(), nullptr) << "another time and the same contents";
    rewrite("stnetnoc", 2);
    const auto changed = start();
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(detailsOf(*changed), digestLines(sha256Of("contents"), sha256Of("stnetnoc")));
    EXPECT_TRUE(changed->GetEventText().ends_with(L"Name: " + path() + L"\n"));
    EXPECT_EQ(changed->GetValues()[2], L"M");
    EXPECT_TRUE(log_.hasDebug(L"Checksums changed for file: " + path()));

    files_.objects.clear();
    files_.opens = false;
    EXPECT_EQ(start()->GetValues()[2], L"M") << "another digest counts for more than the absence";
    const WatchedFile absent = make();
    files_.opens = true;
    rewrite("contents");
    WatchedFile live = make();
    const auto appeared = sinceLastRun(live, absent);
    EXPECT_NE(appeared->GetEventText().find(L"Action: Modified"), std::wstring::npos);
    EXPECT_EQ(appeared->GetValues()[2], L"C");
    EXPECT_EQ(live.GetLastAction(), static_cast<std::int32_t>(FileAction::Added));
}

TEST_F(WatchedFileDigests, ReadsOfOurOwnAreNoAccess) {
    FakeDiff module;
    module.whenAsked = [this] { ++files_.objects[path()].facts.accessTime; };
    files_.stampsReads = true;
    params_.monitorAccessTime = true;
    for (const int what : {0, 1, 2, 3}) {
        params_.checksum = (what & 1) != 0;
        module.isBinary = (what & 2) != 0;
        rewrite("contents");
        WatchedFile file = make();
        EXPECT_EQ(modified(file), nullptr) << what;
        rewrite("changed!!");
        EXPECT_NE(modified(file), nullptr) << what;
        EXPECT_EQ(modified(file), nullptr) << what;
    }
}

// The next diff is to span what changed while nobody looked.
TEST_F(WatchedFileDigests, AQuietStartKeepsTheContentsOfTheLastRun) {
    const FakeDiff module;
    params_ = {};
    const WatchedFile saved = make();
    rewrite("stnetnoc", 2);
    WatchedFile live = make();
    files_.objects[path()].facts.accessTime = 5;
    EXPECT_EQ(sinceLastRun(live, saved), nullptr);
    EXPECT_EQ(contentsOf(live), "contents");
    EXPECT_TRUE(live.GetAttributes().Equals(make().GetAttributes())) << "the access is seen";
}

TEST_F(WatchedFileDigests, AFileThatGrowsUnderItsDiffIsNotRead) {
    FakeDiff module;
    module.whenAsked = [this] { folder_.write("one.txt", std::string(100 * 1024, 'x')); };
    EXPECT_EQ(contentsOf(make()).substr(0, 8), "none");
}

TEST_F(WatchedFileTest, Diffs) {
    FakeDiff module;
    const LogCapture log;
    folder_.write("one.txt", "old");
    WatchedFile file(path(), nullptr, {});
    file.InitializeEntity(false);
    folder_.write("one.txt", "newer");
    const auto changed = modified(file);
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(detailsOf(*changed), L"old...>newer");
    EXPECT_TRUE(changed->GetEventText().ends_with(L"(Contents Changed)\nold...>newer"));
    EXPECT_EQ(contentsOf(file), "newer");

    module.filter.isSilent = true;
    folder_.write("one.txt", "newest");
    EXPECT_EQ(modified(file)->GetEventText().find(L"Contents"), std::wstring::npos);
    EXPECT_EQ(contentsOf(file), "newest");

    for (const std::size_t kilobytes : {100u, 101u, 102u}) {
        folder_.write("one.txt", std::string(kilobytes * 1024, 'x'));
        EXPECT_EQ(detailsOf(*modified(file)), L"");
        EXPECT_EQ(contentsOf(file), "none");
    }
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].text,
              L"FWC_0023:  File too big to perform diff (100 Kb > 100 Kb limit): " + path());
    EXPECT_FALSE(file.GetDiffState()->hasFilter());
}

// The same change seen by a running agent, and by one that comes back to its record of the file.
TEST_F(WatchedFileTest, DiffsByTheRules) {
    InUse<FileDiff> module;
    module.configure({{L"*.txt", L"txt"}, {L"*.ini", L"ini"}});
    const struct {
        std::string name, before, now;
        std::wstring difference;
    } rows[] = {
        {"one.txt", "a\nb\n", "a\nB\nc\n", L"2c2,3\n< b\n---\n> B\n> c\n"},
        {"one.ini", "[s]\nk=1\n", "[s]\nk=22\n", L"Modified Key:\n[s]\nk=22 (< 1)\n"},
    };
    for (const auto& row : rows) {
        const std::wstring name = toLower(folder_.path(utf16FromUtf8(row.name)));
        folder_.write(row.name, row.before);
        WatchedFile file(name, nullptr, {});
        file.InitializeEntity(false);
        const std::string header = StateFileBuilder(12).header().bytes();
        std::stringstream state(header, std::ios::in | std::ios::out | std::ios::ate);
        file.WriteEntity(state);
        folder_.write(row.name, row.now);
        EventList events;
        file.ProcessNotification(events, FileNotificationInfo(name, FileAction::Modified, 1));

        WatchedFile live(name, nullptr, {});
        live.InitializeEntity(false);
        state.seekg(static_cast<std::streamoff>(header.size()));
        const auto saved = WatchedEntity::ReadEntity(state);
        EXPECT_EQ(contentsOf(static_cast<WatchedFile&>(*saved)), row.before);
        live.CompareWithSaved(events, *saved, {});
        EXPECT_EQ(contentsOf(live), row.now);
        ASSERT_EQ(events.size(), 2u);
        for (const auto& event : events) {
            EXPECT_TRUE(event->GetEventText().ends_with(L"(Contents Changed)\n" + row.difference));
            EXPECT_EQ(detailsOf(*event), row.difference);
        }
    }
}

}  // namespace
}  // namespace lathwind
