#include "filewatch/ConfiguredEntries.h"

#include <algorithm>
#include <string_view>

#include "filewatch/EntryKind.h"

namespace lathwind {
namespace {

// The folder from which an entry starts, with its backslash: of a virtual entry the one in which
// its instances lie, since the token may be only a part of their names.
std::wstring folderOf(const std::wstring& entry) {
    const auto spec = makeEntrySpec(entry, 1);
    const std::wstring start =
        kindOfEntry(entry) == EntryKind::Virtual ? spec->GetRoot() : spec->GetDirectory();
    return std::wstring(splitAtLastBackslash(start).directory);
}

}  // namespace

bool ConfiguredEntries::insert(const std::wstring& entry) {
    if (!entries_.insert(entry).second) {
        return false;
    }
    if (kindOfEntry(entry) != EntryKind::Plain) {
        byFolder_[folderOf(entry)].insert(entry);
    }
    return true;
}

bool ConfiguredEntries::erase(const std::wstring& entry) {
    if (entries_.erase(entry) == 0) {
        return false;
    }
    if (kindOfEntry(entry) != EntryKind::Plain) {
        const auto folder = byFolder_.find(folderOf(entry));
        folder->second.erase(entry);
        if (folder->second.empty()) {
            byFolder_.erase(folder);
        }
    }
    return true;
}

std::vector<std::wstring> ConfiguredEntries::CandidatesFor(const std::wstring& path) const {
    std::vector<std::wstring> candidates;
    if (entries_.contains(path)) {
        candidates.push_back(path);
    }
    std::wstring_view folder = splitAtLastBackslash(path).directory;
    while (!folder.empty()) {
        if (const auto found = byFolder_.find(folder); found != byFolder_.end()) {
            candidates.insert(candidates.end(), found->second.begin(), found->second.end());
        }
        const std::wstring_view above = parentDirectory(folder);
        folder = above.size() < folder.size() ? above : std::wstring_view();
    }
    std::sort(candidates.begin(), candidates.end());
    candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
    return candidates;
}

}  // namespace lathwind
