#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "utils/windows/SystemPath.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using lathwind::testing::TempDir;
using platform::ErrorCode;
using platform::FileFacts;
using platform::Sharing;
namespace error = platform::error;

FileFacts factsOf(const std::wstring& path) {
    FileFacts facts;
    EXPECT_EQ(error::Success, files().query(path, facts));
    return facts;
}

TEST(WinFiles, FactsAreTheSystemsOwn) {
    const TempDir folder;
    folder.write("a.txt", "12345");
    const std::wstring path = folder.path(L"a.txt");
    const FILETIME accessed = {0x22222222, 0x01D00001};
    const FILETIME written = {0x33333333, 0x01D00002};
    {
        const UniqueHandle file(
            validHandle(::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr)));
        ASSERT_TRUE(file && ::SetFileTime(file.get(), nullptr, &accessed, &written));
    }
    const FileFacts facts = factsOf(path);
    EXPECT_EQ(5U, facts.size);
    EXPECT_EQ(0U, facts.attributes & platform::attribute::Directory);
    EXPECT_EQ(0x01D0000122222222U, facts.accessTime);
    EXPECT_EQ(0x01D0000233333333U, facts.modifiedTime);
    EXPECT_NE(0U, facts.creationTime);
    EXPECT_NE(0U, factsOf(folder.path()).attributes & platform::attribute::Directory);
}

TEST(WinFiles, AttributesAreWrittenAsTheyAre) {
    const TempDir folder;
    folder.write("a.txt", "");
    const std::wstring path = folder.path(L"a.txt");
    ASSERT_EQ(error::Success, files().setAttributes(path, platform::attribute::ReadOnly));
    EXPECT_NE(0U, factsOf(path).attributes & platform::attribute::ReadOnly);
    EXPECT_EQ(error::AccessDenied, files().remove(path));
    ASSERT_EQ(error::Success, files().setAttributes(path, platform::attribute::Normal));
    EXPECT_EQ(0U, factsOf(path).attributes & platform::attribute::ReadOnly);
    EXPECT_EQ(error::Success, files().remove(path));
    FileFacts facts;
    EXPECT_EQ(error::FileNotFound, files().query(path, facts));
    EXPECT_EQ(error::PathNotFound, files().query(path + L"\\below", facts));
    EXPECT_EQ(error::PathNotFound, files().query(L"", facts));
}

TEST(WinFiles, PathsBeyondTheOldLimitWork) {
    const TempDir folder;
    std::wstring path = folder.path();
    for (int level = 0; level < 8; ++level) {
        path += L"\\" + std::wstring(60, L'd');
        ASSERT_EQ(error::Success, files().createDirectory(path)) << level;
    }
    ASSERT_GT(path.size(), 400U);
    const std::wstring file = path + L"\\.\\x\\..\\file.txt";
    std::FILE* stream = files().openStream(file, L"wb", platform::Sharing::Default);
    ASSERT_NE(nullptr, stream);
    std::fclose(stream);
    EXPECT_EQ(error::Success, files().resize(file, 7));
    EXPECT_EQ(7U, factsOf(file).size);
    EXPECT_EQ(7U, std::filesystem::file_size(files().nativePath(file)));
    std::vector<std::wstring> found;
    EXPECT_EQ(error::Success, files().enumerate(path + L"\\*.txt", [&](const auto& entry) {
        found.push_back(entry.name);
        return true;
    }));
    EXPECT_EQ(std::vector<std::wstring>{L"file.txt"}, found);
    EXPECT_EQ(error::Success, files().remove(file));
    for (; path.size() > folder.path().size(); path.erase(path.rfind(L'\\'))) {
        EXPECT_EQ(error::Success, files().removeDirectory(path));
    }
}

TEST(WinFiles, OnlyLongAbsolutePathsAreRewritten) {
    const std::wstring tail(250, L't');
    const struct {
        std::wstring path;
        std::wstring expected;
    } rows[] = {
        {L"c:\\short", L"c:\\short"},
        {L"c:/" + tail, L"\\\\?\\c:\\" + tail},
        {L"c:\\a\\..\\.\\" + tail, L"\\\\?\\c:\\" + tail},
        {L"\\\\server\\share\\a\\..\\" + tail, L"\\\\?\\UNC\\server\\share\\" + tail},
        {L"\\\\?\\c:\\" + tail, L"\\\\?\\c:\\" + tail},
        {L"\\\\.\\" + tail, L"\\\\.\\" + tail},
        {tail + L"\\relative", tail + L"\\relative"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.expected, systemPath(row.path));
    }
}

TEST(WinFiles, SharingDecidesWhatOthersMayDo) {
    const TempDir folder;
    const std::wstring path = folder.path(L"log");
    std::FILE* writer = files().openStream(path, L"wb", platform::Sharing::ReadWrite);
    ASSERT_NE(nullptr, writer);
    std::FILE* reader = files().openStream(path, L"rb", platform::Sharing::ReadWrite);
    EXPECT_NE(nullptr, reader);
    if (reader != nullptr) {
        std::fclose(reader);
    }
    std::fclose(writer);
    errno = 0;
    EXPECT_EQ(nullptr, files().openStream(path + L"\\x", L"rb", platform::Sharing::Default));
    EXPECT_NE(0, errno);
    errno = 0;
    EXPECT_EQ(nullptr, files().openStream(L"", L"rb", platform::Sharing::Default));
    EXPECT_EQ(ENOENT, errno);
}

