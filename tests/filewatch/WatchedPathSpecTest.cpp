#include <gtest/gtest.h>

#include "filewatch/VirtualPath.h"
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

TEST(VirtualPath, HasTheMarkerInAnyCase) {
    EXPECT_TRUE(PathHasVirtualTag(L"c:\\x\\{VIRTUAL_TAG}\\y"));
    EXPECT_TRUE(PathHasVirtualTag(L"{Virtual_tag}"));
    EXPECT_FALSE(PathHasVirtualTag(L"c:\\{VIRTUAL_TAG"));
}

TEST(VirtualPath, SameTable) {
    struct Row {
        const wchar_t* first;
        const wchar_t* second;
        bool exact;
        bool same;
    } rows[] = {
        {L"c:\\a\\one\\b.txt", L"c:\\a\\{VIRTUAL_TAG}\\b.txt", true, true},
        {L"c:\\a\\one\\b.txt", L"c:\\a\\{virtual_tag}\\b.txt", true, true},
        {L"c:\\A\\one\\b.txt", L"c:\\a\\{VIRTUAL_TAG}\\b.txt", true, false},
        {L"c:\\A\\one\\B.txt", L"c:\\a\\{VIRTUAL_TAG}\\b.TXT", false, true},
        {L"c:\\a\\one\\B.txt", L"c:\\a\\{VIRTUAL_TAG}\\b.txt", true, false},
        {L"c:\\a\\one\\x\\b.txt", L"c:\\a\\{VIRTUAL_TAG}\\b.txt", true, false},  // one level
        {L"d:\\c:\\a\\one\\b", L"c:\\a\\{VIRTUAL_TAG}\\b", true, false},         // not at the start
        {L"c:\\a\\one", L"c:\\a\\{VIRTUAL_TAG}", true, true},
        {L"c:\\a\\one\\x", L"c:\\a\\{VIRTUAL_TAG}", true, false},
        {L"c:\\a\\pre1\\b", L"c:\\a\\pre{VIRTUAL_TAG}\\b", true, true},
        {L"c:\\1\\m\\2\\z", L"c:\\{VIRTUAL_TAG}\\m\\{virtual_TAG}\\z", true, true},
        {L"c:\\1\\n\\2\\z", L"c:\\{VIRTUAL_TAG}\\m\\{virtual_TAG}\\z", true, false},
        {L"c:\\plain", L"c:\\plain", true, true},
        {L"", L"c:\\{VIRTUAL_TAG}", true, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(SameVirtualPath(row.first, row.second, row.exact), row.same)
            << ::testing::PrintToString(row.first) << ::testing::PrintToString(row.second);
    }
}

}  // namespace
}  // namespace lathwind
