#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

#include "support/TempDir.h"
#include "utils/Text.h"
#include "utils/posix/PathResolver.h"

namespace lathwind::posix {
namespace {

namespace error = platform::error;
namespace fs = std::filesystem;
using platform::ErrorCode;
using testing::TempDir;

// A day ahead: no listing looks young.
timespec tomorrow() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    now.tv_sec += 86'400;
    return now;
}

class PathResolverTest : public ::testing::Test {
protected:
    TempDir folder;
    PathResolver resolver{DriveMap::fromText("x=" + folder.native().string()), tomorrow};
    int calls = 0;

    // The real path below the folder, or the error's number.
    std::string find(const std::wstring& path) {
        std::string seen;
        calls = 0;
        const ErrorCode code = resolver.onExisting(L"x:\\" + path, [&](const char* bytes) {
            struct stat facts {};
            ++calls;
            seen = bytes;
            return ::stat(bytes, &facts) == 0 ? 0 : errno;
        });
        return code == error::Success ? seen.substr(folder.native().string().size() + 1)
                                      : std::to_string(code);
    }
};

// The obvious way: one component after the other, each from the names in its folder.
std::string findSlowly(const fs::path& root, const std::wstring& path) {
    fs::path real = root;
    std::wstring rest = path;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(L'\\'), rest.size());
        const std::wstring name = rest.substr(0, end);
        rest.erase(0, end + 1);
        std::vector<std::string> matches;
        if (!fs::is_directory(real)) {
            return "3";
        }
        for (const auto& entry : fs::directory_iterator(real)) {
            const std::string spelled = entry.path().filename().string();
            if (spelled == utf8FromUtf16(name)) {
                matches = {spelled};
                break;
            }
            if (equalsNoCase(utf16FromUtf8(spelled), name)) {
                matches.push_back(spelled);
            }
        }
        if (matches.empty()) {
            return rest.empty() ? "2" : "3";
        }
        real /= *std::min_element(matches.begin(), matches.end());
    }
    return real.lexically_relative(root).string();
}

TEST_F(PathResolverTest, TheExactSpellingIsTriedFirstAndAlone) {
    folder.write("Sub/File", "");
    folder.write("sub/file", "");
    EXPECT_EQ(find(L"Sub\\File"), "Sub/File");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(find(L"sub/file"), "sub/file");
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(resolver.cacheCounters().read, 0u);
    EXPECT_EQ(find(L"SUB\\FILE"), "Sub/File");  // the first by byte order
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(find(L"sub\\FILE"), "sub/file");
}

TEST_F(PathResolverTest, MissingComponentsAndFilesInTheMiddle) {
    folder.write("Sub/File", "");
    for (const auto& [path, expected] :
         std::initializer_list<std::pair<const wchar_t*, const char*>>{
             {L"none", "2"},
             {L"sub\\none", "2"},
             {L"none\\file", "3"},
             {L"Sub\\File\\x", "3"},
             {L"sub\\file\\x\\y", "3"},
             {L"Sub\\File\\", "267"},
             {L"sub\\", "Sub/"},
             {L"SUB\\.\\FILE", "Sub/./File"},
             {L"sub\\..\\SUB\\file", "Sub/../Sub/File"}}) {
        EXPECT_EQ(find(path), expected) << narrow(path);
    }
    std::string bytes;
    EXPECT_EQ(resolver.toBytes(L"q:\\file", bytes), error::PathNotFound);
    EXPECT_EQ(resolver.toBytes(L"\\\\server\\share", bytes), error::PathNotFound);
    EXPECT_EQ(resolver.toBytes(L"", bytes), error::PathNotFound);
    EXPECT_EQ(resolver.toBytes(std::wstring(L"x:\\a\0b", 6), bytes), error::InvalidName);
}

TEST_F(PathResolverTest, NamesThatAreNoUtf8AreFoundByTheirReplacement) {
    folder.write("plain", "");
    const std::string name = "bad\xFFname\xC3";
    fs::path target = folder.native() / "sub";
    fs::create_directory(target);
    ASSERT_EQ(::close(::open((target / name).c_str(), O_CREAT | O_WRONLY, 0600)), 0);
    const std::wstring spelled{L'B', L'A', L'D', 0xFFFD, L'n', L'a', L'm', L'e', 0xFFFD};
    EXPECT_EQ(find(L"sub\\" + spelled), "sub/" + name);
    EXPECT_EQ(find(L"PLAIN"), "plain");
}

TEST_F(PathResolverTest, LinksAreFollowedAndDanglingOnesMissing) {
    folder.write("Real/File", "");
    fs::create_symlink("Real", folder.native("Link"));
    fs::create_symlink("nowhere", folder.native("Dangling"));
    fs::create_symlink("Loop", folder.native("Loop"));
    EXPECT_EQ(find(L"link\\file"), "Link/File");
    EXPECT_EQ(find(L"Dangling"), "2");
    EXPECT_EQ(find(L"dangling"), "2");
    EXPECT_EQ(find(L"dangling\\x"), "3");
    EXPECT_EQ(find(L"Loop"), std::to_string(error::CantResolveFilename));
}

