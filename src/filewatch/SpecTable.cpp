#include "filewatch/SpecTable.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "utils/FileIO.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::size_t kPathLimit = 260;     // with the terminating zero
constexpr std::size_t kShortestFolder = 4;  // what is shorter is a root
constexpr std::wstring_view kUncPrefix = L"\\\\";

bool isDrivePath(std::wstring_view path) {
    return path.size() > 2 && path[1] == L':' && path[2] == L'\\';
}

// Holds for nearly every path that is looked up, and spares it the work below. A name that begins
// with a dot does not pass, and is no worse for it.
bool isFullAlready(std::wstring_view path) {
    return (isDrivePath(path) || path.starts_with(kUncPrefix)) &&
           path.find(L'/') == std::wstring_view::npos &&
           path.find(kUncPrefix, 1) == std::wstring_view::npos &&
           path.find(L"\\.") == std::wstring_view::npos;
}

// Appends the components of `rest` to `root`, which itself stays whatever "..\" follows.
std::wstring resolved(std::wstring_view root, std::wstring_view rest) {
    std::wstring form(root);
    while (!rest.empty()) {
        const auto end = rest.find(L'\\');
        const std::wstring_view name = rest.substr(0, end);
        if (name == L"..") {
            form.resize(std::max(parentDirectory(form).size(), root.size()));
        } else if (!name.empty() && name != L".") {
            form.append(name);
            form.append(end == std::wstring_view::npos ? L"" : L"\\");
        }
        rest.remove_prefix(end == std::wstring_view::npos ? rest.size() : end + 1);
    }
    return form;
}

// Of a network path "\\server\share\", else "c:\". Empty for "c:name".
std::wstring_view rootOf(std::wstring_view path) {
    if (!path.starts_with(kUncPrefix)) {
        return isDrivePath(path) ? path.substr(0, 3) : std::wstring_view();
    }
    const auto share = path.find(L'\\', kUncPrefix.size());
    const auto end = share == std::wstring_view::npos ? share : path.find(L'\\', share + 1);
    return end == std::wstring_view::npos ? path : path.substr(0, end + 1);
}

bool isRowOf(const WatchedPathSpec& row, const WatchedPathSpec* wanted) {
    return wanted == nullptr ? row.GetMask().empty()
                             : row.GetMask() == wanted->GetMask() &&
                                   row.GetVirtualEntry() == wanted->GetVirtualEntry();
}

// The text under which a row is found when neither its key nor its mask leads to it. The spec of a
// plain entry may name the path with the folder's long name.
std::wstring aliasOf(const std::wstring& key, const WatchedPathSpec& spec) {
    std::wstring form = fullPathForm(key == spec.GetDirectory() ? key : spec.GetFullPath());
    return form == key ? std::wstring() : form;
}

template <class Rows>
auto findRow(Rows& rows, const std::wstring& key, const WatchedPathSpec* wanted) {
    auto [row, end] = rows.equal_range(key);
    while (row != end && !isRowOf(*row->second, wanted)) {
        ++row;
    }
    return row == end ? rows.end() : row;
}

// Removes the one pair of a multimap.
template <class Key, class Value>
void erasePair(std::multimap<Key, Value>& pairs, const Key& key, const Value& value) {
    for (auto [pair, end] = pairs.equal_range(key); pair != end; ++pair) {
        if (pair->second == value) {
            pairs.erase(pair);
            return;
        }
    }
}

std::wstring withoutBackslash(std::wstring folder) {
    if (folder.ends_with(L'\\')) {
        folder.pop_back();
    }
    return folder;
}

}  // namespace

std::wstring fullPathForm(const std::wstring& path) {
    if (isFullAlready(path)) {
        return path.size() < kPathLimit ? path : std::wstring();
    }
    std::wstring form = toLower(FileIO::MakeAbsolutePath(path));
    if (const std::wstring_view root = rootOf(form); !root.empty()) {
        form = resolved(root, std::wstring_view(form).substr(root.size()));
    }
    return form.size() < kPathLimit ? form : std::wstring();
}