TEST(WinFiles, OnlyFilesAreOpenedForReading) {
    const std::wstring name = L"\\\\.\\pipe\\lathwind-" + std::to_wstring(::GetCurrentProcessId());
    const UniqueHandle pipe(
        validHandle(::CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                       PIPE_UNLIMITED_INSTANCES, 64, 64, 0, nullptr)));
    ASSERT_TRUE(pipe);
    const std::pair<std::wstring, Sharing> rows[] = {
        {name, Sharing::Default}, {L"nul", Sharing::Default}, {L"c:\\nul", Sharing::ReadWrite}};
    for (const auto& [path, sharing] : rows) {
        errno = 0;
        EXPECT_EQ(nullptr, files().openStream(path, L"rb", sharing)) << path;
        EXPECT_EQ(EACCES, errno) << path;
    }
    EXPECT_EQ(nullptr, files().openStream(L"con", L"rb", Sharing::Default));
    std::FILE* sink = files().openStream(L"nul", L"wb", Sharing::Default);
    ASSERT_NE(nullptr, sink);
    EXPECT_EQ(0, std::fclose(sink));
}

TEST(WinFiles, PositionsHave64Bits) {
    const TempDir folder;
    std::FILE* stream = files().openStream(folder.path(L"big"), L"wb", platform::Sharing::Default);
    ASSERT_NE(nullptr, stream);
    const std::int64_t distant = std::int64_t{5} << 32;
    EXPECT_EQ(0, files().seekStream(stream, distant, SEEK_SET));
    EXPECT_EQ(distant, files().tellStream(stream));
    std::fclose(stream);
}

TEST(WinFiles, SecurityReadsBackAsItWasWritten) {
    const TempDir folder;
    folder.write("a.txt", "");
    const std::wstring path = folder.path(L"a.txt");
    ErrorCode code = error::GenFailure;
    const auto before =
        files().readSecurity(path, platform::security::Owner | platform::security::Group, code);
    ASSERT_NE(nullptr, before) << code;
    std::wstring owner;
    std::wstring group;
    EXPECT_EQ(error::Success, before->owner(owner));
    EXPECT_EQ(error::Success, before->group(group));
    EXPECT_EQ(0U, owner.find(L"S-1-5-"));
    EXPECT_EQ(0U, group.find(L"S-1-5-"));

    const std::wstring everyone = L"D:(A;;FA;;;WD)";
    using platform::security::Dacl;
    ASSERT_EQ(error::Success, files().writeSecurity(path, Dacl, everyone));
    const auto after = files().readSecurity(path, Dacl, code);
    ASSERT_NE(nullptr, after) << code;
    std::wstring text;
    EXPECT_EQ(error::Success, after->toSddl(Dacl, text));
    EXPECT_NE(std::wstring::npos, text.find(L";;;WD)")) << text.size();

    EXPECT_EQ(nullptr, files().readSecurity(path + L"x", Dacl, code));
    EXPECT_EQ(error::FileNotFound, code);
    EXPECT_NE(error::Success, files().writeSecurity(path, Dacl, L"no SDDL"));
}

// Wine answers "not supported" and an error of information class 22, Windows the real thing.
TEST(WinFiles, BackupAndStreamQueriesPassTheSystemsCodesOn) {
    const TempDir folder;
    folder.write("a.txt", "text");
    ErrorCode code = error::GenFailure;
    const auto reader = files().openBackup(folder.path(L"a.txt"), code);
    ASSERT_NE(nullptr, reader);
    EXPECT_EQ(error::Success, code);
    std::byte head[20];
    std::uint32_t got = 99;
    const ErrorCode read = reader->read(head, sizeof head, got);
    EXPECT_TRUE((read == error::Success && got == sizeof head) ||
                (read == error::NotSupported && got == 0))
        << read;
    reader->finish();

    EXPECT_EQ(nullptr, files().openBackup(folder.path(L"none"), code));
    EXPECT_EQ(error::FileNotFound, code);
    EXPECT_EQ(nullptr, files().openBackup(L"", code));
    EXPECT_EQ(error::PathNotFound, code);

    using Query = platform::Files::StreamQuery;
    std::vector<std::byte> buffer(65536, std::byte{0xEE});
    const Query answer = files().queryStreams(folder.path(L"a.txt"), buffer, code);
    EXPECT_TRUE(answer == Query::Listed || answer == Query::QueryFailed);
    EXPECT_EQ(answer == Query::Listed, code == error::Success) << code;
    EXPECT_EQ(std::byte{0}, buffer[4]) << "an empty list is an entry of zeros";
    EXPECT_EQ(Query::OpenFailed, files().queryStreams(folder.path(L"none"), buffer, code));
    EXPECT_EQ(error::FileNotFound, code);
}

}  // namespace
}  // namespace lathwind::windows
