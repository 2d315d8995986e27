#include "filewatch/WatchListReader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <utility>

#include "filewatch/WatchFileNames.h"
#include "filewatch/WatchedFolders.h"
#include "filewatch/WatchedPathSpec.h"
#include "utils/AgentInfo.h"
#include "utils/FileIO.h"
#include "utils/FileUtility.h"
#include "utils/IniFile.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr std::wstring_view kWildcards = L"*?";
constexpr std::wstring_view kDiffSection = L"FileWatch - FileDiff";
constexpr std::wstring_view kLogSection = L"Log Files";
// What lists 1 and 2 may be called instead. Their times are settings: they have no interval.
constexpr std::array<std::wstring_view, 2> kFixedSections = {L"FileWatch List - High Protection",
                                                             L"FileWatch List - Normal Protection"};
constexpr std::int32_t kShortestInterval = 10;  // seconds
constexpr std::size_t kListDigits = 4;
constexpr std::int32_t kMostLists = 9999;  // the numbers have four digits

std::wstring numberedName(std::wstring_view prefix, std::int64_t number, std::size_t digits) {
    const std::wstring text = std::to_wstring(number);
    std::wstring name(prefix);
    name.append(digits - std::min(digits, text.size()), L'0');
    return name += text;
}

// The number of a name that numberedName has made; 0 for any other.
std::int32_t numberOf(std::wstring_view name, std::wstring_view prefix, std::size_t digits) {
    if (name.size() <= prefix.size() || !equalsNoCase(name.substr(0, prefix.size()), prefix)) {
        return 0;
    }
    const long long number = parseDecimal(name.substr(prefix.size()));
    const bool isNumber = number > 0 && number <= std::numeric_limits<std::int32_t>::max() &&
                          equalsNoCase(name, numberedName(prefix, number, digits));
    return isNumber ? static_cast<std::int32_t>(number) : 0;
}

// The values of a section whose keys are `prefix` and a number from 1 to `most`, by number. Those
// that are there are looked for, not all those that could be: a count may promise anything.
std::map<std::int32_t, std::wstring_view> numberedValues(const IniFile& ini,
                                                         std::wstring_view section,
                                                         std::wstring_view prefix,
                                                         std::int32_t most) {
    std::map<std::int32_t, std::wstring_view> values;
    const std::size_t number = ini.sectionNumber(section);
    const std::size_t count = number < ini.sectionCount() ? ini.valueCount(number) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const IniFile::Value value = ini.value(number, i);
        if (const auto n = numberOf(value.key, prefix, kListDigits); n > 0 && n <= most) {
            values.emplace(n, value.value);
        }
    }
    return values;
}

std::int32_t defaultRecursionLevel() {
    static std::atomic<bool> isTold{false};
    const auto level = static_cast<std::int32_t>(AgentInfoRef()->recursionLevel());
    if (!isTold.exchange(true)) {
        debugLog(kModule, L"Default FileWatch Recursion Level %d", level);
    }
    return level;
}

// "path|recursion level|checksum|access time"; a field that is missing is 0.
std::wstring parseEntry(std::wstring_view text, FileWatchParams& params) {
    std::array<std::wstring_view, 4> fields;
    for (std::wstring_view& field : fields) {
        const std::size_t end = text.find(L'|');
        field = text.substr(0, end);
        text = end == std::wstring_view::npos ? std::wstring_view() : text.substr(end + 1);
    }
    constexpr long long kMost = std::numeric_limits<std::int32_t>::max();
    params.recursionLevel =
        static_cast<std::int32_t>(std::clamp(parseDecimal(fields[1]), 0LL, kMost));
    if (params.recursionLevel == 0) {
        params.recursionLevel = defaultRecursionLevel();
    }
    const AgentInfoRef settings;
    params.checksum = fields[2] == L"1" || settings->watchedFilesChecksum();
    params.monitorAccessTime = fields[3] == L"1" || settings->monitorLastAccessTime();
    return std::wstring(fields[0]);
}