SpecTable::SpecTable() : lock_(platformFactory.createLock()) {}

void SpecTable::AddList(std::int32_t listId) {
    const ScopedLock guard(*lock_);
    lists_.try_emplace(listId);
}

bool SpecTable::HasList(std::int32_t listId) const {
    const ScopedLock guard(*lock_);
    return lists_.contains(listId);
}

void SpecTable::EraseListIfEmpty(std::int32_t listId) {
    const ScopedLock guard(*lock_);
    if (const auto list = lists_.find(listId); list != lists_.end() && list->second.rows.empty()) {
        lists_.erase(list);
    }
}

bool SpecTable::HasKey(const std::wstring& key, std::int32_t listId) const {
    const ScopedLock guard(*lock_);
    const auto list = lists_.find(listId);
    return list != lists_.end() && list->second.rows.contains(key);
}

bool SpecTable::HasRow(const std::wstring& key, const WatchedPathSpec& spec,
                       std::int32_t listId) const {
    const ScopedLock guard(*lock_);
    const auto list = lists_.find(listId);
    return list != lists_.end() &&
           findRow(list->second.rows, key, &spec) != list->second.rows.end();
}

bool SpecTable::Insert(const std::wstring& key, SpecPtr spec, std::int32_t listId) {
    const std::wstring alias = aliasOf(key, *spec);
    const ScopedLock guard(*lock_);
    const auto found = lists_.find(listId);
    if (found == lists_.end()) {
        return false;
    }
    List& list = found->second;
    if (!alias.empty()) {
        list.aliases.emplace(alias, key);
    }
    if (const std::wstring entry = spec->GetVirtualEntry(); !entry.empty()) {
        list.virtualRows[entry].emplace(key, spec);
    }
    list.rows.emplace(key, std::move(spec));
    return true;
}

SpecTable::Removed SpecTable::Remove(const std::wstring& key, const WatchedPathSpec* spec,
                                     std::int32_t listId) {
    Removed removed;
    const ScopedLock guard(*lock_);
    const auto found = lists_.find(listId);
    if (found == lists_.end()) {
        return removed;
    }
    List& list = found->second;
    if (const auto row = findRow(list.rows, key, spec); row != list.rows.end()) {
        removed.spec = row->second;
        list.rows.erase(row);
        erasePair(list.aliases, aliasOf(key, *removed.spec), key);
        const auto ofEntry = list.virtualRows.find(removed.spec->GetVirtualEntry());
        if (ofEntry != list.virtualRows.end()) {
            erasePair(ofEntry->second, key, removed.spec);
            if (ofEntry->second.empty()) {
                list.virtualRows.erase(ofEntry);
            }
        }
    }
    removed.remaining = list.rows.count(key);
    return removed;
}

std::vector<SpecTable::SpecPtr> SpecTable::GetVirtualRows(const std::wstring& virtualEntry,
                                                          std::int32_t listId) const {
    std::vector<SpecPtr> specs;
    const ScopedLock guard(*lock_);
    const auto list = lists_.find(listId);
    if (list == lists_.end()) {
        return specs;
    }
    if (const auto rows = list->second.virtualRows.find(virtualEntry);
        rows != list->second.virtualRows.end()) {
        for (const auto& [key, spec] : rows->second) {
            specs.push_back(spec);
        }
    }
    return specs;
}

SpecTable::SpecPtr SpecTable::FindAbove(const List& list, const std::wstring& path, Wanted wanted) {
    const auto asksForIt = [&](const WatchedPathSpec& spec) {
        return wanted == Wanted::Anything || spec.GetVirtualEntry().empty() || spec.Matches(path);
    };
    std::wstring directory(splitAtLastBackslash(path).directory);
    for (std::int32_t level = 1; directory.size() > 1; ++level) {
        for (auto [row, end] = list.rows.equal_range(directory); row != end; ++row) {
            if (!row->second->GetMask().empty() &&
                row->second->MatchesAtLevel(path, level, false) && asksForIt(*row->second)) {
                return row->second;
            }
        }
        if (directory.size() < kShortestFolder) {
            break;
        }
        directory.resize(parentDirectory(directory).size());
    }
    return nullptr;
}

