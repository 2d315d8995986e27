#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "utils/ByteArray.h"
#include "utils/FileIO.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::TempDir;
using Paths = std::vector<std::wstring>;

TEST(FileIO, ClosedObjectsAnswerQuietly) {
    FileIO file;
    char byte = 'k';
    EXPECT_FALSE(file.Open(L"", L"rb"));
    EXPECT_FALSE(file.Open(nullptr, L"rb"));
    EXPECT_FALSE(file.IsOpen() || file.Close() || file.WriteLine(L"x") || file.WriteText("x"));
    EXPECT_EQ(file.Read(&byte, 1) + file.Write(&byte, 1), 0u);
    EXPECT_EQ(file.Tell() + file.GetSize(), 0u);
    EXPECT_EQ(file.Seek(5, SEEK_SET), 0);
    EXPECT_EQ(file.GetDescriptor(), -1);
    EXPECT_TRUE(file.ReadLine().empty() && file.ReadAll().empty());
    EXPECT_EQ(file.ReadBytes(0)->GetLength(), 0);
    EXPECT_EQ(byte, 'k');
}

TEST(FileIO, ReadsWritesAndSeeks) {
    const TempDir folder;
    const std::wstring path = folder.path(L"file");
    FileIO file;
    ASSERT_TRUE(file.Open(path, L"wb"));
    EXPECT_GE(file.GetDescriptor(), 0);
    EXPECT_FALSE(file.Open(folder.path(L"other"), L"wb")) << "keeps what it has";
    EXPECT_EQ(file.Write("0123456789", 10), 10u);
    EXPECT_EQ(file.Write(nullptr, 3), 0u);
    EXPECT_TRUE(file.WriteText("text"));
    EXPECT_EQ(folder.read("file"), "0123456789text") << "flushed";
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(folder.exists("other"));

    ASSERT_TRUE(file.Open(path.c_str(), L"rb"));
    char bytes[4] = {};
    EXPECT_EQ(file.Read(bytes, 3), 3u);
    EXPECT_EQ(file.Read(nullptr, 3), 0u);
    EXPECT_EQ(file.GetSize(), 14u);
    EXPECT_EQ(file.Tell(), 3u) << "GetSize keeps the position";
    EXPECT_EQ(file.ReadAll(), L"3456789text");
    EXPECT_EQ(file.Seek(-2, SEEK_END), 0);
    EXPECT_NE(file.Seek(-1, SEEK_SET), 0);
    EXPECT_EQ(file.Read(bytes, 4), 2u);
    EXPECT_STREQ(bytes, "xt2");
}

TEST(FileIO, Lines) {
    const TempDir folder;
    FileIO file;
    ASSERT_TRUE(file.Open(folder.path(L"file"), L"wb"));
    EXPECT_TRUE(file.WriteLine(L"one\n") && file.WriteLine(L"") && file.WriteLine(L"two"));
    file.Close();
    EXPECT_EQ(folder.read("file"), "one\ntwo");
    folder.write("file", "one\n" + std::string(1300, 'x') + "\n");
    ASSERT_TRUE(file.Open(folder.path(L"file"), L"rb"));
    EXPECT_EQ(file.ReadLine(), L"one\n");
    EXPECT_EQ(file.ReadLine(), std::wstring(1279, L'x'));
    EXPECT_EQ(file.ReadLine(), std::wstring(21, L'x') + L"\n");
    EXPECT_EQ(file.ReadLine(), L"");
    file.Close();
    folder.write("file", std::string("ab\0cd", 5));
    ASSERT_TRUE(file.Open(folder.path(L"file"), L"rb"));
    EXPECT_EQ(file.ReadAll(), L"ab") << "up to the first NUL";
    EXPECT_EQ(file.Tell(), 5u);
}

TEST(FileIO, ReadBytesStopsAtItsLimit) {
    const TempDir folder;
    folder.write("file", std::string(3 << 20, 'm'));
    FileIO file;
    ASSERT_TRUE(file.Open(folder.path(L"file"), L"rb"));
    file.Seek(1, SEEK_SET);
    EXPECT_EQ(file.ReadBytes(0)->GetLength(), 1 << 20);
    EXPECT_EQ(file.Tell(), (1u << 20) + 1);
    EXPECT_EQ(file.ReadBytes(5000)->GetLength(), 5000);
    EXPECT_EQ(file.ReadBytes(0xFFFFFFFF)->GetLength(), (2 << 20) - 5001);
    EXPECT_EQ(file.ReadBytes(10)->GetLength(), 0);
}

