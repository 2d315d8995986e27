// How entries, rows and entities go.
#include <utility>

#include "filewatch/EntryKind.h"
#include "filewatch/FileWatchMonitor.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;

}  // namespace

void FileWatchMonitor::RemoveFile(const std::wstring& path, const FileWatchParams& params,
                                  std::int32_t mapIndex) {
    SetConfigurationPending(true);
    const std::wstring entry = toLower(FileIO::NormalizePath(path));
    if (kindOfEntry(entry) != EntryKind::Plain) {
        RemoveEntry(entry, params, mapIndex);
        return;
    }
    source_->RemoveFileToWatch(RequestOf(entry, params, mapIndex, {}));
    if (ForgetEntry(entry, mapIndex)) {
        UnlinkPath(entry, entry, mapIndex);
    }
}

bool FileWatchMonitor::ForgetEntry(const std::wstring& entry, std::int32_t mapIndex) {
    const ScopedLock guard(*lock_);
    return TableOf(mapIndex).GetConfigured().erase(entry);
}

// An entry that cannot be split was never accepted, and when it was added that was said.
std::size_t FileWatchMonitor::RemoveEntry(const std::wstring& path, const FileWatchParams& params,
                                          std::int32_t mapIndex) {
    const WatchedPathSpec parts(path, 1, false);
    if (parts.GetDirectory().empty()) {
        return 0;
    }
    FileWatchParams own = params;
    own.recursionLevel = LevelOf(parts, mapIndex, params.recursionLevel);
    source_->RemoveFileToWatch(RequestOf(path, own, mapIndex, {}));
    if (!ForgetEntry(path, mapIndex)) {
        return 0;
    }
    const auto rows = RowsOf(*makeEntrySpec(path, own.recursionLevel), path, mapIndex);
    for (const EntityTable::Row& row : rows) {
        UnlinkPath(row.path, path, mapIndex);
    }
    if (kindOfEntry(path) == EntryKind::Virtual) {
        ForgetInstances(VirtualPathSpec(path, 1, false, path), mapIndex);
    }
    return rows.size();
}

// Whether the spec still matches them or not: the level may have been another when they came.
std::vector<EntityTable::Row> FileWatchMonitor::RowsOf(const WatchedPathSpec& spec,
                                                       const std::wstring& entry,
                                                       std::int32_t mapIndex) {
    std::vector<EntityTable::Row> rows;
    {
        const ScopedLock guard(*lock_);
        rows = TableOf(mapIndex).GetRows(commonPrefixOf(spec));
    }
    std::erase_if(rows, [&](const EntityTable::Row& row) { return row.entry.get() != entry; });
    return rows;
}

// An entity goes with the last of its rows.
void FileWatchMonitor::UnlinkPath(const std::wstring& path, const std::wstring& entry,
                                  std::int32_t mapIndex) {
    const ScopedLock guard(*lock_);
    EntityTable& table = TableOf(mapIndex);
    if (table.EraseRow(path, entry) && !table.HasRow(path)) {
        table.EraseEntity(path);
    }
}

void FileWatchMonitor::RemoveWatchedEntity(const std::wstring& path) {
    for (const std::int32_t mapIndex : {kFileIndex, kLogIndex}) {
        RemoveWatchedEntity(path, mapIndex);
    }
}

void FileWatchMonitor::RemoveWatchedEntity(const std::wstring& path, std::int32_t mapIndex) {
    debugLog(kModule, L"Removing WatchedEntity %ls", path);
    // A copy: it may be the name that the entity holds.
    const std::wstring key = path;  // NOLINT(performance-unnecessary-copy-initialization)
    const ScopedLock guard(*lock_);
    EntityTable& table = TableOf(mapIndex);
    // Two rows, not all: a path that three entries led to keeps the third, and with it the
    // knowledge that somebody asked for it.
    table.EraseFirstRow(key);
    table.EraseFirstRow(key);
    table.EraseEntity(key);
}

void FileWatchMonitor::RemoveWatchedEntities(const WatchedPathSpec& spec) {
    debugLog(kModule, L"Removing WatchedEntities %ls", spec.GetFullPath());
    const ScopedLock guard(*lock_);
    for (EntityTable& table : tables_) {
        for (const EntityTable::Row& row : table.GetRows()) {
            if (spec.Matches(row.path.get())) {
                table.EraseRow(row.path, row.entry);
            }
        }
        for (const std::wstring& path : table.GetEntityPaths()) {
            if (spec.Matches(path)) {
                table.EraseEntity(path);
            }
        }
    }
}

}  // namespace lathwind
