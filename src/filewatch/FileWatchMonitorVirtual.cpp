// Which configured entries a path belongs to, and what becomes of virtual entries as the folders
// come and go that stand for their token.
#include <limits>
#include <utility>

#include "filewatch/EntryKind.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/VirtualPathSpec.h"
#include "filewatch/WatchedFolders.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr std::wstring_view kToken = L"{virtual_tag}";
constexpr std::int32_t kAnyDepth = std::numeric_limits<std::int32_t>::max();

// Where the files of an instance lie, with a backslash at the end.
std::wstring folderOf(const WatchedPathSpec& spec, const std::wstring& instance) {
    std::wstring folder = instance;
    return folder.append(L"\\").append(spec.GetTail());
}

}  // namespace

FileWatchMonitor::Association FileWatchMonitor::AssociateEntry(const std::wstring& path,
                                                               std::int32_t mapIndex,
                                                               FileNotificationInfo* note) {
    Association association;
    for (const std::wstring& entry : TableOf(mapIndex).GetConfigured().CandidatesFor(path)) {
        if (!IsStillListed(entry, mapIndex)) {
            association.isOnItsWayOut |= makeEntrySpec(entry, kAnyDepth)->Matches(path);
            continue;
        }
        FileWatchParams params = EntryParams(entry, mapIndex);
        if (IsCoveredBy(entry, params, path, mapIndex, note)) {
            association.isCovered = true;
            association.params = std::move(params);
        }
    }
    return association;
}

// A plain entry comes here for the path that it is.
bool FileWatchMonitor::IsCoveredBy(const std::wstring& entry, const FileWatchParams& params,
                                   const std::wstring& path, std::int32_t mapIndex,
                                   FileNotificationInfo* note) {
    const EntryKind kind = kindOfEntry(entry);
    bool isCovered = kind == EntryKind::Plain;
    if (kind == EntryKind::Virtual) {
        const VirtualPathSpec spec(entry, params.recursionLevel, params.monitorAccessTime, entry);
        isCovered = spec.Matches(path);
        if (!isCovered && spec.IsVirtualDir(path, 1) && FileIO::IsDirectory(MapToRealPath(path))) {
            return AddInstance(spec, params, path, mapIndex, note);
        }
    } else if (kind == EntryKind::WildCard) {
        isCovered = WatchedPathSpec(entry, params.recursionLevel, false).Matches(path);
    }
    if (isCovered) {
        TableOf(mapIndex).AddRow(path, entry);
    }
    return isCovered;
}

// An entry that has gone from the lists is on its way out, and nothing is known of it any more.
bool FileWatchMonitor::IsStillListed(const std::wstring& entry, std::int32_t mapIndex) const {
    return mapIndex == kLogIndex || lists_ == nullptr || lists_->GetFileParams(entry, nullptr);
}

// What the lists say of an entry, with the level that it really has.
FileWatchParams FileWatchMonitor::EntryParams(const std::wstring& entry,
                                              std::int32_t mapIndex) const {
    FileWatchParams params = mapIndex == kFileIndex ? ParamsOf(entry) : LogParams();
    params.recursionLevel =
        LevelOf(WatchedPathSpec(entry, 1, false), mapIndex, params.recursionLevel);
    return params;
}

// ---- Instances of virtual entries.

// False for an instance that the source watches already: it is not new.
bool FileWatchMonitor::AddInstance(const VirtualPathSpec& spec, const FileWatchParams& params,
                                   const std::wstring& instance, std::int32_t mapIndex,
                                   FileNotificationInfo* note) {
    const std::wstring entry = spec.GetVirtualEntry();
    const std::wstring folder = folderOf(spec, instance);
    if (!source_->AddFileToWatch(RequestOf(folder + spec.GetMask(), params, mapIndex, entry))) {
        return false;
    }
    const std::wstring name = spec.GetVirtualName(instance);
    for (const std::wstring& path :
         listWatchedFiles(folder, spec.GetMask(), params.recursionLevel)) {
        const bool readFromStart = mapIndex == kLogIndex;
        WatchedEntity* const entity = AddFoundEntity(path, mapIndex, readFromStart, params, name);
        if (entity == nullptr) {
            ForgetRows(path, mapIndex);
            continue;
        }
        TableOf(mapIndex).AddRow(path, entry);
        if (mapIndex == kFileIndex && note != nullptr) {
            debugLog(kModule, L"Added directory (%ls) contained file/dir: %ls", instance, path);
            DeliverAs(FileAction::Added, entity, *note);
        }
    }
    return true;
}