TEST_F(PathResolverTest, NewFilesKeepTheirSpellingInTheFolderThatExists) {
    folder.write("Sub/File", "");
    const auto create = [&](const std::wstring& path) {
        return resolver.onNew(L"x:\\" + path, [](const char* bytes) {
            const int file = ::open(bytes, O_CREAT | O_WRONLY, 0600);
            return file < 0 ? errno : ::close(file);
        });
    };
    EXPECT_EQ(create(L"SUB\\New"), error::Success);
    EXPECT_TRUE(folder.exists("Sub/New"));
    EXPECT_EQ(create(L"sub\\FILE"), error::Success);
    EXPECT_TRUE(folder.exists("Sub/FILE"));
    EXPECT_EQ(create(L"none\\New"), error::PathNotFound);
    EXPECT_EQ(create(L"sub\\file\\New"), error::PathNotFound);
}

TEST_F(PathResolverTest, AgreesWithTheObviousWay) {
    std::mt19937 random(20240607);
    const std::vector<std::wstring> names = {L"a", L"A", L"aB", L"Ab", L"\u00E4", L"\u00C4", L"b"};
    const auto name = [&] { return names[random() % names.size()]; };
    for (int round = 0; round < 300; ++round) {
        // Change something, then ask for several paths, warm cache and all.
        const fs::path target =
            folder.native() / fs::path(utf8FromUtf16(name())) / fs::path(utf8FromUtf16(name()));
        std::error_code ignored;
        if (random() % 3 == 0) {
            fs::remove_all(target.parent_path(), ignored);
        } else if (random() % 4 == 0) {
            std::ofstream(target.parent_path(), std::ios::app) << "";
        } else {
            fs::create_directories(target, ignored);
        }
        for (int question = 0; question < 5; ++question) {
            std::wstring path = name();
            for (auto depth = random() % 3; depth > 0; --depth) {
                path += L"\\" + name();
            }
            ASSERT_EQ(find(path), findSlowly(folder.native(), path))
                << utf8FromUtf16(path) << " in round " << round;
        }
    }
}

TEST_F(PathResolverTest, AListingAnswersAsLongAsItsFolderRests) {
    for (int i = 0; i < 50; ++i) {
        folder.write("Name" + std::to_string(i), "");
    }
    for (int i = 0; i < 50; ++i) {
        EXPECT_NE(find(L"name" + std::to_wstring(i)), "2");
    }
    EXPECT_EQ(resolver.cacheCounters().read, 1u);
    EXPECT_EQ(resolver.cacheCounters().reused, 49u);
    fs::rename(folder.native("Name0"), folder.native("Other"));
    EXPECT_EQ(find(L"name0"), "2");
    EXPECT_EQ(find(L"OTHER"), "Other");
    EXPECT_EQ(resolver.cacheCounters().read, 2u);
}

TEST_F(PathResolverTest, AListingTakenRightAfterAChangeIsNotKept) {
    PathResolver young(DriveMap::fromText("x=" + folder.native().string()), [] {
        return timespec{0, 0};
    });  // long before any change
    folder.write("Name", "");
    const auto exists = [](const char* bytes) { return ::access(bytes, F_OK) == 0 ? 0 : errno; };
    EXPECT_EQ(young.onExisting(L"x:\\NAME", exists), error::Success);
    EXPECT_EQ(young.onExisting(L"x:\\NAME", exists), error::Success);
    EXPECT_EQ(young.cacheCounters().read, 2u);
    EXPECT_EQ(young.cacheCounters().folders, 0u);
}

TEST_F(PathResolverTest, TheCacheIsBounded) {
    for (std::size_t i = 0; i < FolderCache::kMaxFolders + 10; ++i) {
        const std::string sub = "d" + std::to_string(i);
        folder.write(sub + "/F", "");
        EXPECT_EQ(find(utf16FromUtf8(sub) + L"\\f"), sub + "/F");
    }
    EXPECT_EQ(resolver.cacheCounters().folders, FolderCache::kMaxFolders);
    EXPECT_EQ(resolver.cacheCounters().names, FolderCache::kMaxFolders * 3);  // with . and ..
}

TEST(DriveMap, LettersAndFolders) {
    const DriveMap map = DriveMap::fromText("C=/tmp/box/;d=/;bad;e=relative;1=/x");
    EXPECT_EQ(map.letters(), (std::vector<wchar_t>{L'c', L'd'}));
    struct Row {
        const wchar_t* wide;
        const char* bytes;
    };
    for (const Row& row :
         {Row{L"c:\\a\\B", "/tmp/box/a/B"}, Row{L"C:/a", "/tmp/box/a"}, Row{L"c:", "/tmp/box/"},
          Row{L"c:a", "/tmp/box/a"}, Row{L"\\a", "/tmp/box/a"}, Row{L"/a", "/tmp/box/a"},
          Row{L"D:\\", "/"}, Row{L"a\\b", "a/b"}, Row{L"..\\x", "../x"}}) {
        std::string bytes;
        EXPECT_EQ(map.toBytes(row.wide, bytes), error::Success);
        EXPECT_EQ(bytes, row.bytes) << narrow(row.wide);
    }
    EXPECT_EQ(map.toWide("/tmp/box/a"), L"c:\\a");
    EXPECT_EQ(map.toWide("/tmp/box"), L"c:\\");
    EXPECT_EQ(map.toWide("/tmp/boxes"), L"d:\\tmp\\boxes");
    EXPECT_EQ(DriveMap::fromText("x=/y").toWide("/tmp"), L"");
    EXPECT_EQ(DriveMap::fromText("").letters(), std::vector<wchar_t>{L'c'});
}

}  // namespace
}  // namespace lathwind::posix
