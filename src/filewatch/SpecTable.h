#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "filewatch/WatchedPathSpec.h"
#include "utils/platform/Threading.h"

namespace lathwind {

// What is watched: for each list the specs of its entries, and the virtual instances that could not
// be added. A plain entry stands under its path; one with a mask stands under its folder, with the
// backslash behind, and may share that key with others.
//
// Each operation is one step under the table's lock, which is held over nothing else. A look-up
// takes the logarithm of the list's length for each level of the path, and looks at the specs that
// share a key with it. Keys and paths are lower case.
class SpecTable {
public:
    using SpecPtr = std::shared_ptr<const WatchedPathSpec>;
    static constexpr std::int32_t kAnyList = -1;

    struct Removed {
        SpecPtr spec;               // null when there was no such row
        std::size_t remaining = 0;  // rows left under the key
    };

    SpecTable();
    SpecTable(const SpecTable&) = delete;
    SpecTable& operator=(const SpecTable&) = delete;

    void AddList(std::int32_t listId);  // none but an unknown one
    bool HasList(std::int32_t listId) const;
    void EraseListIfEmpty(std::int32_t listId);

    bool HasKey(const std::wstring& key, std::int32_t listId) const;
    // A row under `key` with the mask and the virtual entry of `spec`?
    bool HasRow(const std::wstring& key, const WatchedPathSpec& spec, std::int32_t listId) const;
    // False for an unknown list.
    bool Insert(const std::wstring& key, SpecPtr spec, std::int32_t listId);
    // The first row under `key` with the mask and the virtual entry of `spec`; of a null spec the
    // first one with an empty mask.
    Removed Remove(const std::wstring& key, const WatchedPathSpec* spec, std::int32_t listId);
    // The specs that a virtual entry brought into the list, in the order of their keys.
    std::vector<SpecPtr> GetVirtualRows(const std::wstring& virtualEntry,
                                        std::int32_t listId) const;
    // The spec that covers `path`: one whose key is the path; or else the one nearest above it
    // whose mask and level take it in; or else one that names the same path in another way
    // ("c:\a\..\b"). For kAnyList the lists are asked in the order of their ids.
    SpecPtr Find(const std::wstring& path, std::int32_t listId) const;
    // Does an entry ask for the file `path`? As Find, but the root of a virtual entry, which is
    // watched for instances to come, asks for no file that lies right in it.
    bool CoversFile(const std::wstring& path, std::int32_t listId) const;
    // Does the mask of a spec take in files of `folder`, whatever the folder's own name is? With or
    // without a backslash behind it.
    bool LooksInto(const std::wstring& folder, std::int32_t listId) const;

    // Notes a folder as an instance that a list's virtual entry could not add.
    void Exclude(const std::wstring& folder, const std::wstring& virtualEntry, std::int32_t listId);
    void ForgetExclusions(const std::wstring& virtualEntry, std::int32_t listId);
    // Is `folder`, with or without a backslash behind it, or a folder of its name up to `level` - 1
    // levels above, such an instance? In any case of letters.
    bool IsExcluded(const std::wstring& folder, std::int32_t level) const;

private:
    struct List {
        std::multimap<std::wstring, SpecPtr> rows;  // by key
        // Keys by the full form of what they name, where that is another text.
        std::multimap<std::wstring, std::wstring> aliases;
        std::map<std::wstring, std::multimap<std::wstring, SpecPtr>> virtualRows;  // by entry, key
    };

    enum class Wanted { Anything, File };

    SpecPtr Find(const std::wstring& path, std::int32_t listId, Wanted wanted) const;
    static SpecPtr FindIn(const List& list, const std::wstring& path, const std::wstring& fullForm,
                          Wanted wanted);
    static SpecPtr FindAbove(const List& list, const std::wstring& path, Wanted wanted);

    const std::unique_ptr<Lock> lock_;
    std::map<std::int32_t, List> lists_ GUARDED_BY(*lock_);
    // By folder the list and the entry.
    std::multimap<std::wstring, std::pair<std::int32_t, std::wstring>> exclusions_
        GUARDED_BY(*lock_);
};

// The one full form of the many ways to name a path: absolute, without "." and "..", lower case.
// Empty for one of 260 units or more. Nothing is asked of the file system, so a short name stays.
std::wstring fullPathForm(const std::wstring& path);

}  // namespace lathwind
