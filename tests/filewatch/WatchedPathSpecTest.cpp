#include <gtest/gtest.h>

#include "filewatch/WatchedPathSpec.h"

namespace lathwind {
namespace {

TEST(WatchedPathSpec, SplittingTable) {
    struct Row {
        const wchar_t* path;
        const wchar_t* directory;
        const wchar_t* mask;
    } rows[] = {
        {L"c:\\logs\\*.log", L"c:\\logs\\", L"*.log"},
        {L"c:\\logs\\", L"c:\\", L"logs"},
        {L"c:\\a\\", L"c:\\", L"a"},  // 5 units: the backslash does not count
        {L"c:\\\\", L"c:\\\\", L""},  // 4 units: it does
        {L"c:\\", L"c:\\", L""},
        {L"c:\\a\\\\", L"c:\\a\\", L""},  // one backslash only
        {L"c:", L"", L"c:"},
        {L"name", L"", L"name"},
        {L"", L"", L""},
        {L"\\\\server\\share\\f.txt", L"\\\\server\\share\\", L"f.txt"},
    };
    for (const Row& row : rows) {
        const WatchedPathSpec spec(row.path, 3, true);
        EXPECT_EQ(spec.GetDirectory(), row.directory) << row.path;
        EXPECT_EQ(spec.GetMask(), row.mask) << row.path;
        EXPECT_EQ(spec.GetFullPath(), row.path);
        EXPECT_EQ(spec.GetRecursionLevel(), 3);
        EXPECT_TRUE(spec.GetMonitorAccessTime());
    }
}

TEST(WatchedPathSpec, MatchingTable) {
    struct Row {
        const wchar_t* entry;
        std::int32_t level;
        const wchar_t* path;
        bool matches;
    } rows[] = {
        {L"c:\\a\\*.txt", 1, L"c:\\a\\x.txt", true},
        {L"c:\\a\\*.txt", 1, L"c:\\a\\x.TXT", false},  // callers fold both
        {L"c:\\a\\*.txt", 1, L"c:\\a\\b\\x.txt", false},
        {L"c:\\a\\*.txt", 2, L"c:\\a\\b\\x.txt", true},
        {L"c:\\a\\*.txt", 2, L"c:\\a\\b\\c\\x.txt", false},
        {L"c:\\a\\*.txt", 9, L"c:\\ab\\x.txt", false},
        {L"c:\\a\\*.txt", 9, L"c:\\x.txt", false},
        {L"c:\\a\\*", 0, L"c:\\a\\x", false},
        {L"c:\\a\\*", 1, L"c:\\a\\", true},  // "*" matches an empty name
        {L"*.txt", 3, L"x.txt", true},
    };
    for (const Row& row : rows) {
        const WatchedPathSpec spec(row.entry, row.level, false);
        EXPECT_EQ(spec.Matches(row.path), row.matches) << row.entry << " " << row.path;
    }
    const WatchedPathSpec spec(L"c:\\a\\*.txt", 2, false);
    EXPECT_TRUE(spec.MatchesAtLevel(L"c:\\elsewhere\\x.TXT", 2, false));
    EXPECT_FALSE(spec.MatchesAtLevel(L"c:\\a\\x.txt", 3, false));
    EXPECT_FALSE(spec.MatchesAtLevel(L"c:\\a\\x.TXT", 1, true));
}

}  // namespace
}  // namespace lathwind
