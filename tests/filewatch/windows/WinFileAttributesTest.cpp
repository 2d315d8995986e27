#include <gtest/gtest.h>
#include <sstream>

#include "filewatch/windows/WinFileAttributes.h"
#include "support/Bytes.h"
#include "support/FakeFiles.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "utils/DateTime.h"

namespace lathwind {
namespace {

using platform::ErrorCode;
using testing::backupStream;
using testing::Bytes;
using testing::eaEntry;
using testing::FakeFile;
using testing::LogCapture;
namespace error = platform::error;
using Lines = std::vector<std::wstring>;

constexpr FileTime kCreated = 132356672496662823;
constexpr FileTime kAccessed = kCreated + 1;
constexpr FileTime kModified = 0xFEDCBA9876543210u;
const std::wstring kAcl = L"O:S-1-5-18G:S-1-5-32-544D:PAI(A;;FA;;;SY)(A;;0x1200a9;;;BU)";
const std::wstring kMarker(kNoPreviousData);

// The record as a file of that version holds it. `volumeKind` is what ReadObject reads always.
Bytes record(std::uint16_t version, bool volumeKind) {
    Bytes bytes;
    bytes.string(L"c:\\a.txt").u8(1).u64(0x123456789A);
    if (volumeKind) {
        bytes.u32(3);
    }
    bytes.u32(0x20).u64(kCreated).u64(kAccessed).u64(kModified).u32(3);
    if (version >= 6) {
        bytes.string(L"S-1-5-18").string(L"S-1-5-32-544");
    }
    if (version >= 8) {
        bytes.u32(2).string(L"A").string(L"").string(L"K").string(L"val");
        bytes.u32(1).string(L":s:$DATA").u32(9);
    }
    if (version == 9) {
        bytes.string(kAcl);
    } else if (version >= 10) {
        bytes.u32(5).string(L"O:S-1-5-18").string(L"G:S-1-5-32-544").string(L"D:PAI");
        bytes.string(L"(A;;FA;;;SY)").string(L"(A;;0x1200a9;;;BU)");
    }
    return bytes;
}

WinFileAttributes readVersion(const std::string& bytes, std::uint16_t version) {
    std::istringstream stream(bytes);
    WinFileAttributes snapshot(L"");
    snapshot.ReadObjectOfVersion(stream, version);
    EXPECT_EQ(stream.tellg(), std::streampos(static_cast<std::streamoff>(bytes.size())));
    return snapshot;
}

std::string written(WinFileAttributes& snapshot) {
    std::ostringstream stream;
    snapshot.WriteObject(stream);
    return stream.str();
}

void expectVersioned(WinFileAttributes& snapshot, std::uint16_t version) {
    SCOPED_TRACE(version);
    EXPECT_EQ(snapshot.GetPath(), L"c:\\a.txt");
    EXPECT_TRUE(snapshot.Exists());
    EXPECT_EQ(snapshot.GetSize(), 0x123456789Au);
    EXPECT_EQ(snapshot.GetRawAttributes(), 0x20u);
    EXPECT_EQ(snapshot.GetCreationFileTime(), kCreated);
    EXPECT_EQ(snapshot.GetAccessFileTime(), kAccessed);
    EXPECT_EQ(snapshot.GetModifiedFileTime(), kModified);
    EXPECT_EQ(snapshot.GetExtraLinkCount(), 2u);
    EXPECT_EQ(snapshot.GetOwner(), version >= 6 ? L"S-1-5-18" : kMarker);
    EXPECT_EQ(snapshot.GetPrimaryGroup(), version >= 6 ? L"S-1-5-32-544" : kMarker);
    EXPECT_EQ(snapshot.GetExtendedAttributes().size(), version >= 8 ? 2u : 0u);
    EXPECT_EQ(snapshot.GetExtendedAttribute(L"K"), version >= 8 ? L"val" : L"");
    EXPECT_EQ(snapshot.GetAlternateStreamSize(L":s:$DATA"),
              version >= 8 ? 9u : WinFileAttributes::kNoStream);
    EXPECT_EQ(snapshot.GetAcl(), version >= 9 ? kAcl : L"");
}

constexpr std::uint16_t kVersions[] = {0, 1, 2, 5, 6, 7, 8, 9, 10, 11, 12, 13, 0xFFFF};

// Every version comes in and the newest layout goes out; what came in that goes out unchanged.
TEST(WinFileAttributesRecord, ReadsEveryVersionAndWritesTheNewest) {
    WinFileAttributes newest = readVersion(record(12, true).str(), 12);
    EXPECT_EQ(written(newest), record(12, true).str());
    for (const std::uint16_t version : kVersions) {
        WinFileAttributes old = readVersion(record(version, version >= 9).str(), version);
        expectVersioned(old, version);
        WinFileAttributes again = readVersion(written(old), 12);
        EXPECT_TRUE(again.Equals(old)) << version;
    }
    WinFileAttributes empty(L"");
    const std::string bytes = written(empty);
    EXPECT_EQ(bytes, Bytes().padTo(4 + 13 + 32 + 4 + 4 + 4 + 4 + 4).str());
    EXPECT_TRUE(readVersion(bytes, 12).Equals(empty));
}

TEST(WinFileAttributesRecord, CutRecordsThrow) {
    for (const std::uint16_t version : std::initializer_list<std::uint16_t>{2, 6, 8, 9, 12}) {
        const std::string whole = record(version, version >= 9).str();
        for (std::size_t size = 0; size < whole.size(); ++size) {
            std::istringstream stream(whole.substr(0, size));
            WinFileAttributes snapshot(L"");
            EXPECT_THROW(snapshot.ReadObjectOfVersion(stream, version), SerializeException)
                << version << " cut at " << size;
        }
    }
}

TEST(WinFileAttributesRecord, HostileCountsEndWithTheRead) {
    const std::string head = record(6, true).str();
    struct Row {
        const char* what;
        std::string tail;
        std::wstring_view message;
    } rows[] = {
        {"attributes", Bytes().u32(0xFFFFFFFF).str(), L"Serializable::Read - Read failed"},
        {"streams", Bytes().u32(0).u32(0xFFFFFFFF).str(), L"Serializable::Read - Read failed"},
        {"list items", Bytes().u32(0).u32(0).u32(1001).padTo(100000).str(),
         L"Exception: Size of string list exceeds serialization sanity check"},
        {"a string", Bytes().u32(1).u32(2049).padTo(100000).str(),
         L"Serializable::ReadTString - String size exceeds sanity check"},
    };
    for (const Row& row : rows) {
        std::istringstream stream(head + row.tail);
        WinFileAttributes snapshot(L"");
        try {
            snapshot.ReadObjectOfVersion(stream, 12);
            ADD_FAILURE() << row.what;
        } catch (const SerializeException& exception) {
            EXPECT_NE(exception.message.find(row.message), std::wstring::npos) << row.what;
        }
    }
    std::istringstream many(head + Bytes().u32(0).u32(0).u32(1000).padTo(12 + 4000).str());
    WinFileAttributes snapshot(L"");
    EXPECT_NO_THROW(snapshot.ReadObjectOfVersion(many, 12));
}

// ReadObject takes the version from the head of the stream, wherever the record lies.
TEST(WinFileAttributesRecord, FindsItsVersion) {
    struct Row {
        std::uint16_t magic;
        std::uint16_t version;
        std::uint16_t layout;
    } rows[] = {
        {0xABCE, 12, 12}, {0xABCF, 12, 12}, {0xABCE, 10, 10}, {0xABCE, 9, 9},
        {0xABCE, 8, 8},   {0xABCF, 6, 6},   {0xABCE, 2, 2},   {0x0000, 12, 6},
    };
    for (const Row& row : rows) {
        const std::string bytes = Bytes().u16(row.magic).u16(row.version).raw("between").str() +
                                  record(row.layout, true).str();
        std::istringstream stream(bytes);
        stream.seekg(11);
        WinFileAttributes snapshot(L"");
        snapshot.ReadObject(stream);
        expectVersioned(snapshot, row.layout);
        EXPECT_EQ(stream.tellg(), std::streampos(static_cast<std::streamoff>(bytes.size())));
    }
}

TEST(WinFileAttributesText, LinesRoundTrip) {
    WinFileAttributes snapshot = readVersion(record(12, true).str(), 12);
    std::wostringstream out;
    ASSERT_TRUE(snapshot.WriteText(out));
    const std::wstring text = out.str();
    EXPECT_EQ(text,
              L"c:\\a.txt\r\n1\r\n78187493530\r\n3\r\n32\r\n30816689\r\n1070659879\r\n"
              L"30816689\r\n1070659880\r\n4275878552\r\n1985229328\r\n3\r\n"
              L"S-1-5-18\r\nS-1-5-32-544\r\n2\r\nA\r\n\r\nK\r\nval\r\n1\r\n:s:$DATA\r\n9\r\n" +
                  kAcl + L"\r\n");
    std::wistringstream in(text);
    WinFileAttributes read(L"");
    ASSERT_TRUE(read.ReadText(in));
    expectVersioned(read, 12);
    EXPECT_EQ(written(read), written(snapshot));
}

TEST(WinFileAttributesText, DamagedLinesLeaveTheSnapshot) {
    WinFileAttributes snapshot = readVersion(record(12, true).str(), 12);
    std::wostringstream out;
    ASSERT_TRUE(snapshot.WriteText(out));
    const std::wstring text = out.str();
    for (std::size_t line = 0; line < text.size(); line = text.find(L'\n', line) + 1) {
        std::wistringstream in(text.substr(0, line));
        WinFileAttributes read(L"old");
        EXPECT_FALSE(read.ReadText(in)) << line;
        EXPECT_EQ(read.GetPath(), L"old");
    }
    for (const wchar_t* size : {L"", L"x", L"-1", L"1 2", L"18446744073709551616"}) {
        std::wistringstream in(L"p\r\n1\r\n" + std::wstring(size) + L"\r\n0\r\n");
        EXPECT_FALSE(WinFileAttributes(L"").ReadText(in)) << ::testing::PrintToString(size);
    }
    // Only "1" says that the file exists.
    std::wstring other = text;
    other.replace(other.find(L"\r\n1\r\n"), 5, L" \t\r\n01\r\n");
    std::wistringstream in(other);
    WinFileAttributes read(L"");
    EXPECT_TRUE(read.ReadText(in));
    EXPECT_FALSE(read.Exists());
    EXPECT_EQ(read.GetPath(), L"c:\\a.txt");
    std::wostringstream closed;
    closed.setstate(std::ios::badbit);
    EXPECT_FALSE(snapshot.WriteText(closed));
}

WinFileAttributes withAcl(const std::wstring& acl) {
    Bytes bytes;
    bytes.u32(0).padTo(4 + 13 + 32 + 8 + 8);
    return readVersion(bytes.string(acl).str(), 9);
}

TEST(WinFileAttributes, SplitAclTable) {
    struct Row {
        std::wstring acl;
        std::list<std::wstring> pieces;
    } rows[] = {
        {L"", {}},
        {kAcl,
         {L"O:S-1-5-18", L"G:S-1-5-32-544", L"D:PAI", L"(A;;FA;;;SY)", L"(A;;0x1200a9;;;BU)"}},
        {L"O:BAG:SYD:NO_ACCESS_CONTROL", {L"O:BA", L"G:SY", L"D:NO_ACCESS_CONTROL"}},
        {L"G:SY", {L"", L"G:SY"}},
        {L"D:(A;;FA;;;SY)S:(ML;;NW;;;LW)", {L"", L"D:", L"(A;;FA;;;SY)S:", L"(ML;;NW;;;LW)"}},
        {L"O:BA", {L"O:BA"}},
        {L"((((", {L"((", L"(("}},
    };
    for (const Row& row : rows) {
        const WinFileAttributes snapshot = withAcl(row.acl);
        std::list<std::wstring> pieces;
        snapshot.SplitAcl(pieces);
        EXPECT_EQ(pieces, row.pieces) << ::testing::PrintToString(row.acl);
        std::wstring joined;
        for (const std::wstring& piece : pieces) {
            joined += piece;
        }
        EXPECT_EQ(joined, row.acl);
    }
}

// A snapshot of given times and attribute bits, and nothing else.
WinFileAttributes withTimes(FileTime time, std::uint32_t attributes = 0, std::uint32_t links = 0) {
    Bytes bytes;
    bytes.u32(0).u8(1).u64(0).u32(attributes).u64(time).u64(time).u64(time).u32(links);
    return readVersion(bytes.str(), 2);
}

TEST(WinFileAttributes, TimesTable) {
    constexpr FileTime epoch = 116444736000000000u;
    struct Row {
        FileTime time;
        std::uint32_t seconds;
        const wchar_t* fraction;
    } rows[] = {
        {0, 0, nullptr},
        {epoch, 0, L""},
        {epoch + 1234567890, 123, L".567"},
        {epoch + 50000000 + 999, 5, L""},
        {epoch + 50000000 + 3000000, 5, L""},  // a multiple of a million ticks shows none
        {epoch + 50000000 + 1000, 5, L".001"},
        {epoch - 10000000, 0xFFFFFFFF, L""},
    };
    for (const Row& row : rows) {
        const WinFileAttributes snapshot = withTimes(row.time);
        const WinFileAttributes other = withTimes(row.time + 1);
        EXPECT_EQ(snapshot.GetModifiedTime(), row.seconds);
        EXPECT_EQ(snapshot.GetChangeTime(), row.seconds);
        const std::wstring expected =
            row.fraction == nullptr
                ? L""
                : DateTime(static_cast<std::int32_t>(row.seconds)).Format(kDateTimePattern) +
                      row.fraction;
        EXPECT_EQ(snapshot.GetModifiedTimeText(nullptr), expected);
        EXPECT_EQ(snapshot.GetCreationTimeText(&other), expected);  // one tick is a difference
        EXPECT_EQ(snapshot.GetAccessTimeText(&snapshot), L"");
        EXPECT_EQ(snapshot.GetChangeTimeText(&other), expected);
    }
}

TEST(WinFileAttributes, LinkCounts) {
    EXPECT_EQ(withTimes(1, 0, 0).GetExtraLinkCount(), 0u);
    EXPECT_EQ(withTimes(1, 0, 1).GetExtraLinkCount(), 0u);
    EXPECT_EQ(withTimes(1, 0, 3).GetExtraLinkCount(), 2u);
    EXPECT_EQ(withTimes(1, platform::attribute::Directory, 3).GetExtraLinkCount(), 0u);
}

// One byte of the record decides each field: two records that differ there differ by Equals,
// unless the field is the volume kind or the number of links.
TEST(WinFileAttributes, EqualsLooksAtEveryField) {
    const std::string bytes = record(12, true).str();
    const WinFileAttributes snapshot = readVersion(bytes, 12);
    const std::size_t volumeKind = 4 + 16 + 9;
    const std::size_t accessTime = volumeKind + 4 + 4 + 8;
    const std::size_t hardLinks = accessTime + 16;
    for (std::size_t i = 4; i < bytes.size(); ++i) {
        std::string changed = bytes;
        changed[i] = static_cast<char>(changed[i] ^ 1);
        std::istringstream stream(changed);
        WinFileAttributes other(L"");
        try {
            other.ReadObjectOfVersion(stream, 12);
        } catch (const SerializeException&) {
            continue;  // a count
        }
        const bool ignored =
            (i >= volumeKind && i < volumeKind + 4) || (i >= hardLinks && i < hardLinks + 4);
        EXPECT_EQ(snapshot.Equals(other), ignored) << i;
        const bool isAccess = i >= accessTime && i < accessTime + 8;
        EXPECT_EQ(snapshot.Equals(other, false), ignored || isAccess) << i;
    }
    EXPECT_TRUE(snapshot.Clone()->Equals(snapshot));
}

class WinFileAttributesQuery : public ::testing::Test {
protected:
    WinFileAttributesQuery() {
        file.facts = {0x21, kCreated, kAccessed, kModified, 0x123456789A};
        file.owner = L"S-1-5-18";
        file.group = L"S-1-5-32-544";
        file.sddl = kAcl;
        file.streams = Bytes().padTo(24).str();
    }

