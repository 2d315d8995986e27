#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "filewatch/windows/WinFIMWatcher.h"
#include "support/FakeFilter.h"
#include "support/LogCapture.h"

namespace lathwind {
namespace {

using testing::FakeFilter;
using testing::LogCapture;

TEST(WinFIMWatcherTest, AddsAndRemoves) {
    LogCapture log;
    FakeFilter filter;
    WinFIMWatcher watcher;
    EXPECT_FALSE(watcher.AddFileToWatch(L"c:\\a\\*", 2, true)) << "no filter yet";
    EXPECT_FALSE(watcher.RemoveFileToWatch(L"c:\\a\\*", 2, true));
    watcher.SetInterface(&filter);
    EXPECT_FALSE(watcher.AddFileToWatch(L"\\\\server\\share\\*", 1, false));
    EXPECT_FALSE(watcher.AddFileToWatch(L"c:\\\xD800", 1, false)) << "in no code page";
    EXPECT_TRUE(filter.calls.empty());

    EXPECT_TRUE(watcher.AddFileToWatch(L"c:\\a\\*", 2, true));
    EXPECT_FALSE(watcher.AddFileToWatch(L"c:\\a\\*", 2, true));
    EXPECT_TRUE(watcher.AddFileToWatch(L"c:\\a\\*", 3, true));  // another spec
    EXPECT_TRUE(watcher.RemoveFileToWatch(L"c:\\a\\*", 2, true)) << "one of two who asked";
    EXPECT_EQ(filter.calls.size(), 2u);
    EXPECT_TRUE(watcher.RemoveFileToWatch(L"c:\\a\\*", 2, true));
    EXPECT_TRUE(watcher.AddFileToWatch(L"c:\\a\\*", 2, true));
    EXPECT_EQ(filter.calls, (std::vector<std::string>{"add c:\\a\\* 210", "add c:\\a\\* 310",
                                                      "remove c:\\a\\* 210", "add c:\\a\\* 210"}));
    EXPECT_EQ(log.debugLines,
              (std::vector<std::wstring>{
                  L"REALTIME FileWatch AddFileToWatch: c:\\a\\* 2",
                  L"REALTIME FileWatch AddFileToWatch: c:\\a\\* already being watched",
                  L"REALTIME FileWatch AddFileToWatch: c:\\a\\* 3",
                  L"REALTIME FileWatch RemoveFileToWatch: c:\\a\\* 2",
                  L"REALTIME FileWatch AddFileToWatch: c:\\a\\* 2"}));
}

TEST(WinFIMWatcherTest, SurvivesTheLibrary) {
    LogCapture log;
    FakeFilter filter;
    WinFIMWatcher watcher;
    watcher.SetInterface(&filter);
    EXPECT_TRUE(watcher.AddFileToWatch(L"c:\\kept", 1, false));
    log.takeDebug();
    filter.result = 5;
    EXPECT_FALSE(watcher.AddFileToWatch(L"c:\\x", 1, false));
    EXPECT_FALSE(watcher.RemoveFileToWatch(L"c:\\kept", 1, false));
    filter.throws = true;
    EXPECT_FALSE(watcher.AddFileToWatch(L"c:\\x", 1, false));
    EXPECT_FALSE(watcher.RemoveFileToWatch(L"c:\\kept", 1, false));
    EXPECT_EQ(log.takeDebug(),
              (std::vector<std::wstring>{L"REALTIME FileWatch AddFileToWatch FAILED: c:\\x 5",
                                         L"REALTIME FileWatch RemoveFileToWatch FAILED: c:\\kept 5",
                                         L"Exception caught. Failed to AddFileToWatch",
                                         L"Exception caught. Failed to RemoveFileToWatch"}));
    filter.throws = false;
    filter.result = 0;
    EXPECT_TRUE(watcher.AddFileToWatch(L"c:\\x", 1, false)) << "a refused path may come again";
    EXPECT_FALSE(watcher.AddFileToWatch(L"c:\\kept", 1, false)) << "and what stayed is there";
}

}  // namespace
}  // namespace lathwind
