#include <gtest/gtest.h>

#include "tools/CommandLine.h"
#include "tools/ToolRun.h"

namespace lathwind::tool {
namespace {

using Words = std::vector<std::wstring>;

const char* const kUsage =
    "Usage: Lathwind [-h] [-c] -p <rvmk-root-path> -l <rvmk-ipslog-path> [-v] [-i]\n"
    "-h (optional)           : print this usage message.\n"
    "-c (optional)           : upgrade FileWatch.dat to the latest format.\n"
    "<rvmk-root-path>        : folder containing rvmk installation\n"
    "<rvmk-ipslog-path>      : full path to ips service log\n"
    "-v (optional)           : view contents of FileWatch.dat.\n"
    "-i (optional)           : initialize contents of FileWatch.dat.\n";

TEST(CommandLine, IsParsed) {
    const struct {
        Words words;
        const wchar_t* root;
        const wchar_t* log;
        const char* flags;  // of "vihc"
    } rows[] = {
        {{L"x", L"-p", L"r", L"-l", L"g"}, L"r", L"g", ""},
        {{L"x", L"-p", L"r", L"-l", L"g", L"-c"}, L"r", L"g", "c"},
        {{L"x", L"-v", L"-p", L"r", L"-l", L"g"}, L"r", L"g", "v"},
        {{L"x", L"-p", L"r", L"-l", L"-v"}, L"r", L"-v", "v"},
        {{L"x", L"-p", L"r", L"-l", L"-v", L"-c"}, L"r", L"-v", "vc"},
        {{L"x", L"-p", L"-v", L"-l", L"g"}, L"-v", L"g", ""},
        {{L"x", L"-l", L"-p", L"r"}, L"r", L"-p", ""},
        {{L"x", L"-p", L"r", L"-l", L"g", L"-p"}, L"r", L"g", ""},
        {{L"x", L"-p", L"r", L"-l", L"g", L"junk"}, L"r", L"g", ""},
        {{L"-i", L"-p", L"r", L"-l", L"g"}, L"r", L"g", "i"},
        {{L"x", L"-h"}, L"", L"", "h"},
        {{L"x", L"-h", L"-p", L"r"}, L"r", L"", "h"},
    };
    for (const auto& row : rows) {
        CommandLine line;
        ASSERT_TRUE(ParseCommandLine(row.words, line));
        EXPECT_EQ(line.rootPath, row.root);
        EXPECT_EQ(line.logPath, row.log);
        std::string flags;
        flags += line.viewFlag ? "v" : "";
        flags += line.initFlag ? "i" : "";
        flags += line.helpFlag ? "h" : "";
        flags += line.convertFlag ? "c" : "";
        EXPECT_EQ(flags, row.flags);
    }
}

TEST(CommandLine, IsRejectedWithTheUsage) {
    const Words rows[] = {
        {},
        {L"-p", L"r"},
        {L"-l", L"g"},
        {L"-V", L"-p", L"r"},
        {L"-p", L"r", L"-l"},
        {L"-h", L"-l"},
        {L"-p", L"", L"-l", L"g"},
        {L"-p", L"r", L"-l", L"g", L"-v", L"-c"},
        {L"-h", L"a", L"b", L"c", L"d", L"e"},
    };
    for (const Words& words : rows) {
        const testing::ToolRun run = testing::runTool(words);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.output, kUsage);
    }
}

TEST(CommandLine, HelpNeedsNothingElse) {
    for (const Words& words : {Words{L"-h"}, Words{L"-h", L"-v", L"-p", L"no such folder"}}) {
        const testing::ToolRun run = testing::runTool(words);
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.output, kUsage);
    }
}

TEST(CommandLine, TellsOfAFolderThatIsNotThere) {
    const testing::ToolRun run = testing::runTool({L"-p", L"c:\\no\\such", L"-l", L"g", L"-v"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_EQ(run.output, "Failed to set current working dir to c:\\no\\such\\IDS\\bin .\n" +
                              std::string(kUsage));
}

}  // namespace
}  // namespace lathwind::tool
