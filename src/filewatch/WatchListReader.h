#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "filewatch/FileWatchParams.h"
#include "filewatch/LogFileProperties.h"
#include "plugins/FileDiff.h"

namespace lathwind {

class IniFile;  // utils/IniFile.h

// What is watched, by path: expanded, in lower case.
using FileEntries = std::map<std::wstring, FileWatchParams>;
using LogEntries = std::map<std::wstring, LogFileProperties>;

// Why an entry of a watch list is not watched.
enum class RefusalReason {
    Invalid,    // not absolute, not expanded, or with wildcards, ".." or "\\" where they cannot be
    TooLong,    // kMaxPathUnits or more
    TooDeep,    // recursion beyond kMaxRecursionLevel
    Duplicate,  // an entry of that path came before
};

struct RefusedEntry {
    std::wstring path;  // as far as it was understood
    RefusalReason reason = RefusalReason::Invalid;
};

// One list of a file, or one file of log entries.
struct WatchListReport {
    std::wstring_view file;  // one of watchFiles
    std::wstring section;    // of log entries "Log Files"
    std::int32_t listId = 0;
    std::wstring label;
    std::vector<RefusedEntry> refused;  // in the list's order
};

struct FileWatchLists {
    FileEntries entries;
    std::set<std::int32_t> listIds;
    std::vector<DiffRule> diffRules;
    std::vector<WatchListReport> reports;  // of the lists that have entries, in their order
    bool isUnread = false;                 // a file is there and could not be read
};

struct LogWatchLists {
    LogEntries entries;
    std::vector<WatchListReport> reports;  // of the files that have entries, in their order
    bool isUnread = false;                 // a file is there and could not be read
};

// Reads the watch lists (docs/formats/file-watch-lists.md, log-watch-lists.md), and does nothing
// about them: what is refused, and why, is part of the result. Only debug lines are written, and
// warnings of bad values in log entries.
//
// Time and memory follow the size of the files, whatever counts they promise. A reader belongs to
// one thread.
class WatchListReader {
public:
    static constexpr std::size_t kMaxPathUnits = 260;
    static constexpr std::int32_t kMaxRecursionLevel = 63;

    // Once `stop`, not owned, is set, a reading ends before the next entry. It may be null.
    explicit WatchListReader(const std::atomic<bool>* stop = nullptr) : stop_(stop) {}

    // The lists of this installation. A file that does not load adds nothing.
    FileWatchLists LoadFileLists() const;
    LogWatchLists LoadLogLists() const;

    // Adds what is in one file. `file` is one of watchFiles: the customer's list has no lists
    // without a count, and no diff rules.
    void ReadFileLists(const IniFile& ini, std::wstring_view file, FileWatchLists& lists) const;
    void ReadLogEntries(const IniFile& ini, std::wstring_view file, LogWatchLists& lists) const;

    // May a path be watched? Absolute, without "..", without two backslashes in a row but at its
    // start, and without a wildcard in its directory.
    static bool IsPathValid(const std::wstring& path);

private:
    // List `index`, counted from 0; gives its id, or 0 for a list without entries.
    std::int32_t ReadFileList(const IniFile& ini, std::int32_t index, std::wstring_view file,
                              FileWatchLists& lists) const;
    static void ReadEntry(std::wstring_view text, WatchListReport& report, FileEntries& entries);
    void ReadFileDiffRules(const IniFile& ini, FileWatchLists& lists) const;
    bool IsStopped() const noexcept { return stop_ != nullptr && stop_->load(); }

    const std::atomic<bool>* const stop_;
};

}  // namespace lathwind
