#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace lathwind {

// The entries of the watch lists that were accepted, in sort order. Lower case.
//
// Besides by name an entry is found by the folder it starts from, so that a path is compared with
// the few that could cover it: a list may have a hundred thousand.
class ConfiguredEntries {
public:
    using Entries = std::set<std::wstring>;

    bool insert(const std::wstring& entry);  // false if it is there
    bool erase(const std::wstring& entry);   // false without it
    bool contains(const std::wstring& entry) const { return entries_.contains(entry); }
    // What could cover the path: itself, and entries with wildcards or a token whose fixed part is
    // one of the folders above it. In sort order.
    std::vector<std::wstring> CandidatesFor(const std::wstring& path) const;

    Entries::const_iterator lower_bound(const std::wstring& entry) const {
        return entries_.lower_bound(entry);
    }
    Entries::const_iterator begin() const { return entries_.begin(); }
    Entries::const_iterator end() const { return entries_.end(); }
    std::size_t size() const noexcept { return entries_.size(); }

private:
    Entries entries_;
    std::map<std::wstring, Entries, std::less<>> byFolder_;  // of plain entries none
};

}  // namespace lathwind
