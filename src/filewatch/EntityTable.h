#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "filewatch/ConfiguredEntries.h"
#include "filewatch/FileEventSource.h"
#include "filewatch/PathEntries.h"
#include "utils/InternedText.h"
#include "utils/platform/Threading.h"

namespace lathwind {

class WatchedEntity;  // filewatch/WatchedEntity.h

// Every path that is watched on one side of the engine (files or logs): its entity, if it has one,
// and the configured entries that led to it. A path lives as long as it has either. Keys are lower
// case; entries are as configured, lower case.
//
// The owner's lock guards the table. Only GetLastKnown may be called without it: what it gives out
// was published before (Publish), and the table's own small lock guards that.
//
// Look-ups in ascending order of paths are cheap, on the owner's side and in GetLastKnown: each
// remembers where the last one ended.
class EntityTable {
public:
    EntityTable();
    ~EntityTable();
    EntityTable(const EntityTable&) = delete;
    EntityTable& operator=(const EntityTable&) = delete;

    // Owned by the table; null for an unknown path.
    WatchedEntity* Find(const std::wstring& path) const;
    // The path must have no entity yet. Publishes it.
    WatchedEntity& Insert(const std::wstring& path, std::unique_ptr<WatchedEntity> entity);
    void EraseEntity(const std::wstring& path);
    // Makes the entity's present state the one that GetLastKnown gives. To be called after each
    // operation that may have changed it. Nothing is copied.
    void Publish(const std::wstring& path);
    LastKnownState GetLastKnown(const std::wstring& path) const;  // any thread
    std::size_t CountEntities() const { return entityCount_; }
    template <class Visit>
    void ForEachEntity(const Visit& visit) const {  // in key order
        for (const auto& [path, item] : items_) {
            if (item.entity != nullptr) {
                visit(*item.entity);
            }
        }
    }
    // Paths with an entity that begin with `prefix`, in key order. A path costs one pointer here.
    std::vector<InternedText> GetEntityPaths(std::wstring_view prefix = {}) const;

    // The rows: which entry led to which path. A pair stands once.
    void AddRow(const std::wstring& path, const std::wstring& entry);
    bool HasRow(const std::wstring& path) const;
    std::size_t CountRows(const std::wstring& path) const;
    bool EraseRow(const std::wstring& path, const std::wstring& entry);  // false without it
    bool EraseFirstRow(const std::wstring& path);
    std::wstring GetFirstEntry(const std::wstring& path) const;  // empty without a row
    // The rows of the paths that begin with `prefix`, by path and then in the order in which they
    // came; an empty prefix gives all.
    struct Row {
        InternedText path;
        InternedText entry;
    };
    std::vector<Row> GetRows(std::wstring_view prefix = {}) const;

    // The entries that were accepted, in sort order.
    ConfiguredEntries& GetConfigured() noexcept { return configured_; }
    const ConfiguredEntries& GetConfigured() const noexcept { return configured_; }

private:
    struct Item {
        std::unique_ptr<WatchedEntity> entity;
        PathEntries entries;
        LastKnownState published;  // under the small lock
    };
    // Its shape changes under the owner's lock and the small one together, so that either is
    // enough to go through it.
    using Items = std::map<InternedText, Item, InternedTextLess>;
    // Where a look-up ended: the first item that is not less than the path asked for.
    using Cursor = Items::const_iterator;

    Cursor Seek(Cursor& cursor, const std::wstring& path) const;
    Cursor Locate(const std::wstring& path) const;
    static Item& ItemAt(Cursor cursor);
    Item& MakeItem(const std::wstring& path);
    void DropIfUnused(Cursor item);
    // All items whose path begins with the prefix.
    template <class Visit>
    void ForEachBelow(std::wstring_view prefix, const Visit& visit) const {
        for (auto item = items_.lower_bound(std::wstring(prefix));
             item != items_.end() && item->first.get().starts_with(prefix); ++item) {
            visit(item->first, item->second);
        }
    }

    const std::unique_ptr<Lock> publishedLock_;
    Items items_;
    mutable Cursor ownerCursor_;
    mutable Cursor readerCursor_ GUARDED_BY(*publishedLock_);
    std::size_t entityCount_ = 0;
    ConfiguredEntries configured_;
};

}  // namespace lathwind
