#include <gtest/gtest.h>
#include <string>

#include "filewatch/VirtualPathSpec.h"

namespace lathwind {
namespace {

TEST(VirtualPathSpecTest, CutsTheEntryAtTheToken) {
    struct Case {
        const wchar_t* entry;
        const wchar_t* root;
        const wchar_t* tail;
        const wchar_t* wildcard;
    };
    const Case cases[] = {
        {L"c:\\i\\{VIRTUAL_TAG}\\logs\\*.log", L"c:\\i\\", L"logs\\", L"c:\\i\\*\\logs\\*.log"},
        {L"c:\\i\\{virtual_tag}\\*", L"c:\\i\\", L"", L"c:\\i\\*\\*"},
        {L"c:\\i\\srv{Virtual_Tag}\\a\\b\\c.txt", L"c:\\i\\srv", L"a\\b\\",
         L"c:\\i\\srv*\\a\\b\\c.txt"},
        {L"c:\\i\\x{virtual_tag}y\\f", L"c:\\i\\x", L"y\\", L"c:\\i\\x*y\\f"},
        {L"c:\\i\\{virtual_tag}", L"c:\\i\\", L"", L"c:\\i\\*"},  // a token in the mask is none
    };
    for (const Case& test : cases) {
        const VirtualPathSpec spec(test.entry, 1, false, test.entry);
        EXPECT_EQ(spec.GetRoot(), test.root) << test.entry;
        EXPECT_EQ(spec.GetTail(), test.tail) << test.entry;
        EXPECT_EQ(spec.GetWildcardEntry(), test.wildcard);
        EXPECT_EQ(spec.GetVirtualEntry(), test.entry);
        EXPECT_TRUE(spec.IsWildCard());
    }
}

TEST(VirtualPathSpecTest, MatchesAndNames) {
    struct Case {
        const wchar_t* entry;
        std::int32_t level;
        const wchar_t* path;
        bool matches;
        const wchar_t* name;
    };
    const wchar_t* const logs = L"c:\\i\\{virtual_tag}\\logs\\*.log";
    const wchar_t* const bare = L"c:\\i\\{virtual_tag}\\*.log";
    const Case cases[] = {
        {logs, 1, L"c:\\i\\web1\\logs\\a.log", true, L"NAME=web1"},
        {logs, 1, L"c:\\i\\eu\\web1\\logs\\a.log", true, L"NAME=eu-web1"},
        {logs, 1, L"c:\\i\\x\\eu\\web1\\logs\\a.log", false, L"NAME=x"},
        {logs, 1, L"c:\\i\\web1\\logs\\old\\a.log", false, L"NAME=web1"},
        {logs, 2, L"c:\\i\\web1\\logs\\old\\a.log", true, L"NAME=web1"},
        {logs, 1, L"c:\\i\\web1\\logs\\a.txt", false, L"NAME=web1"},
        {logs, 1, L"c:\\i\\web1", false, L"NAME=web1"},
        {logs, 1, L"c:\\j\\web1\\logs\\a.log", false, L""},
        {bare, 1, L"c:\\i\\web1\\a.log", true, L"NAME=web1"},
        {bare, 1, L"c:\\i\\web1\\a.txt", false, L"NAME=web1"},
        {bare, 1, L"c:\\i\\a.log", false, L"NAME=a.log"},  // beside the instances
    };
    for (const Case& test : cases) {
        const VirtualPathSpec spec(test.entry, test.level, false, test.entry);
        EXPECT_EQ(spec.Matches(test.path), test.matches) << test.entry << " " << test.path;
        EXPECT_EQ(spec.GetVirtualName(test.path), test.name) << test.entry << " " << test.path;
    }
}

TEST(VirtualPathSpecTest, InstanceFoldersAndTheirTails) {
    const std::wstring entry = L"c:\\i\\{virtual_tag}\\logs\\*.log";
    const VirtualPathSpec spec(entry, 1, false, entry);
    struct Case {
        const wchar_t* path;
        std::int32_t level;
        bool isDir;
        bool isChild;
    };
    const Case cases[] = {
        {L"c:\\i\\web1", 1, true, false},
        {L"c:\\i\\web1\\logs", 1, false, false},
        {L"c:\\i\\web1\\logs", 2, true, false},
        {L"c:\\i\\web1\\logs\\", 1, false, true},
        {L"c:\\i\\eu\\web1\\logs\\", 1, false, false},
        {L"c:\\i\\eu\\web1\\logs\\", 2, false, true},
        {L"c:\\i", 1, false, false},
        {L"c:\\other\\web1", 1, false, false},
    };
    for (const Case& test : cases) {
        EXPECT_EQ(spec.IsVirtualDir(test.path, test.level), test.isDir) << test.path;
        EXPECT_EQ(spec.IsVirtualChild(test.path, test.level), test.isChild) << test.path;
    }
}

}  // namespace
}  // namespace lathwind