SpecTable::SpecPtr SpecTable::FindIn(const List& list, const std::wstring& path,
                                     const std::wstring& fullForm, Wanted wanted) {
    const auto firstOf = [&](const std::wstring& key) {
        const auto row = list.rows.lower_bound(key);
        return row != list.rows.end() && row->first == key ? row->second : nullptr;
    };
    if (SpecPtr spec = firstOf(path)) {
        return spec;
    }
    if (SpecPtr spec = FindAbove(list, path, wanted)) {
        return spec;
    }
    if (fullForm.empty()) {
        return nullptr;
    }
    if (SpecPtr spec = firstOf(fullForm)) {
        return spec;
    }
    const auto alias = list.aliases.lower_bound(fullForm);
    return alias != list.aliases.end() && alias->first == fullForm ? firstOf(alias->second)
                                                                   : nullptr;
}

SpecTable::SpecPtr SpecTable::Find(const std::wstring& path, std::int32_t listId) const {
    return Find(path, listId, Wanted::Anything);
}

bool SpecTable::CoversFile(const std::wstring& path, std::int32_t listId) const {
    return Find(path, listId, Wanted::File) != nullptr;
}

SpecTable::SpecPtr SpecTable::Find(const std::wstring& path, std::int32_t listId,
                                   Wanted wanted) const {
    const std::wstring fullForm = fullPathForm(path);
    const ScopedLock guard(*lock_);
    if (listId != kAnyList) {
        const auto list = lists_.find(listId);
        return list == lists_.end() ? nullptr : FindIn(list->second, path, fullForm, wanted);
    }
    for (const auto& [id, list] : lists_) {
        if (SpecPtr spec = FindIn(list, path, fullForm, wanted)) {
            return spec;
        }
    }
    return nullptr;
}

bool SpecTable::LooksInto(const std::wstring& folder, std::int32_t listId) const {
    std::wstring directory = folder.ends_with(L'\\') ? folder : folder + L'\\';
    const ScopedLock guard(*lock_);
    const auto list = lists_.find(listId);
    if (list == lists_.end()) {
        return false;
    }
    for (std::int32_t level = 1; directory.size() > 1; ++level) {
        for (auto [row, end] = list->second.rows.equal_range(directory); row != end; ++row) {
            const WatchedPathSpec& spec = *row->second;
            if (spec.GetDirectory() == directory && !spec.GetMask().empty() &&
                level <= spec.GetRecursionLevel()) {
                return true;
            }
        }
        if (directory.size() < kShortestFolder) {
            break;
        }
        directory.resize(parentDirectory(directory).size());
    }
    return false;
}

void SpecTable::Exclude(const std::wstring& folder, const std::wstring& virtualEntry,
                        std::int32_t listId) {
    const ScopedLock guard(*lock_);
    exclusions_.emplace(withoutBackslash(toLower(folder)), std::pair(listId, virtualEntry));
}

void SpecTable::ForgetExclusions(const std::wstring& virtualEntry, std::int32_t listId) {
    const std::pair owner(listId, virtualEntry);
    const ScopedLock guard(*lock_);
    std::erase_if(exclusions_, [&](const auto& each) { return each.second == owner; });
}

// As a WatchedPathSpec of each exclusion would match the folder, but by look-up: a root may have
// thousands of instances, and each of them asks.
bool SpecTable::IsExcluded(const std::wstring& folder, std::int32_t level) const {
    const std::wstring folded = withoutBackslash(toLower(folder));
    auto [directory, name] = splitAtLastBackslash(folded);
    const ScopedLock guard(*lock_);
    for (; level > 0 && !directory.empty() && !exclusions_.empty(); --level) {
        if (exclusions_.contains(std::wstring(directory).append(name))) {
            return true;
        }
        directory = parentDirectory(directory);
    }
    return false;
}

}  // namespace lathwind