TEST(FileIO, WholeFiles) {
    const TempDir folder;
    const std::wstring path = folder.path(L"file");
    std::string text(10007, 'w');
    text[5] = '\0';
    const ByteArray bytes(text.data(), static_cast<std::int32_t>(text.size()));
    EXPECT_TRUE(FileIO::WriteFile(bytes, path));
    EXPECT_EQ(folder.read("file"), text);
    const auto back = FileIO::ReadFile(path);
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(back->GetLength(), 10007);
    EXPECT_EQ(std::memcmp(back->GetData(), text.data(), text.size()), 0);
    EXPECT_EQ(back->GetCapacity(), 10500);
    EXPECT_TRUE(FileIO::WriteFile(ByteArray(), path));
    EXPECT_EQ(FileIO::ReadFile(path)->GetLength(), 0);
    EXPECT_EQ(FileIO::ReadFile(folder.path(L"missing")), nullptr);
    EXPECT_FALSE(FileIO::WriteFile(bytes, folder.path(L"no\\folder")));
}

TEST(FileIO, SingleFiles) {
    const TempDir folder;
    const auto at = [&](const wchar_t* name) { return folder.path(name); };
    const auto makeReadOnly = [&](const wchar_t* name) {
        platform::files().setAttributes(at(name), platform::attribute::ReadOnly);
    };
    folder.write("a", "12345");
    folder.write("b", "old");
    EXPECT_TRUE(FileIO::Exists(at(L"a")) && FileIO::IsAccessible(at(L"a")));
    EXPECT_FALSE(FileIO::Exists(at(L"c")));
    EXPECT_TRUE(FileIO::IsAccessible(at(L"c"))) << "missing, not denied";
    EXPECT_TRUE(FileIO::IsDirectory(folder.path()));
    EXPECT_FALSE(FileIO::IsDirectory(at(L"a")) || FileIO::IsDirectory(at(L"c")));
    std::uint32_t size = 7;
    EXPECT_FALSE(FileIO::GetFileSize(at(L"c"), size));
    EXPECT_TRUE(FileIO::GetFileSize(at(L"a"), size));
    EXPECT_EQ(size, 5u);

    makeReadOnly(L"b");
    EXPECT_TRUE(FileIO::Copy(at(L"a"), at(L"b")));
    EXPECT_EQ(folder.read("b"), "12345");
    EXPECT_FALSE(FileIO::Copy(at(L"c"), at(L"b")));
    EXPECT_FALSE(FileIO::Move(at(L"a"), at(L"b"), true));
    EXPECT_TRUE(folder.exists("a"));
    EXPECT_TRUE(FileIO::Move(at(L"a"), at(L"c"), true));
    folder.write("b", "new");
    EXPECT_TRUE(FileIO::Move(at(L"b"), at(L"c"), false));
    EXPECT_EQ(folder.read("c"), "new");
    EXPECT_TRUE(FileIO::Truncate(at(L"c"), 2));
    EXPECT_EQ(folder.read("c"), "ne");
    EXPECT_TRUE(FileIO::Truncate(at(L"c"), 4));
    EXPECT_EQ(folder.read("c"), std::string("ne\0\0", 4));
    EXPECT_FALSE(FileIO::Truncate(at(L"b"), 0));
    makeReadOnly(L"c");
    EXPECT_TRUE(FileIO::Delete(at(L"c")));
    EXPECT_FALSE(FileIO::Delete(at(L"c")));
    EXPECT_FALSE(FileIO::Delete(folder.path()));
}

TEST(FileIO, SizesBeyond32BitsSaturate) {
    const TempDir folder;
    folder.write("big", "x");
    std::error_code refused;
    std::filesystem::resize_file(folder.native("big"), (std::uintmax_t{5} << 30) + 3, refused);
    if (refused) {
        GTEST_SKIP() << "no sparse files of 5 GiB here";
    }
    std::uint32_t size = 0;
    EXPECT_TRUE(FileIO::GetFileSize(folder.path(L"big"), size));
    EXPECT_EQ(size, 0xFFFFFFFFu);
    FileIO file;
    ASSERT_TRUE(file.Open(folder.path(L"big"), L"rb"));
    EXPECT_EQ(file.GetSize(), 0xFFFFFFFFu);
    EXPECT_EQ(file.Seek(0xFFFFFFF0, SEEK_SET), 0);
    EXPECT_EQ(file.Tell(), 0xFFFFFFF0u);
}

TEST(FileIO, MakesFolders) {
    const TempDir folder;
    folder.write("plain", "");
    EXPECT_EQ(FileIO::MakeDirectory(folder.path(L"one")), 0);
    EXPECT_EQ(FileIO::MakeDirectory(folder.path(L"one")), 0) << "there already";
    EXPECT_EQ(FileIO::MakeDirectory(folder.path(L"no\\such")), ENOENT);
    EXPECT_TRUE(FileIO::MakeDirectoryPath(folder.path(L"one/two\\three\\")));
    EXPECT_TRUE(FileIO::MakeDirectoryPath(folder.path(L"one\\two\\three")));
    EXPECT_TRUE(std::filesystem::is_directory(folder.native("one/two/three")));
    platform::host().setLastError(0);
    EXPECT_FALSE(FileIO::MakeDirectoryPath(folder.path(L"plain")));
    EXPECT_EQ(platform::host().lastError(), platform::error::FileExists);
    EXPECT_FALSE(FileIO::MakeDirectoryPath(folder.path(L"plain\\below")));
    EXPECT_FALSE(FileIO::MakeDirectoryPath(L""));
}

