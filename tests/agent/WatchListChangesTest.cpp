#include <gtest/gtest.h>
#include <map>

#include "agent/WatchListChanges.h"
#include "filewatch/FileWatchSubject.h"
#include "support/BinaryFolder.h"

namespace lathwind::agent {
namespace {

using Content = WatchListChanges::Content;

constexpr std::uint32_t kFiles = FileWatchSubject::kFileLists;
constexpr std::uint32_t kLogs = FileWatchSubject::kLogLists;

TEST(WatchListChanges, ADifferenceCountsWhenTwoLooksAgree) {
    std::map<std::wstring, Content> disk;
    for (const std::wstring_view list : watchFiles::kWatchLists) {
        disk[std::wstring(list)] = L"old";
    }
    WatchListChanges changes([&disk](const std::wstring& path) { return disk.at(path); });

    struct Step {
        Content files;
        Content logs;
        std::uint32_t changed;
        bool unsettled;
    };
    const Content unreadable;
    int number = 0;
    for (const Step& step : std::vector<Step>{
             {L"old", L"old", 0, false},
             {L"half", L"old", 0, true},
             {L"whole", L"old", 0, true},  // still growing
             {L"whole", L"old", kFiles, false},
             {L"whole", L"old", 0, false},
             {L"", L"new", 0, true},  // one is removed, the other one changed
             {L"whole", L"new", kLogs, false},
             {unreadable, L"new", 0, true},
             {unreadable, L"new", 0, true},  // that neither look can read it is no agreement
             {L"whole", L"", 0, true},
             {L"last", L"", kLogs, true},
             {L"last", L"", kFiles, false},
         }) {
        disk[std::wstring(watchFiles::kCustomFileWatchList)] = step.files;
        disk[std::wstring(watchFiles::kServiceLogWatchList)] = step.logs;
        EXPECT_EQ(changes.look(), step.changed) << number;
        EXPECT_EQ(changes.isUnsettled(), step.unsettled) << number;
        ++number;
    }
    // Both file lists change; the one that rests first waits for the other.
    disk[std::wstring(watchFiles::kFileWatchList)] = L"new";
    for (const auto& [content, changed] : std::vector<std::pair<Content, std::uint32_t>>{
             {L"half", 0}, {L"more", 0}, {L"more", kFiles}, {L"more", 0}}) {
        disk[std::wstring(watchFiles::kCustomFileWatchList)] = content;
        EXPECT_EQ(changes.look(), changed);
    }
    changes.forget(kLogs);  // nobody knows which ones are in force
    EXPECT_EQ(changes.look(), 0u);
    EXPECT_TRUE(changes.isUnsettled());
    EXPECT_EQ(changes.look(), kLogs);
    EXPECT_EQ(changes.look(), 0u);
}

TEST(WatchListChanges, ReadsTheListsOfTheBinaryFolder) {
    const testing::BinaryFolder installation;
    WatchListChanges changes;
    installation.root.write("system/filewatch.ini", "[FileWatch]\n");
    EXPECT_EQ(changes.look(), 0u);
    installation.root.write("system/logwatch.ini", "");  // empty is not absent
    EXPECT_EQ(changes.look(), kFiles);
    EXPECT_EQ(changes.look(), kLogs);
    EXPECT_EQ(WatchListChanges::readContent(installation.root.path(L"system")), std::nullopt);
}

}  // namespace
}  // namespace lathwind::agent
