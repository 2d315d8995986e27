#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "filewatch/FileEventSource.h"
#include "utils/platform/Threading.h"

namespace lathwind {

class WatchedEntity;  // filewatch/WatchedEntity.h

// Every path that is watched on one side of the engine (files or logs): its entity, if it has one,
// and the configured entries that led to it. A path lives as long as it has either. Keys are lower
// case; entries are as configured, lower case.
//
// The owner's lock guards the table. Only GetLastKnown may be called without it: what it gives out
// was published before (Publish), and the table's own small lock guards that.
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
    // operation that may have changed it.
    void Publish(const std::wstring& path);
    LastKnownState GetLastKnown(const std::wstring& path) const;  // any thread
    std::size_t CountEntities() const;
    // Paths with an entity, in key order.
    std::vector<std::wstring> GetEntityPaths() const;

    // The rows: which entry led to which path. A pair stands once.
    void AddRow(const std::wstring& path, const std::wstring& entry);
    bool HasRow(const std::wstring& path) const;
    std::size_t CountRows(const std::wstring& path) const;
    bool EraseRow(const std::wstring& path, const std::wstring& entry);  // false without it
    bool EraseFirstRow(const std::wstring& path);
    std::wstring GetFirstEntry(const std::wstring& path) const;  // empty without a row
    // All rows, by path and then in the order in which they came.
    struct Row {
        std::wstring path;
        std::wstring entry;
    };
    std::vector<Row> GetRows() const;

    // The entries that were accepted, in sort order.
    std::set<std::wstring>& GetConfigured() noexcept { return configured_; }
    const std::set<std::wstring>& GetConfigured() const noexcept { return configured_; }

private:
    std::set<std::wstring> configured_;
};

}  // namespace lathwind