void FileWatchMonitor::DeliverAs(FileAction action, WatchedEntity* entity,
                                 FileNotificationInfo& note) {
    const FileAction own = std::exchange(note.action, action);
    Deliver(entity, note);
    note.action = own;
}

void FileWatchMonitor::EntityGone(const std::wstring& path, std::int32_t mapIndex,
                                  FileNotificationInfo& note) {
    // Of the entries, which are sorted, those whose token stands for the last part of the path.
    std::wstring begin(splitAtLastBackslash(path).directory);
    begin += kToken;
    const ConfiguredEntries& configured = TableOf(mapIndex).GetConfigured();
    bool isInstance = false;
    for (auto entry = configured.lower_bound(begin);
         entry != configured.end() && entry->starts_with(begin); ++entry) {
        isInstance = VirtualDirectoryGone(*entry, mapIndex, path, note) || isInstance;
    }
    if (!isInstance) {
        if (TableOf(mapIndex).Find(path) != nullptr) {
            // A path on a file list and on a log list is two entities: each list notices by itself,
            // and the one has still to tell of it when the other has.
            RemoveWatchedEntity(path, mapIndex);
        }
        return;
    }
    // The instance's own folder has to be unknown again, or its return would pass for a mere change
    // of it, and nobody would watch what is in it.
    ForgetRows(path, mapIndex);
    TableOf(mapIndex).EraseEntity(path);
}

// What came while the entry was there has an entity and no row. Another entry keeps it.
void FileWatchMonitor::ForgetInstances(const VirtualPathSpec& spec, std::int32_t mapIndex) {
    const std::wstring begin = spec.GetRoot().append(kToken);
    const ScopedLock guard(*lock_);
    EntityTable& table = TableOf(mapIndex);
    const auto other = table.GetConfigured().lower_bound(begin);
    if (other != table.GetConfigured().end() && other->starts_with(begin)) {
        return;
    }
    for (const std::wstring& path : table.GetEntityPaths(spec.GetRoot())) {
        if (spec.IsVirtualDir(path, 1) && !table.HasRow(path)) {
            table.EraseEntity(path);
        }
    }
}

bool FileWatchMonitor::VirtualDirectoryGone(const std::wstring& entry, std::int32_t mapIndex,
                                            const std::wstring& path, FileNotificationInfo& note) {
    if (!IsStillListed(entry, mapIndex)) {
        return false;
    }
    const FileWatchParams params = EntryParams(entry, mapIndex);
    const VirtualPathSpec spec(entry, params.recursionLevel, params.monitorAccessTime, entry);
    if (spec.GetDirectory().empty() || !spec.IsVirtualDir(path, 1)) {
        return false;
    }
    DeletedDirectoryWalk(path, mapIndex, note, spec);
    const std::wstring folder = folderOf(spec, path);
    source_->RemoveFileToWatch(RequestOf(folder + spec.GetMask(), params, mapIndex, entry));
    // And what has come up in the folder since, whatever its name. Not in the filter, which was
    // not asked for this path: it would forget what another entry with that mask has asked for.
    source_->RemoveFromWatchers(
        WatchedPathSpec(folder + L'*', params.recursionLevel, params.monitorAccessTime),
        params.listId, true, 0);
    return true;
}

// What other entries alone have asked for below the folder stays: the source goes on watching it
// for them, and tells of each file by itself. Logs go without a word; what their entities know of
// offsets must not be taken for knowledge about the files of an instance that comes later.
void FileWatchMonitor::DeletedDirectoryWalk(const std::wstring& directory, std::int32_t mapIndex,
                                            FileNotificationInfo& note,
                                            const WatchedPathSpec& spec) {
    std::wstring delivered;
    for (const EntityTable::Row& row : TableOf(mapIndex).GetRows(directory + L'\\')) {
        const std::wstring& path = row.path;
        if (!spec.Matches(path)) {
            continue;
        }
        if (mapIndex == kFileIndex && path != delivered) {  // its first row
            debugLog(kModule, L"Deleted directory (%ls) contained file/dir: %ls", directory, path);
            DeliverAs(FileAction::Deleted, TableOf(mapIndex).Find(path), note);
            delivered = path;
        }
        UnlinkPath(path, row.entry, mapIndex);
    }
}

}  // namespace lathwind
