#include <gtest/gtest.h>
#include <random>
#include <set>
#include <sstream>

#include "filewatch/WatchedEntity.h"
#include "filewatch/windows/WinMountManager.h"
#include "support/ScopedCapture.h"
#include "tools/Installation.h"
#include "tools/StateFileTool.h"
#include "tools/ToolRun.h"

namespace lathwind::testing {
namespace {

// Under Wine a system call costs a hundred times what it costs on Linux.
#ifdef _WIN32
constexpr std::size_t kStride = 23;
#else
constexpr std::size_t kStride = 1;
#endif

// Keys of the entities that a damaged file still gives; nothing for a refused one.
std::set<std::wstring> readKeys(const std::string& bytes, bool& accepted) {
    std::istringstream stream(bytes);
    tool::EntityTable entities;
    tool::StateFileHeader header;
    WinMountManager mounts;
    accepted = tool::ReadFileWatchDat(stream, entities, &mounts, header);
    std::set<std::wstring> keys;
    for (const auto& [key, entity] : entities) {
        keys.insert(key);
    }
    return keys;
}

bool isViewed(const std::string& bytes) {
    std::istringstream stream(bytes);
    WinMountManager mounts;
    return tool::ViewFileWatchDat(stream, &mounts);
}

using BadInput = ::testing::TestWithParam<int>;

TEST_P(BadInput, TruncationGivesAShorterListOrNone) {
    const Installation installation(GetParam());
    const ScopedDirectory directory(installation.root.native("IDS/bin"));
    const ScopedCapture capture;
    const std::string whole = installation.state();
    bool accepted = false;
    const std::set<std::wstring> all = readKeys(whole, accepted);
    ASSERT_TRUE(accepted);
    std::size_t shorter = 0;
    for (std::size_t length = 0; length < whole.size(); length += kStride) {
        const std::string cut = whole.substr(0, length);
        const std::set<std::wstring> keys = readKeys(cut, accepted);
        EXPECT_EQ(isViewed(cut), accepted) << length;
        EXPECT_TRUE(std::includes(all.begin(), all.end(), keys.begin(), keys.end())) << length;
        EXPECT_LT(keys.size(), all.size()) << length;
        shorter += accepted ? 1 : 0;
    }
    if (kStride == 1) {
        // Between two records, and in a type or (from version 12 on) in a virtual name.
        EXPECT_GE(shorter, all.size() * 4);
    }
}

TEST_P(BadInput, AChangedByteIsReadOrRefused) {
    const Installation installation(GetParam());
    const ScopedDirectory directory(installation.root.native("IDS/bin"));
    const ScopedCapture capture;
    const std::string whole = installation.state();
    std::size_t refused = 0;
    for (std::size_t at = 0; at < whole.size(); at += kStride) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ std::string_view("\x01\x80\xFF")[at % 3]);
        bool accepted = false;
        readKeys(damaged, accepted);
        EXPECT_EQ(isViewed(damaged), accepted) << at;
        refused += accepted ? 0 : 1;
    }
    EXPECT_GT(refused, 0u);
}

INSTANTIATE_TEST_SUITE_P(Versions, BadInput, ::testing::ValuesIn(kGoldenVersions),
                         [](const auto& row) { return goldenName(row.param); });

TEST(BadInputRandom, BytesNeverPass) {
    std::mt19937 random(20130523);
    const Installation installation;
    const ScopedDirectory directory(installation.root.native("IDS/bin"));
    const ScopedCapture capture;
    for (int round = 0; round < 300; ++round) {
        std::string bytes(random() % 3000, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        if (bytes.size() >= 4 && round % 2 == 0) {
            bytes.replace(
                0, 4,
                std::string("\xCE\xAB", 2) + std::string{static_cast<char>(random() % 14), '\0'});
        }
        bool accepted = false;
        readKeys(bytes, accepted);
        EXPECT_EQ(isViewed(bytes), accepted) << round;
    }
}

TEST(BadInputPaths, BeyondTheBasicPlaneAreNamesLikeOthers) {
    const Installation installation;
    const std::wstring smile = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    const std::wstring log = installation.root.path(L"x" + smile + L".log");
    installation.root.write("x\xF0\x9F\x98\x80.log", "12345");
    EXPECT_EQ(runTool({L"-p", installation.root.path(), L"-l", log, L"-i"}).exitCode, 0);
    const ToolRun view = installation.run({L"-v"});
    EXPECT_EQ(view.exitCode, 0);
    EXPECT_NE(view.output.find("x\xF0\x9F\x98\x80.log\n\t    Exists?: Yes\n\t Log Offset: 5\n"),
              std::string::npos)
        << view.output;
    // Half a pair is a name that no file has.
    const ToolRun half =
        runTool({L"-p", installation.root.path(), L"-l", log.substr(0, log.size() - 5), L"-i"});
    EXPECT_EQ(half.exitCode, 0);
    EXPECT_EQ(installation.run({L"-v"}).exitCode, 0);
}

}  // namespace
}  // namespace lathwind::testing
