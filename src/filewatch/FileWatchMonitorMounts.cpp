// What a volume's coming and going does to the tables. Logs are left alone.
#include <utility>

#include "filewatch/EntryKind.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/VirtualInstances.h"
#include "filewatch/WatchedFile.h"
#include "utils/Logging.h"
#include "utils/SecurityUtilities.h"
#include "utils/SidText.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;

std::wstring userName(std::span<const std::byte> sid) {
    const std::wstring text = sidTextOfBytes(sid);
    std::wstring name;
    return !text.empty() && GetAccountNameOfSid(text, name) ? name : std::wstring(L"none");
}

}  // namespace

// ---- The filter's thread, which must not wait: the walk is a work item.

void FileWatchMonitor::ExMount(const std::wstring& path, std::int32_t processId,
                               std::span<const std::byte> user, const std::wstring& process) {
    debugLog(kModule, L"FileWatchMonitor::ExMount(%ls)", path);
    workItems_->EnQueueMount(path, processId, userName(user), process);
}

void FileWatchMonitor::ExUnMount(const std::wstring& path, std::int32_t processId,
                                 std::span<const std::byte> user, const std::wstring& process) {
    debugLog(kModule, L"FileWatchMonitor::ExUnMount(%ls)", path);
    workItems_->EnQueueUnMount(path, processId, userName(user), process);
}

// ---- The walks, on the thread of the work items.

// The mount manager has a lock of its own: a slow volume keeps no notification waiting.
void FileWatchMonitor::RefreshMounts() {
    if (mounts_ != nullptr) {
        mounts_->RefreshMounts();
    }
}

// The beginning of the text decides, not whole folder names: "d:\data" takes "d:\database" along.
std::vector<std::wstring> FileWatchMonitor::EntriesBelow(const std::wstring& path) {
    const ScopedLock guard(*lock_);
    const ConfiguredEntries& configured = TableOf(kFileIndex).GetConfigured();
    std::vector<std::wstring> entries;
    for (auto entry = configured.lower_bound(path);
         entry != configured.end() && entry->starts_with(path); ++entry) {
        entries.push_back(*entry);
    }
    return entries;
}

void FileWatchMonitor::ProcessMount(const std::wstring& path, std::int32_t /*processId*/,
                                    const std::wstring& /*user*/, const std::wstring& /*process*/,
                                    Event& stop) {
    const std::wstring mount = toLower(path);
    ProcessUnmount(mount, stop);
    RefreshMounts();
    std::size_t count = 0;
    for (const std::wstring& entry : EntriesBelow(mount)) {
        if (isStopRequested(stop)) {
            break;
        }
        count += MountEntry(entry, mount, stop);
    }
    debugLog(kModule, L"Mount for %ls processed. %d files affected.", path, count);
}

// Gives the number of paths looked at.
std::size_t FileWatchMonitor::MountEntry(const std::wstring& entry, const std::wstring& mount,
                                         Event& stop) {
    FileWatchParams params = ParamsOf(entry);
    const EntryKind kind = kindOfEntry(entry);
    if (kind == EntryKind::Plain) {
        if (GetEntity(entry, kFileIndex) == nullptr) {
            AddEntityOf(entry, entry, kFileIndex, {.log = nullptr, .file = &params}, {});
        }
        return 1;
    }
    const WatchedPathSpec parts(entry, 1, false);
    params.recursionLevel = LevelOf(parts, kFileIndex, params.recursionLevel);
    AddWalk walk(entry, kFileIndex, {.log = nullptr, .file = &params}, params.recursionLevel,
                 &stop);
    if (kind == EntryKind::WildCard) {
        AddMatches(walk, parts.GetDirectory(), {});
    } else {
        MountVirtualEntry(walk, params, mount);
    }
    return walk.progress.GetCount();
}

void FileWatchMonitor::MountVirtualEntry(AddWalk& walk, const FileWatchParams& params,
                                         const std::wstring& mount) {
    const VirtualPathSpec spec(walk.entry, walk.level, false, walk.entry);
    for (const VirtualInstance& instance : listVirtualInstances(spec)) {
        if (walk.progress.IsStopped()) {
            return;
        }
        if (instance.folder.find(mount) == std::wstring::npos) {
            continue;
        }
        const WatchRequest request =
            RequestOf(instance.directory + walk.mask, params, kFileIndex, walk.entry);
        // The source keeps what it watches while a volume is away, and then refuses it as known.
        if (source_->AddFileToWatch(request) || source_->IsCovered(request.path, request.listId)) {
            AddMatches(walk, instance.directory, instance.name);
        }
    }
}

