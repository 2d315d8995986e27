#include <gtest/gtest.h>

#include "agent/CommandLine.h"

namespace lathwind::agent {
namespace {

using Words = std::vector<std::wstring>;

TEST(AgentCommandLine, OneModeAndARootWhereItIsNeeded) {
    struct Case {
        Words words;
        Mode mode;
        std::wstring root;
    };
    for (const Case& good : std::vector<Case>{
             {{L"x", L"-p", L"c:\\r"}, Mode::Run, L"c:\\r"},
             {{L"x", L"--check", L"-p", L"-h"}, Mode::Check, L"-h"},
             {{L"x", L"-p", L"r", L"--install"}, Mode::Install, L"r"},
             {{L"x", L"-p", L"r", L"--service"}, Mode::Service, L"r"},
             {{L"x", L"--uninstall"}, Mode::Uninstall, L""},
             {{L"x", L"-h"}, Mode::Help, L""},
         }) {
        CommandLine line;
        EXPECT_TRUE(parseCommandLine(good.words, line));
        EXPECT_EQ(line.mode, good.mode);
        EXPECT_EQ(line.rootPath, good.root);
    }
    // A program that is named like an option is none.
    for (const Words& bad : std::vector<Words>{{L"-h"},
                                               {L"-h", L"-p"},
                                               {L"-h", L"-p", L""},
                                               {L"-h", L"--check"},
                                               {L"-h", L"-p", L"r", L"-x"},
                                               {L"-h", L"-p", L"r", L"--CHECK"},
                                               {L"-h", L"-p", L"r", L"--check", L"--install"}}) {
        CommandLine line;
        EXPECT_FALSE(parseCommandLine(bad, line));
    }
}

TEST(AgentCommandLine, QuotedWordsAreReadBackAsTheyWere) {
    EXPECT_EQ(quotedWord(L"C:\\Program Files\\x.exe"), L"\"C:\\Program Files\\x.exe\"");
    EXPECT_EQ(quotedWord(L"C:\\root\\"), L"\"C:\\root\\\\\"");
    EXPECT_EQ(quotedWord(L"a\\\\\"b"), L"\"a\\\\\\\\\\\"b\"");
    EXPECT_EQ(quotedWord(L""), L"\"\"");
}

}  // namespace
}  // namespace lathwind::agent
