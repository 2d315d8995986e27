#include "agent/CheckLists.h"

#include "agent/WatchListChanges.h"
#include "filewatch/WatchListReader.h"
#include "filewatch/windows/WinFileWatcher.h"
#include "utils/AgentInfo.h"
#include "utils/Console.h"
#include "utils/LogSink.h"

namespace lathwind::agent {
namespace {

// Shows what the reading of the lists has to say, which the service log would get otherwise.
class NotesOnConsole : public LogSink {
public:
    NotesOnConsole() { setLogSink(this); }
    ~NotesOnConsole() override { setLogSink(nullptr); }
    NotesOnConsole(const NotesOnConsole&) = delete;
    NotesOnConsole& operator=(const NotesOnConsole&) = delete;

    void debugOutput(std::wstring_view, int, std::wstring_view text) override {
        print(L"note: %ls\n", text);
    }
    void messageOutput(Severity, std::wstring_view text) override {
        print(L"warning: %ls\n", text);
    }
};

const wchar_t* wordsFor(RefusalReason reason) {
    switch (reason) {
        case RefusalReason::TooLong:
            return L"the path is too long";
        case RefusalReason::TooDeep:
            return L"more levels than there may be";
        case RefusalReason::Duplicate:
            return L"an earlier entry has the same path";
        case RefusalReason::Invalid:
            break;
    }
    return L"not absolute, a variable without a value, or \"..\", \"\\\\\" or a wildcard in its "
           L"folder";
}

void showSettings(const AgentInfo& settings) {
    print(L"Settings\n");
    print(L"  file watching %ls, real-time filter %ls\n",
          settings.collectors().isEnabled(collectorBit::File) ? L"on" : L"off",
          settings.enableFilewatchFilter() ? L"on" : L"off");
    print(L"  checksums %ls, access times %ls, %u levels where an entry names none\n",
          settings.watchedFilesChecksum() ? L"on" : L"off",
          settings.monitorLastAccessTime() ? L"on" : L"off", settings.recursionLevel());
    if (const std::int32_t interval = WinFileWatcher::IntervalOf(WinFileWatcher::kSaveTimer);
        interval > 0) {
        print(L"  the state is saved every %d s\n", interval);
    } else {
        print(L"  the state is saved when the agent stops\n");
    }
    for (const PluginSetting& plugin : settings.pluginCollectors()) {
        print(L"  collector %ls: %ls\n", plugin.name, plugin.library);
    }
}

// The number of entries that are refused.
std::size_t showLists(const std::vector<WatchListReport>& reports) {
    std::size_t refused = 0;
    for (const WatchListReport& report : reports) {
        print(L"%ls [%ls]", report.file, report.section);
        if (!report.label.empty()) {
            print(L" \"%ls\"", report.label);
        }
        print(L": list %d, every %d s\n", report.listId, WinFileWatcher::IntervalOf(report.listId));
        for (const RefusedEntry& entry : report.refused) {
            print(L"  refused: %ls: %ls\n", entry.path, wordsFor(entry.reason));
        }
        refused += report.refused.size();
    }
    return refused;
}

void showFiles(const FileWatchLists& lists) {
    for (const auto& [path, params] : lists.entries) {
        print(L"  file %ls: list %d, every %d s, levels %d%ls%ls\n", path, params.listId,
              WinFileWatcher::IntervalOf(params.listId), params.recursionLevel,
              params.checksum ? L", checksum" : L"",
              params.monitorAccessTime ? L", access time" : L"");
    }
    for (const DiffRule& rule : lists.diffRules) {
        print(L"  diff of %ls: %ls\n", rule.pattern, rule.type);
    }
}

void showLogs(const LogWatchLists& lists) {
    for (const auto& [path, log] : lists.entries) {
        print(L"  log %ls: every %d s, %ls, %ls\n", path, WinFileWatcher::IntervalOf(0),
              log.GetEncoding(),
              log.GetParseString().empty() ? std::wstring(L"each line")
                                           : L"lines with: " + log.GetParseString());
    }
}

std::size_t showUnreadable() {
    std::size_t count = 0;
    for (const std::wstring_view list : watchFiles::kWatchLists) {
        if (!WatchListChanges::readContent(std::wstring(list)).has_value()) {
            print(L"%ls: cannot be read\n", list);
            ++count;
        }
    }
    return count;
}

}  // namespace

ExitCode checkLists() {
    const AgentInfoRef settings;
    const NotesOnConsole notes;
    showSettings(*settings);
    print(L"Lists\n");
    const std::size_t unreadable = showUnreadable();
    const FileWatchLists files = WatchListReader().LoadFileLists();
    const LogWatchLists logs = WatchListReader().LoadLogLists();
    const std::size_t refused = showLists(files.reports) + showLists(logs.reports);
    print(L"Watched\n");
    showFiles(files);
    showLogs(logs);
    print(L"%u file entries, %u log entries; %u refused\n", files.entries.size(),
          logs.entries.size(), refused);
    return refused + unreadable == 0 ? ExitCode::Success : ExitCode::EntriesRefused;
}

}  // namespace lathwind::agent