std::optional<RefusalReason> refusalOf(const std::wstring& path) {
    if (!WatchListReader::IsPathValid(path)) {
        return RefusalReason::Invalid;
    }
    if (path.size() >= WatchListReader::kMaxPathUnits) {
        return RefusalReason::TooLong;
    }
    return std::nullopt;
}

void makeKey(std::wstring& path) {
    makeLower(path);
    while (path.size() > 1 && path.back() == L'\\') {
        path.pop_back();
    }
}

}  // namespace

bool WatchListReader::IsPathValid(const std::wstring& path) {
    if (!FileIO::IsAbsolutePath(path) || path.find(L"..") != std::wstring::npos ||
        path.find(L"\\\\", 1) != std::wstring::npos) {
        return false;
    }
    const WatchedPathSpec spec(path, 1, false);
    return spec.GetDirectory().find_first_of(kWildcards) == std::wstring::npos;
}

FileWatchLists WatchListReader::LoadFileLists() const {
    FileWatchLists lists;
    for (const std::wstring_view file :
         {watchFiles::kFileWatchList, watchFiles::kCustomFileWatchList}) {
        const std::wstring path(file);
        if (IniFile ini; ini.load(path)) {
            ReadFileLists(ini, file, lists);
        } else if (FileIO::Exists(path)) {
            debugLog(kModule, L"%ls is there and could not be read", path);
            lists.isUnread = true;
        }
    }
    return lists;
}

LogWatchLists WatchListReader::LoadLogLists() const {
    LogWatchLists lists;
    for (const std::wstring_view file : {watchFiles::kLogWatchList, watchFiles::kCustomLogWatchList,
                                         watchFiles::kServiceLogWatchList}) {
        const std::wstring path(file);
        if (IniFile ini; ini.load(path)) {
            ReadLogEntries(ini, file, lists);
        } else if (FileIO::Exists(path)) {
            debugLog(kModule, L"%ls is there and could not be read", path);
            lists.isUnread = true;
        }
    }
    return lists;
}

void WatchListReader::ReadFileLists(const IniFile& ini, std::wstring_view file,
                                    FileWatchLists& lists) const {
    const bool isPolicy = file == watchFiles::kFileWatchList;
    auto count = ini.getInteger<std::int32_t>(L"FileWatch", L"NumLists", -1);
    if (count < 0 && isPolicy) {
        count = static_cast<std::int32_t>(kFixedSections.size());
    }
    for (std::int32_t index = 0; index < std::min(count, kMostLists) && !IsStopped(); ++index) {
        if (const std::int32_t listId = ReadFileList(ini, index, file, lists); listId > 0) {
            lists.listIds.insert(listId);
        }
    }
    if (isPolicy) {
        ReadFileDiffRules(ini, lists);
    }
}

std::int32_t WatchListReader::ReadFileList(const IniFile& ini, std::int32_t index,
                                           std::wstring_view file, FileWatchLists& lists) const {
    const std::int32_t number = index + 1;
    WatchListReport report;
    report.file = file;
    report.section = numberedName(L"FileWatch List", number, kListDigits);
    report.listId = number;
    if (ini.hasSection(report.section)) {
        report.listId =
            std::max(ini.getInteger(report.section, L"PollInterval", number), kShortestInterval);
    } else if (static_cast<std::size_t>(index) < kFixedSections.size()) {
        report.section = kFixedSections[static_cast<std::size_t>(index)];
    } else {
        debugLog(kModule, L"Section name in filewatch.ini not found: %ls", report.section);
        return 0;
    }
    const auto most = ini.getInteger<std::int32_t>(report.section, L"MaxFileNumber", 0);
    if (most <= 0) {
        return 0;
    }
    report.label = ini.getText(report.section, L"ListLabel");
    const auto entries = numberedValues(ini, report.section, L"File", most);
    for (auto entry = entries.begin(); entry != entries.end() && !IsStopped(); ++entry) {
        ReadEntry(entry->second, report, lists.entries);
    }
    const std::int32_t listId = report.listId;
    lists.reports.push_back(std::move(report));
    return listId;
}