    // The lines that a snapshot of `file` writes, with the error's own words as "<text>".
    Lines initialize(ErrorCode code = error::GenFailure) {
        lines.takeDebug();
        snapshot.Initialize();
        Lines found = lines.takeDebug();
        const std::wstring text = platform::host().errorText(code);
        for (std::wstring& line : found) {
            if (line.ends_with(text)) {
                line.replace(line.size() - text.size(), text.size(), L"<text>");
            }
        }
        return found;
    }

    testing::FakeFiles files;
    testing::FakeVolumes volumes;
    FakeFile& file = files.objects[L"c:\\f"];
    WinFileAttributes snapshot{L"c:\\f"};
    LogCapture lines;
    testing::ServiceOverride<platform::Files> overrideFiles{platformFactory.files, files};
    testing::ServiceOverride<platform::Volumes> overrideVolumes{platformFactory.volumes, volumes};
};

TEST_F(WinFileAttributesQuery, TakesAllThatTheSystemTells) {
    // A value with a zero byte ends there, as it would behind a record.
    file.backup = backupStream(2, eaEntry(0, "K", std::string("val\0x", 5)));
    file.streams = Bytes().u32(40).u32(14).u64(5).u64(8).units(L"::$DATA").padTo(40).str() +
                   Bytes().u32(0).u32(16).u64(0x100000009).u64(16).units(L":s:$DATA").str();
    EXPECT_EQ(initialize(), Lines{});
    EXPECT_TRUE(snapshot.Exists());
    EXPECT_EQ(snapshot.GetSize(), 0x123456789Au);
    EXPECT_EQ(snapshot.GetRawAttributes(), 0x21u);
    EXPECT_EQ(snapshot.IsReadOnly(), 1u);
    EXPECT_TRUE(snapshot.IsRegularFile());
    EXPECT_EQ(snapshot.GetCreationFileTime(), kCreated);
    EXPECT_EQ(snapshot.GetAccessFileTime(), kAccessed);
    EXPECT_EQ(snapshot.GetModifiedFileTime(), kModified);
    EXPECT_EQ(snapshot.GetOwner(), L"S-1-5-18");
    EXPECT_EQ(snapshot.GetPrimaryGroup(), L"S-1-5-32-544");
    EXPECT_EQ(snapshot.GetExtendedAttributes(), (WinFileAttributes::AttributeMap{{L"K", L"val"}}));
    EXPECT_EQ(snapshot.GetAlternateStreams(), (WinFileAttributes::StreamMap{{L":s:$DATA", 9}}));
    EXPECT_EQ(snapshot.GetAcl(), kAcl);
    EXPECT_EQ(files.lastInformation, 0xa0000007u);

    file.facts.attributes = platform::attribute::Directory;
    EXPECT_EQ(initialize(), Lines{});
    EXPECT_EQ(snapshot.GetSize(), 0u);
    EXPECT_TRUE(snapshot.IsDirectory());

    files.objects.clear();
    EXPECT_EQ(initialize(), Lines{});
    EXPECT_TRUE(snapshot.Equals(WinFileAttributes(L"c:\\f")));  // nothing of the past stays
}

// What is refused stays empty, and all else is read on.
TEST_F(WinFileAttributesQuery, RefusalTable) {
    using StreamQuery = platform::Files::StreamQuery;
    constexpr ErrorCode kCode = error::GenFailure;
    const std::wstring walk = L"BackupRead(c:\\f) while ";
    struct Row {
        const char* what;
        std::function<void(FakeFile&)> spoil;
        Lines lines;
    } rows[] = {
        {"missing", [](auto& f) { f.queryCode = error::PathNotFound; }, {}},
        {"denied",
         [](auto& f) { f.queryCode = error::AccessDenied; },
         {L"WinFileAttributes::Initialize - GetFileAttributesEx failed on c:\\f, "
          L"Win32 ERR_CODE: 5"}},
        {"security",
         [](auto& f) { f.securityCode = kCode; },
         {L"GetNamedSecurityInfo for c:\\f Failed. Err : <text>",
          L"WinFileAttributes::Initialize - GetFileOwnerAndPrimaryGroup() failed"}},
        {"group",
         [](auto& f) { f.group.clear(); },
         {L"WinFileAttributes::Initialize - GetFileOwnerAndPrimaryGroup() failed"}},
        {"text form",
         [](auto& f) { f.sddlCode = kCode; },
         {L"ConvertSecurityDescriptorToStringSecurityDescriptor for c:\\f Failed. Err : <text>"}},
        {"open",
         [](auto& f) { f.backupCode = kCode; },
         {L"CreateFile(c:\\f, FILE_READ_EA, ...) failed: <text>"}},
        {"header", [](auto& f) { f.failingBackupStep = 0; }, {}},
        {"skip",
         [](auto& f) { f.backup = backupStream(1, ""), f.failingBackupStep = 1; },
         {walk + L"reading stream name  failed: <text>"}},
        {"list",
         [](auto& f) { f.backup = backupStream(2, "list"), f.failingBackupStep = 1; },
         {walk + L"reading EA data failed: <text>"}},
        {"context",
         [](auto& f) { f.finishCode = kCode; },
         {walk + L"freeing context failed: <text>"}},
        {"entry point",
         [](auto& f) { f.streamAnswer = StreamQuery::NoEntryPoint, f.streamCode = kCode; },
         {L"Failed to GetProcAddress for NtQueryInformationFile: <text>"}},
        {"stream handle", [](auto& f) { f.streamAnswer = StreamQuery::OpenFailed; }, {}},
        {"too many streams", [](auto& f) { f.streamAnswer = StreamQuery::QueryFailed; }, {}},
    };
    const FakeFile sound = file;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        file = sound;
        row.spoil(file);
        EXPECT_EQ(initialize(), row.lines);
        const bool exists = file.queryCode == error::Success;
        EXPECT_EQ(snapshot.Exists(), exists);
        EXPECT_TRUE(snapshot.GetExtendedAttributes().empty());
        EXPECT_TRUE(snapshot.GetAlternateStreams().empty());
        const bool secured = exists && file.securityCode == error::Success;
        EXPECT_EQ(snapshot.GetOwner(), secured ? L"S-1-5-18" : L"");
        EXPECT_EQ(snapshot.GetAcl(), secured && file.sddlCode == error::Success ? kAcl : L"");
    }
}

// Who may not see the access list may still be told owner and group.
TEST_F(WinFileAttributesQuery, OwnersComeWithoutTheAccessListToo) {
    file.aclCode = error::AccessDenied;
    EXPECT_EQ(initialize(), Lines{});
    EXPECT_EQ(snapshot.GetOwner(), L"S-1-5-18");
    EXPECT_EQ(snapshot.GetPrimaryGroup(), L"S-1-5-32-544");
    EXPECT_EQ(snapshot.GetAcl(), L"");
}

TEST_F(WinFileAttributesQuery, UpdateCompletesAnOldRecord) {
    files.objects[L"c:\\a.txt"] = file;
    WinFileAttributes old = readVersion(record(5, false).str(), 5);
    EXPECT_TRUE(old.Update());
    EXPECT_EQ(old.GetOwner(), L"S-1-5-18");
    EXPECT_EQ(old.GetPrimaryGroup(), L"S-1-5-32-544");
    EXPECT_EQ(old.GetAcl(), kAcl);
    EXPECT_EQ(old.GetModifiedFileTime(), kModified);  // all else stays
    EXPECT_EQ(old.GetRawAttributes(), 0x20u);
    EXPECT_EQ(lines.takeDebug(), Lines{});

    files.objects[L"c:\\a.txt"].owner = L"S-1-5-19";
    EXPECT_TRUE(old.Update());
    EXPECT_EQ(old.GetOwner(), L"S-1-5-18");  // only the marker is replaced

    // A file that is gone is told, one that is denied is not: the reverse of Initialize.
    for (const ErrorCode code : {error::FileNotFound, error::AccessDenied}) {
        files.objects[L"c:\\a.txt"].securityCode = code;
        WinFileAttributes spoilt = readVersion(record(5, false).str(), 5);
        EXPECT_TRUE(spoilt.Update());
        EXPECT_EQ(spoilt.GetOwner(), L"");
        const Lines found = lines.takeDebug();
        ASSERT_EQ(found.size(), code == error::FileNotFound ? 2u : 1u);
        if (found.size() == 2) {
            EXPECT_EQ(found[1],
                      L"WinFileAttributes::Update - GetFileOwnerAndPrimaryGroup failed on "
                      L"c:\\a.txt, Win32 ERR_CODE: 2");
        }
    }
}

TEST_F(WinFileAttributesQuery, AnEmptyPathAsksNothing) {
    const auto empty = CreateFileAttributes(L"");
    EXPECT_TRUE(empty->Initialize());
    EXPECT_FALSE(empty->Exists());
    EXPECT_EQ(files.calls, 0);
    EXPECT_EQ(CreateFileAttributes(L"/X/Y")->GetPath(), L"c:\\x\\y");
}

TEST_F(WinFileAttributesQuery, SetReadOnlyLosesTheOtherBits) {
    struct Row {
        std::uint32_t before;
        std::uint32_t value;
        std::uint32_t after;
    } rows[] = {{0x22, 1, 1}, {0x23, 0, 0}, {0x23, 1, 0x23}, {0x22, 0, 0x22}};
    for (const Row& row : rows) {
        file.facts.attributes = row.before;
        EXPECT_TRUE(snapshot.SetReadOnly(row.value));
        EXPECT_EQ(file.facts.attributes, row.after) << row.before << " " << row.value;
    }
    files.objects.clear();
    EXPECT_FALSE(snapshot.SetReadOnly(1));
}

TEST_F(WinFileAttributesQuery, RefreshesTheAccessTimeAlone) {
    snapshot.Initialize();
    file.facts = {0, 1, 2, 3, 4};
    snapshot.RefreshAccessTime();
    EXPECT_EQ(snapshot.GetAccessFileTime(), 2u);
    EXPECT_EQ(snapshot.GetModifiedFileTime(), kModified);
    files.objects.clear();
    snapshot.RefreshAccessTime();
    EXPECT_EQ(snapshot.GetAccessFileTime(), 2u);
}

// Any doubt is no: the full look comes after it.
TEST_F(WinFileAttributesQuery, IsCertainlyUnchangedAsksOnce) {
    using platform::FileFacts;
    file.facts.changeStamp = 7;
    snapshot.Initialize();
    ASSERT_EQ(snapshot.GetChangeStamp(), 7u);
    files.calls = 0;
    EXPECT_TRUE(snapshot.IsCertainlyUnchanged(7, true));
    EXPECT_EQ(files.calls, 1);
    EXPECT_FALSE(snapshot.IsCertainlyUnchanged(6, true));
    const FileFacts before = file.facts;
    const auto change = [&](auto FileFacts::*field) {
        file.facts = before;
        ++(file.facts.*field);
    };
    for (const auto field : {&FileFacts::changeStamp, &FileFacts::size, &FileFacts::modifiedTime,
                             &FileFacts::creationTime}) {
        change(field);
        EXPECT_FALSE(snapshot.IsCertainlyUnchanged(7, false));
    }
    change(&FileFacts::attributes);
    EXPECT_FALSE(snapshot.IsCertainlyUnchanged(7, false));
    change(&FileFacts::accessTime);
    EXPECT_TRUE(snapshot.IsCertainlyUnchanged(7, false));
    EXPECT_FALSE(snapshot.IsCertainlyUnchanged(7, true));

    file.facts = before;
    file.facts.changeStamp = 0;
    EXPECT_FALSE(snapshot.IsCertainlyUnchanged(0, false)) << "a platform without stamps";
    files.objects.clear();
    EXPECT_FALSE(snapshot.IsCertainlyUnchanged(7, false));
}

TEST_F(WinFileAttributesQuery, VolumeKinds) {
    using platform::DriveType;
    for (const auto& [type, kind] :
         std::map<DriveType, VolumeKind>{{DriveType::Unknown, VolumeKind::Unknown},
                                         {DriveType::NoRoot, VolumeKind::Unknown},
                                         {DriveType::Removable, VolumeKind::Removable},
                                         {DriveType::Fixed, VolumeKind::Local},
                                         {DriveType::Remote, VolumeKind::Network},
                                         {DriveType::CdRom, VolumeKind::Removable},
                                         {DriveType::RamDisk, VolumeKind::Local}}) {
        volumes.volumes[L"d:\\"].type = type;
        EXPECT_EQ(WinFileAttributes(L"d:\\x").GetVolumeKind(), kind);
    }
    EXPECT_EQ(WinFileAttributes(L"\\\\server\\x").GetVolumeKind(), VolumeKind::Network);
    EXPECT_EQ(WinFileAttributes(L"d:").GetVolumeKind(), VolumeKind::Unknown);
    EXPECT_EQ(WinFileAttributes(L"").GetVolumeKind(), VolumeKind::Unknown);

    WinFileAttributes kept(L"d:\\x");
    EXPECT_EQ(kept.GetVolumeKind(), VolumeKind::Local);
    volumes.volumes[L"d:\\"].type = DriveType::Remote;
    kept.Reset();
    EXPECT_EQ(kept.GetVolumeKind(), VolumeKind::Local);  // kept, also over a reset
}

TEST_F(WinFileAttributesQuery, ReparseTags) {
    file.reparseTag = 0xA000000C;
    EXPECT_EQ(GetReparseTag(L"c:\\f"), 0u);  // the attribute decides
    file.facts.attributes |= platform::attribute::ReparsePoint;
    EXPECT_EQ(GetReparseTag(L"c:\\f"), 0xA000000Cu);
    EXPECT_EQ(GetReparseTag(L"c:\\missing"), 0u);
}

TEST(WinFileAttributes, SnapshotOfALiveFile) {
    const testing::TempDir folder;
    folder.write("F.txt", "12345");
    const auto snapshot = CreateFileAttributes(folder.path(L"F.txt"));
    EXPECT_TRUE(snapshot->Exists());
    EXPECT_EQ(snapshot->GetSize(), 5u);
    EXPECT_TRUE(snapshot->IsRegularFile());
    EXPECT_NE(snapshot->GetModifiedTime(), 0u);
    auto& live = dynamic_cast<WinFileAttributes&>(*snapshot);
    EXPECT_TRUE(live.GetOwner().starts_with(L"S-1-"));
    EXPECT_TRUE(live.GetAcl().starts_with(L"O:"));
    EXPECT_TRUE(live.SetReadOnly(1));
    live.Initialize();
    EXPECT_EQ(live.IsReadOnly(), 1u);
    EXPECT_TRUE(readVersion(written(live), 12).Equals(live, true));
    EXPECT_FALSE(CreateFileAttributes(folder.path(L"none"))->Exists());
}

}  // namespace
}  // namespace lathwind
