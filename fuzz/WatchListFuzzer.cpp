// A watch list of any bytes: what is accepted keeps to the rules, and is accepted again.
#include <cstdint>
#include <cstdlib>

#include "filewatch/WatchFileNames.h"
#include "filewatch/WatchListReader.h"
#include "utils/AgentInfo.h"
#include "utils/IniFile.h"
#include "utils/Text.h"

namespace {

using namespace lathwind;

void require(bool isSo) {
    if (!isSo) {
        std::abort();
    }
}

void requireSound(const FileWatchLists& lists) {
    for (const auto& [path, params] : lists.entries) {
        require(!path.empty() && path.size() < WatchListReader::kMaxPathUnits);
        require(path == toLower(path) && path.find(L'%') == std::wstring::npos);
        require(path.size() == 1 || path.back() != L'\\');
        require(params.recursionLevel >= 1 &&
                params.recursionLevel <= WatchListReader::kMaxRecursionLevel);
        require(lists.listIds.contains(params.listId));
    }
    for (const std::int32_t id : lists.listIds) {
        require(id == 1 || id == 2 || id >= 10);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const AgentInfoRef settings;  // read once
    IniFile ini;
    ini.parseBytes({reinterpret_cast<const char*>(data), size});
    for (const auto file : {watchFiles::kFileWatchList, watchFiles::kCustomFileWatchList}) {
        FileWatchLists lists;
        WatchListReader().ReadFileLists(ini, file, lists);
        requireSound(lists);
        FileWatchLists again = lists;
        WatchListReader().ReadFileLists(ini, file, again);
        require(again.entries.size() == lists.entries.size());
    }
    LogWatchLists logs;
    WatchListReader().ReadLogEntries(ini, watchFiles::kLogWatchList, logs);
    for (const auto& [path, properties] : logs.entries) {
        require(WatchListReader::IsPathValid(path) && path == properties.GetFileName() &&
                path == toLower(path));
    }
    return 0;
}