void WatchListReader::ReadEntry(std::wstring_view text, WatchListReport& report,
                                FileEntries& entries) {
    FileWatchParams params;
    params.listId = report.listId;
    params.label = report.label;
    std::wstring path = parseEntry(text, params);
    if (path.find(L'%') != std::wstring::npos) {
        path = platformFactory.createFileUtility()->ExpandVariables(path, nullptr);
    }
    path = FileIO::NormalizePath(path);
    std::optional<RefusalReason> refusal =
        path.find(L'%') != std::wstring::npos ? RefusalReason::Invalid : refusalOf(path);
    if (!refusal && params.recursionLevel > kMaxRecursionLevel) {
        refusal = RefusalReason::TooDeep;
    }
    if (!refusal) {
        makeKey(path);
        path = withLongFolder(path);
        refusal = refusalOf(path);  // long names may be too long
    }
    if (!refusal) {
        if (!entries.try_emplace(path, std::move(params)).second) {
            debugLog(kModule, L"Duplicate filewatch.ini entry: %ls dropped", path);
            refusal = RefusalReason::Duplicate;
        }
    }
    if (refusal) {
        report.refused.push_back({std::move(path), *refusal});
    }
}

// A later rule of the same mask replaces an earlier one.
void WatchListReader::ReadFileDiffRules(const IniFile& ini, FileWatchLists& lists) const {
    const auto most = ini.getInteger<std::int32_t>(kDiffSection, L"MaxFileDiffNumber", 0);
    std::map<std::wstring, std::wstring> types;
    for (const auto& [n, section] : numberedValues(ini, kDiffSection, L"FileDiff", most)) {
        std::wstring mask = section.empty() ? std::wstring() : ini.getText(section, L"Filter");
        if (IsStopped()) {
            return;
        }
        if (!mask.empty()) {
            types[std::move(mask)] = ini.getText(section, L"Type");
        }
    }
    for (auto& [mask, type] : types) {
        lists.diffRules.push_back({mask, std::move(type)});
    }
}

void WatchListReader::ReadLogEntries(const IniFile& ini, std::wstring_view file,
                                     LogWatchLists& lists) const {
    const std::int32_t most = LogFileProperties::GetEntryCount(ini);
    std::set<std::int32_t> numbers;  // of the sections that are there; see numberedValues
    for (std::size_t section = 0; section < ini.sectionCount(); ++section) {
        if (const auto n = numberOf(ini.sectionName(section), L"File", 0); n > 0 && n <= most) {
            numbers.insert(n);
        }
    }
    if (numbers.empty()) {
        return;
    }
    WatchListReport report;
    report.file = file;
    report.section = kLogSection;
    for (const std::int32_t number : numbers) {
        if (IsStopped()) {
            break;
        }
        LogFileProperties properties;
        if (!LogFileProperties::ReadFromIni(ini, properties, number)) {
            continue;
        }
        std::wstring path = toLower(FileIO::NormalizePath(properties.GetFileName()));
        std::optional<RefusalReason> refusal = refusalOf(path);
        if (!refusal) {
            path = withLongFolder(path);
            properties.SetFileName(path);
            refusal = refusalOf(path);
        }
        if (!refusal && !lists.entries.try_emplace(path, std::move(properties)).second) {
            debugLog(kModule, L"Duplicate logwatch.ini entry: %ls dropped", path);
            refusal = RefusalReason::Duplicate;
        }
        if (refusal) {
            report.refused.push_back({path, *refusal});
        }
    }
    lists.reports.push_back(std::move(report));
}

}  // namespace lathwind
