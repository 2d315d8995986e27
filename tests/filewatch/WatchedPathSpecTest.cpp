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

}  // namespace
}  // namespace lathwind
