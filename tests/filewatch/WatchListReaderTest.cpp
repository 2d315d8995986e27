#include <gtest/gtest.h>

#include "filewatch/WatchFileNames.h"
#include "filewatch/WatchListReader.h"
#include "support/LogCapture.h"
#include "utils/IniFile.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using enum RefusalReason;
using lathwind::testing::LogCapture;

FileWatchLists readFiles(const std::wstring& text,
                         std::wstring_view file = watchFiles::kFileWatchList) {
    IniFile ini;
    ini.parse(text);
    FileWatchLists lists;
    WatchListReader().ReadFileLists(ini, file, lists);
    return lists;
}

TEST(WatchListReader, FindsTheLists) {
    const std::wstring one = L"MaxFileNumber=1\nFile0001=c:\\a\n";
    const std::wstring fixed = L"[FileWatch List - High Protection]\nPollInterval=77\n" + one +
                               L"[FileWatch List - Normal Protection]\n" + one;
    const std::wstring third = L"[FileWatch List0003]\nPollInterval=5\n" + one;
    const std::wstring fourth = L"[FileWatch List0004]\nPollInterval=30\n" + one;
    const auto counted = [](const std::wstring& count, const std::wstring& lists) {
        return L"[FileWatch]\nNumLists=" + count + L"\n" + lists;
    };
    const struct {
        const char* what;
        std::wstring text;
        std::set<std::int32_t> ids;
        std::wstring_view file = watchFiles::kFileWatchList;
    } rows[] = {
        {"no count", fixed, {1, 2}},
        {"a negative one", counted(L"-7", fixed), {1, 2}},
        {"no list", L"", {}},
        {"the customer's without a count", fixed, {}, watchFiles::kCustomFileWatchList},
        {"the customer's", counted(L"1", fixed), {1}, watchFiles::kCustomFileWatchList},
        {"an interval too short", counted(L"3", third), {10}},
        {"a gap", counted(L"4", fixed + fourth), {1, 2, 30}},
        {"a numbered first list", counted(L"1", fixed + L"[filewatch list0001]\n" + one), {10}},
        {"no entries", counted(L"3", L"[FileWatch List0003]\nMaxFileNumber=0\n"), {}},
        {"more lists than there can be", counted(L"2147483647", fourth), {30}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(readFiles(row.text, row.file).listIds, row.ids) << row.what;
    }
    LogCapture log;
    readFiles(counted(L"4", fourth));
    EXPECT_TRUE(log.hasDebug(L"Section name in filewatch.ini not found: FileWatch List0003"));
    EXPECT_FALSE(log.hasDebug(L"Section name in filewatch.ini not found: FileWatch List0002"));
}

TEST(WatchListReader, ReadsEntries) {
    const std::wstring atLimit = L"c:\\" + std::wstring(256, L'x');
    const struct {
        std::wstring text;
        std::wstring path;
        std::int32_t level;
        bool checksum = false;
        bool accessTime = false;
    } rows[] = {
        {L"c:\\A\\B.txt", L"c:\\a\\b.txt", 2},
        {L"c:\\a\\b.txt|2|1|0", L"c:\\a\\b.txt", 2, true},
        {L"c:\\a|0|0|1|9", L"c:\\a", 2, false, true},
        {L"c:\\a|63|yes|11", L"c:\\a", 63},
        {L"c:\\a|-3", L"c:\\a", 2},
        {L"c:\\a\\\\", L"c:\\a\\\\", -1},
        {L"c:\\a\\", L"c:\\a", 2},
        {L"\\\\server\\share\\*", L"\\\\server\\share\\*", 2},
        {atLimit, atLimit, 2},
    };
    for (const auto& row : rows) {
        const auto lists = readFiles(
            L"[FileWatch]\nNumLists=3\n[FileWatch List0003]\n"
            L"ListLabel=mine\nPollInterval=20\nMaxFileNumber=1\nFile0001=" +
            row.text + L"\n");
        if (row.level < 0) {
            EXPECT_TRUE(lists.entries.empty());
            continue;
        }
        ASSERT_EQ(lists.entries.size(), 1u) << narrow(row.text);
        const auto& [path, params] = *lists.entries.begin();
        EXPECT_EQ(path, row.path);
        EXPECT_EQ(params.listId, 20);
        EXPECT_EQ(params.label, L"mine");
        EXPECT_EQ(params.recursionLevel, row.level) << narrow(row.text);
        EXPECT_EQ(params.checksum, row.checksum) << narrow(row.text);
        EXPECT_EQ(params.monitorAccessTime, row.accessTime) << narrow(row.text);
    }
}

TEST(WatchListReader, ReadsLogs) {
    const struct {
        std::wstring name;
        std::wstring path;  // empty for one that is refused
    } rows[] = {
        {L"C:/Logs/*.LOG", L"c:\\logs\\*.log"},
        {L"\\logs\\x.log", L"c:\\logs\\x.log"},
        {L"logs\\x.log", L""},
    };
    for (const auto& row : rows) {
        IniFile ini;
        ini.parse(L"[Log Files]\nFiles=1\n[File1]\nFileName=" + row.name + L"\n");
        LogWatchLists logs;
        WatchListReader().ReadLogEntries(ini, watchFiles::kLogWatchList, logs);
        ASSERT_EQ(logs.entries.size(), row.path.empty() ? 0u : 1u) << narrow(row.name);
        if (!row.path.empty()) {
            EXPECT_EQ(logs.entries.begin()->first, row.path);
            EXPECT_EQ(logs.entries.begin()->second.GetFileName(), row.path);
        }
    }
}

TEST(WatchListReader, RefusesEntries) {
    const std::wstring tooLong = L"c:\\" + std::wstring(257, L'x');
    const struct {
        std::wstring text;
        RefusalReason reason;
    } rows[] = {
        {L"a\\b", Invalid},
        {L"c:\\a\\..\\b", Invalid},
        {L"c:\\a\\\\b", Invalid},
        {L"\\\\\\server\\x", Invalid},
        {L"c:\\*\\b.txt", Invalid},
        {L"%NOSUCH_VARIABLE%\\x", Invalid},
        {L"c:\\100%\\x", Invalid},
        {tooLong, TooLong},
        {tooLong + L"|64", TooLong},
        {L"c:\\a|64", TooDeep},
        {L"c:\\a|99999999999", TooDeep},
        {L"C:\\Twice\\", Duplicate},
    };
    LogCapture log;
    for (const auto& row : rows) {
        const auto lists = readFiles(
            L"[FileWatch]\nNumLists=1\n[FileWatch List0001]\nMaxFileNumber=9\n"
            L"File0004=c:\\twice|1\nFile0007=" +
            row.text + L"\nFile0010=c:\\beyond\nFile12=c:\\other\n");
        ASSERT_EQ(lists.reports.size(), 1u);
        const auto& report = lists.reports.front();
        EXPECT_EQ(report.section, L"FileWatch List0001");
        ASSERT_EQ(report.refused.size(), 1u) << narrow(row.text) << ": a gap is no entry";
        EXPECT_EQ(report.refused[0].reason, row.reason) << narrow(row.text);
        EXPECT_TRUE(row.text.starts_with(report.refused[0].path) || row.reason == Duplicate);
        EXPECT_EQ(lists.entries.size(), 1u);
        EXPECT_EQ(lists.entries.at(L"c:\\twice").recursionLevel, 1) << "the first entry stands";
    }
    EXPECT_TRUE(log.hasDebug(L"Duplicate filewatch.ini entry: c:\\twice dropped"));
    EXPECT_TRUE(log.messages.empty());
}

// As many numbers as a list likes to promise, and one that is far away.
TEST(WatchListReader, BelievesNoCount) {
    const auto lists = readFiles(
        L"[FileWatch]\nNumLists=1\n[FileWatch List0001]\nMaxFileNumber=2147483647\n"
        L"File2147483647=c:\\last\nFile00001=c:\\no\nFile12345=c:\\far\n"
        L"[FileWatch - FileDiff]\nMaxFileDiffNumber=2147483647\nFileDiff2000000000=far\n"
        L"[far]\nFilter=*.x\nType=txt\n");
    EXPECT_EQ(lists.entries.size(), 2u);
    ASSERT_EQ(lists.diffRules.size(), 1u);
    IniFile ini;
    ini.parse(L"[Log Files]\nFiles=2147483647\n[File2000000000]\nFileName=c:\\far.log\n");
    LogWatchLists logs;
    WatchListReader().ReadLogEntries(ini, watchFiles::kLogWatchList, logs);
    EXPECT_EQ(logs.entries.size(), 1u);
    EXPECT_TRUE(logs.reports.front().refused.empty());
}

TEST(WatchListReader, ReadsDiffRules) {
    const std::wstring text =
        L"[FileWatch - FileDiff]\nMaxFileDiffNumber=4\nFileDiff0001=one\nFileDiff0002=two\n"
        L"FileDiff0003=none\nFileDiff0004=\nFileDiff0005=beyond\n[one]\nFilter=*.ini\nType=txt\n"
        L"[two]\nFilter=*.ini\nType=ini\n[beyond]\nFilter=*.txt\nType=txt\n";
    const auto rules = readFiles(text).diffRules;
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_EQ(rules[0].pattern, L"*.ini");
    EXPECT_EQ(rules[0].type, L"ini") << "a later rule of the same mask replaces an earlier one";
    EXPECT_TRUE(readFiles(text, watchFiles::kCustomFileWatchList).diffRules.empty());
}

TEST(WatchListReader, StopsBeforeTheNextEntry) {
    IniFile ini;
    ini.parse(L"[FileWatch List - High Protection]\nMaxFileNumber=1\nFile0001=c:\\a\n");
    const std::atomic<bool> stop{true};
    FileWatchLists lists;
    WatchListReader(&stop).ReadFileLists(ini, watchFiles::kFileWatchList, lists);
    EXPECT_TRUE(lists.entries.empty());
}

}  // namespace
}  // namespace lathwind
