#include <gtest/gtest.h>

#include "filewatch/VirtualPath.h"

namespace lathwind {
namespace {

TEST(VirtualPath, MasksAndNames) {
    struct Case {
        std::wstring_view path;
        bool tagged;
        std::wstring_view mask;
        std::wstring_view name;
    };
    const Case cases[] = {
        {L"c:\\VMs\\{VIRTUAL_TAG}\\App.Log", true, L"c:\\VMs\\*\\App.Log", L"App.Log"},
        {L"C:\\x{virtual_Tag}.log", true, L"C:\\x*.log", L"log"},
        {L"a\\{VIRTUAL_TAG}", true, L"a\\*", L""},
        {L"a\\{VIRTUAL_TAG}\\{virtual_tag}\\b", true, L"a\\*\\*\\b", L"{virtual_tag}\\b"},
        {L"c:\\plain.log", false, L"c:\\plain.log", L"c:\\plain.log"},
        {L"c:\\{VIRTUAL_TAG", false, L"c:\\{VIRTUAL_TAG", L"c:\\{VIRTUAL_TAG"},
        {L"", false, L"", L""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(HasVirtualTag(c.path), c.tagged);
        EXPECT_EQ(VirtualTagToWildcard(c.path), c.mask);
        EXPECT_EQ(VirtualNameOf(c.path), c.name);
    }
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