void FileWatchMonitor::ProcessUnmount(const std::wstring& path, Event& stop) {
    const std::wstring mount = toLower(path);
    RefreshMounts();
    std::size_t count = 0;
    for (const std::wstring& entry : EntriesBelow(mount)) {
        if (isStopRequested(stop)) {
            break;
        }
        if (kindOfEntry(entry) == EntryKind::Plain) {
            ++count;
            UnlinkPath(entry, entry, kFileIndex);
        } else {
            count += UnmountEntry(entry, mount, stop);
        }
    }
    debugLog(kModule, L"Un-Mount for %ls processed. %d files affected.", path, count);
}

// Gives the number of paths unlinked. The mount point itself is still there. Instances are not gone
// with their files: the source keeps watching them for the volume's return.
std::size_t FileWatchMonitor::UnmountEntry(const std::wstring& entry, const std::wstring& mount,
                                           Event& stop) {
    const bool isVirtual = kindOfEntry(entry) == EntryKind::Virtual;
    const std::int32_t level =
        LevelOf(WatchedPathSpec(entry, 1, false), kFileIndex, ParamsOf(entry).recursionLevel);
    WalkProgress progress(&stop);
    for (const EntityTable::Row& row : RowsOf(*makeEntrySpec(entry, level), entry, kFileIndex)) {
        const std::wstring& path = row.path;
        if (path == mount) {
            debugLog(kModule, L"Mount point %ls skipped.", path);
            continue;
        }
        if (isVirtual && path.find(mount) == std::wstring::npos) {
            continue;
        }
        UnlinkPath(path, entry, kFileIndex);
        if (progress.Count()) {
            break;
        }
    }
    return progress.GetCount();
}

// ---- A mount that polling has noticed: the monitor's thread, with the lock held.

void FileWatchMonitor::HandlePolledMount(WatchedEntity* entity, FileNotificationInfo& note) {
    note.entry = ConfiguredEntryFor(note.path);
    Deliver(entity, note);
    EntityTable& files = TableOf(kFileIndex);
    // Polling names the entry itself, which is the path of no file and has a row for this step
    // only.
    const std::wstring path = toLower(note.path);
    const std::wstring entry =
        files.GetConfigured().contains(path) ? path : files.GetFirstEntry(path);
    if (entity == nullptr) {
        ForgetRows(path, mapIndexOfList(note.listId));
    }
    if (entry.empty()) {
        return;
    }
    RefreshEntities(entry, note.recursionLevel);
    const EntryKind kind = kindOfEntry(entry);
    if (note.action != FileAction::Mount || kind == EntryKind::Plain ||
        note.driverOperation == DriverOperation::Mounted) {
        return;
    }
    const FileWatchParams params = ParamsOf(entity, note);
    if (kind == EntryKind::Virtual) {
        AddVirtualFile(entry, params, true, nullptr);
    } else {
        AddWildCardFile(entry, params, true, nullptr);
    }
}

FileWatchParams FileWatchMonitor::ParamsOf(const WatchedEntity* entity,
                                           const FileNotificationInfo& note) {
    FileWatchParams params;
    params.recursionLevel = note.recursionLevel;
    params.listId = note.listId;
    if (entity != nullptr) {
        params.checksum = entity->IsChecksumEnabled();
        params.monitorAccessTime = entity->IsAccessTimeMonitored();
    }
    if (const auto* file = dynamic_cast<const WatchedFile*>(entity)) {
        params.label = file->GetLabel();
    }
    return params;
}

// Without events: what was there before the volume came is no change of a file.
void FileWatchMonitor::RefreshEntities(const std::wstring& entry, std::int32_t recursionLevel) {
    EntityTable& table = TableOf(kFileIndex);
    const auto refresh = [&table](const std::wstring& path) {
        if (WatchedEntity* const entity = table.Find(path)) {
            entity->InitializeEntity(false);
            table.Publish(path);
        }
    };
    if (kindOfEntry(entry) == EntryKind::Plain) {
        refresh(entry);
        return;
    }
    const auto spec = makeEntrySpec(entry, recursionLevel);
    for (const std::wstring& path : table.GetEntityPaths(commonPrefixOf(*spec))) {
        if (spec->Matches(path)) {
            refresh(path);
        }
    }
}

}  // namespace lathwind