TEST(FileIO, DeletesFolders) {
    const TempDir folder;
    folder.write("top/a/b/file", "1");
    folder.write("top/file", "2");
    platform::files().setAttributes(folder.path(L"top\\file"), platform::attribute::ReadOnly);
    folder.write("kept/file", "3");
    std::error_code refused;
    std::filesystem::create_directory_symlink(folder.native("kept"), folder.native("top/link"),
                                              refused);
    EXPECT_TRUE(FileIO::DeleteDirectory(folder.path(L"top"), true));
    EXPECT_TRUE(std::filesystem::is_empty(folder.native("top")));
    EXPECT_EQ(folder.read("kept/file"), "3") << "links are not followed";
    EXPECT_TRUE(FileIO::DeleteDirectory(folder.path(L"top"), false));
    EXPECT_FALSE(folder.exists("top"));
    EXPECT_TRUE(FileIO::DeleteDirectory(folder.path(L"top"), false)) << "nothing left to do";
    EXPECT_TRUE(FileIO::DeleteDirectory(folder.path(L"kept\\file"), true)) << "a file goes too";
    EXPECT_FALSE(folder.exists("kept/file"));
}

TEST(FileIO, ListsFiles) {
    const TempDir folder;
    for (const char* name :
         {"b.log", "A.LOG", "c.logx", "sub.log/d.log", "sub/e.log", "sub/deep/f.log", "readme"}) {
        folder.write(name, "");
    }
    const auto list = [&](const wchar_t* pattern, std::uint32_t depth) {
        Paths found = {L"seed"};
        FileIO::ListFiles(found, folder.path() + L"/", pattern, true, depth);
        std::wstring names;
        for (const std::wstring& path : found) {
            EXPECT_TRUE(path == L"seed" || path.starts_with(folder.path(L"")));
            names += path == L"seed" ? L"" : path.substr(folder.path().size() + 1) + L" ";
        }
        return names;
    };
    EXPECT_EQ(list(L"*", 0), L"");
    EXPECT_EQ(list(L"*.log", 1), L"A.LOG b.log sub.log ");
    EXPECT_EQ(list(L"*.log", 2), L"A.LOG b.log sub.log sub.log\\d.log sub\\e.log ");
    EXPECT_EQ(list(L"*.log", 9),
              L"A.LOG b.log sub.log sub.log\\d.log sub\\deep\\f.log sub\\e.log ");
    EXPECT_EQ(list(L"*", 1), L"A.LOG b.log c.logx readme sub sub.log ");
    EXPECT_EQ(list(L"read*", 1), L"readme ");
    Paths none;
    FileIO::ListFiles(none, L"", L"*", true, 3);
    FileIO::ListFiles(none, folder.path(L"missing"), L"*", true, 3);
    EXPECT_TRUE(none.empty());
    Paths folders;
    FileIO::ListDirectories(folders, folder.path(), 1);
    std::sort(folders.begin(), folders.end());
    EXPECT_EQ(folders, (Paths{folder.path(L"sub"), folder.path(L"sub.log")}));
    folders.clear();
    FileIO::ListDirectories(folders, folder.path(L"sub"), 5);
    EXPECT_EQ(folders, Paths{folder.path(L"sub\\deep")});
}

TEST(FileIO, DetectsEncodings) {
    const TempDir folder;
    const struct {
        std::string bytes;
        const wchar_t* encoding;
    } kCases[] = {
        {"", L"ANSI"},
        {"\xEF", L"ANSI"},
        {"\xEF\xBB", L"ANSI"},
        {"\xEF\xBB\xBF", L"UTF-8"},
        {"\xFF", L"ANSI"},
        {"\xFF\xFE", L"UTF-16"},
        {"\xFF\xFE\x01\x02\x03", L"UTF-16"},
        {"\xFE\xFF\x01\x02", L"ANSI"},
        {"text", L"ANSI"},
    };
    for (const auto& each : kCases) {
        folder.write("file", each.bytes);
        EXPECT_EQ(FileIO::DetectEncoding(folder.path(L"file")), each.encoding);
    }
    EXPECT_EQ(FileIO::DetectEncoding(folder.path(L"missing")), L"ANSI");
}

}  // namespace
}  // namespace lathwind
