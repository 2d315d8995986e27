#include "filewatch/EntityTable.h"

#include <cassert>
#include <utility>

#include "filewatch/FileAttributes.h"
#include "filewatch/WatchedEntity.h"
#include "filewatch/WatchedLogFile.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

// A walk over one list passes over the paths of others; further away a look-up from the top is
// cheaper.
constexpr int kMostSteps = 8;

bool hasUnreadLines(const WatchedEntity& entity) {
    const auto* log = dynamic_cast<const WatchedLogFile*>(&entity);
    return log != nullptr && log->HasUnreadLines();
}

}  // namespace

EntityTable::EntityTable()
    : publishedLock_(platformFactory.createLock()),
      ownerCursor_(items_.end()),
      readerCursor_(items_.end()) {}

EntityTable::~EntityTable() = default;

// A cursor that is no more than a few items behind steps forward. It stays good while items come,
// and DropIfUnused moves it off an item that goes.
EntityTable::Cursor EntityTable::Seek(Cursor& cursor, const std::wstring& path) const {
    if (cursor != items_.end() && cursor->first.get() <= path) {
        for (int steps = 0; steps < kMostSteps; ++steps) {
            if (cursor == items_.end() || cursor->first.get() >= path) {
                return cursor;
            }
            ++cursor;
        }
    }
    cursor = items_.lower_bound(path);
    return cursor;
}

EntityTable::Cursor EntityTable::Locate(const std::wstring& path) const {
    const Cursor found = Seek(ownerCursor_, path);
    return found != items_.end() && found->first.get() == path ? found : items_.end();
}

// The table's owner is the one that changes what an item holds; a cursor only finds it.
EntityTable::Item& EntityTable::ItemAt(Cursor cursor) {
    return const_cast<Item&>(cursor->second);
}

EntityTable::Item& EntityTable::MakeItem(const std::wstring& path) {
    const Cursor known = Locate(path);
    if (known != items_.end()) {
        return ItemAt(known);
    }
    const ScopedLock guard(*publishedLock_);
    // The cursor stands where the path belongs.
    const auto made = items_.emplace_hint(ownerCursor_, path, Item());
    ownerCursor_ = made;
    return made->second;
}

void EntityTable::DropIfUnused(Cursor item) {
    if (item->second.entity != nullptr || !item->second.entries.empty()) {
        return;
    }
    const ScopedLock guard(*publishedLock_);
    const bool isReadersPlace = readerCursor_ == item;
    ownerCursor_ = items_.erase(item);
    if (isReadersPlace) {
        readerCursor_ = ownerCursor_;
    }
}

WatchedEntity* EntityTable::Find(const std::wstring& path) const {
    const Cursor item = Locate(path);
    return item == items_.end() ? nullptr : item->second.entity.get();
}

WatchedEntity& EntityTable::Insert(const std::wstring& path,
                                   std::unique_ptr<WatchedEntity> entity) {
    Item& item = MakeItem(path);
    assert(item.entity == nullptr && entity != nullptr);
    item.entity = std::move(entity);
    ++entityCount_;
    Publish(path);
    return *item.entity;
}

// `path` may be the name that the entity itself holds: it is not looked at after that has gone.
void EntityTable::EraseEntity(const std::wstring& path) {
    const Cursor item = Locate(path);
    if (item == items_.end() || item->second.entity == nullptr) {
        return;
    }
    LastKnownState forgotten;
    {
        const ScopedLock guard(*publishedLock_);
        std::swap(forgotten, ItemAt(item).published);
    }
    ItemAt(item).entity.reset();
    --entityCount_;
    DropIfUnused(item);
}

void EntityTable::Publish(const std::wstring& path) {
    const Cursor item = Locate(path);
    if (item == items_.end() || item->second.entity == nullptr) {
        return;
    }
    WatchedEntity& entity = *item->second.entity;
    LastKnownState state{entity.ShareAttributes(), hasUnreadLines(entity)};
    // What was known before is destroyed behind the lock: `state` goes last.
    const ScopedLock guard(*publishedLock_);
    std::swap(ItemAt(item).published, state);
}

LastKnownState EntityTable::GetLastKnown(const std::wstring& path) const {
    const ScopedLock guard(*publishedLock_);
    const Cursor found = Seek(readerCursor_, path);
    if (found == items_.end() || found->first.get() != path) {
        return {};
    }
    return found->second.published;
}

std::vector<InternedText> EntityTable::GetEntityPaths(std::wstring_view prefix) const {
    std::vector<InternedText> paths;
    ForEachBelow(prefix, [&paths](const InternedText& path, const Item& item) {
        if (item.entity != nullptr) {
            paths.push_back(path);
        }
    });
    return paths;
}

void EntityTable::AddRow(const std::wstring& path, const std::wstring& entry) {
    MakeItem(path).entries.add(entry);
}

bool EntityTable::HasRow(const std::wstring& path) const {
    return CountRows(path) != 0;
}

std::size_t EntityTable::CountRows(const std::wstring& path) const {
    const Cursor item = Locate(path);
    return item == items_.end() ? 0 : item->second.entries.size();
}

bool EntityTable::EraseRow(const std::wstring& path, const std::wstring& entry) {
    const Cursor item = Locate(path);
    if (item == items_.end() || !ItemAt(item).entries.erase(entry)) {
        return false;
    }
    DropIfUnused(item);
    return true;
}

bool EntityTable::EraseFirstRow(const std::wstring& path) {
    const Cursor item = Locate(path);
    if (item == items_.end() || item->second.entries.empty()) {
        return false;
    }
    ItemAt(item).entries.eraseFirst();
    DropIfUnused(item);
    return true;
}

std::wstring EntityTable::GetFirstEntry(const std::wstring& path) const {
    const Cursor item = Locate(path);
    return item == items_.end() ? std::wstring() : item->second.entries.first().get();
}

std::vector<EntityTable::Row> EntityTable::GetRows(std::wstring_view prefix) const {
    std::vector<Row> rows;
    ForEachBelow(prefix, [&rows](const InternedText& path, const Item& item) {
        item.entries.forEach([&](const InternedText& entry) { rows.push_back({path, entry}); });
    });
    return rows;
}

}  // namespace lathwind
