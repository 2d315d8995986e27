// How entries of the lists become watched paths, entities and rows.
#include <utility>

#include "filewatch/EntryKind.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/VirtualInstances.h"
#include "filewatch/WatchedFolders.h"
#include "filewatch/WatchedLogFile.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/AgentInfo.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;
constexpr int kNoPermissionMessage = 250;
constexpr int kInvalidPathMessage = 287;

bool reportUnlessSplit(const std::wstring& entry, const std::wstring& directory) {
    if (directory.empty()) {
        logCatalogued(Severity::Warning, kModule, kInvalidPathMessage, entry);
    }
    return !directory.empty();
}

bool isFixedDisk(const std::wstring& directory) {
    return WinFileAttributes(directory).GetVolumeKind() == VolumeKind::Local;
}

}  // namespace

FileWatchMonitor::AddWalk::AddWalk(const std::wstring& configured, std::int32_t index,
                                   const EntityProperties& settings, std::int32_t recursionLevel,
                                   Event* stopEvent)
    : entry(configured),
      mask(WatchedPathSpec(configured, 1, false).GetMask()),
      mapIndex(index),
      properties(settings),
      level(recursionLevel),
      progress(stopEvent) {}

std::int32_t FileWatchMonitor::RecursionLevelOf(const std::wstring& directory,
                                                const std::wstring& mask,
                                                std::int32_t level) const {
    const AgentInfoRef settings;
    if (!settings->enableFilewatchFilter() && mask.find_first_not_of(L"*?") != std::wstring::npos &&
        !isFixedDisk(directory)) {
        return 1;
    }
    return level == 0 ? static_cast<std::int32_t>(settings->recursionLevel()) : level;
}

std::int32_t FileWatchMonitor::LevelOf(const WatchedPathSpec& entry, std::int32_t mapIndex,
                                       std::int32_t level) const {
    const bool isPlainVirtual =
        !hasWildcard(entry.GetMask()) && kindOfEntry(entry.GetFullPath()) == EntryKind::Virtual;
    if (mapIndex == kLogIndex || isPlainVirtual) {
        return 1;
    }
    return RecursionLevelOf(entry.GetDirectory(), entry.GetMask(), level);
}

// ---- Files.

void FileWatchMonitor::AddFile(const std::wstring& path, const FileWatchParams& params,
                               Event& stop) {
    SetConfigurationPending(true);
    const std::wstring entry = toLower(FileIO::NormalizePath(path));
    if (!FileIO::IsAccessible(MapToRealPath(FileIO::GetDirectory(entry)))) {
        logCatalogued(Severity::Warning, kModule, kNoPermissionMessage, path);
    }
    switch (kindOfEntry(entry)) {
        case EntryKind::Virtual:
            AddVirtualFile(entry, params, false, &stop);
            return;
        case EntryKind::WildCard:
            AddWildCardFile(entry, params, false, &stop);
            return;
        case EntryKind::Plain:
            break;
    }
    FileWatchParams own = params;
    own.recursionLevel = 1;
    if (AcceptEntry(entry, own, kFileIndex, L"Failed to add %ls")) {
        AddEntityOf(entry, entry, kFileIndex, {.log = nullptr, .file = &own}, {});
    }
}

// What both forms that stand for many paths begin with. A mount that polling has seen changes no
// entry, and nothing would end the pending state.
bool FileWatchMonitor::AcceptFiles(const std::wstring& path, FileWatchParams& params,
                                   bool skipSource) {
    if (!skipSource) {
        SetConfigurationPending(true);
    }
    const WatchedPathSpec parts(path, 1, false);
    if (!reportUnlessSplit(path, parts.GetDirectory())) {
        return false;
    }
    params.recursionLevel = LevelOf(parts, kFileIndex, params.recursionLevel);
    return skipSource || AcceptEntry(path, params, kFileIndex, L"Failed to add %ls");
}

std::size_t FileWatchMonitor::AddWildCardFile(const std::wstring& path, FileWatchParams params,
                                              bool skipSource, Event* stop) {
    if (!AcceptFiles(path, params, skipSource)) {
        return 0;
    }
    AddWalk walk(path, kFileIndex, {.log = nullptr, .file = &params}, params.recursionLevel, stop);
    AddMatches(walk, WatchedPathSpec(path, 1, false).GetDirectory(), {});
    return walk.added;
}

std::size_t FileWatchMonitor::AddVirtualFile(const std::wstring& path, FileWatchParams params,
                                             bool skipSource, Event* stop) {
    if (!AcceptFiles(path, params, skipSource)) {
        return 0;
    }
    AddWalk walk(path, kFileIndex, {.log = nullptr, .file = &params}, params.recursionLevel, stop);
    AddInstances(walk);
    return walk.added;
}

// ---- Logs: the same walks, in their own folder only and without a look at the stop event.

void FileWatchMonitor::AddLogFile(const LogFileProperties& properties, std::int32_t startOffset) {
    SetConfigurationPending(true);
    const std::wstring entry = toLower(FileIO::NormalizePath(properties.GetFileName()));
    switch (kindOfEntry(entry)) {
        case EntryKind::Virtual:
            AddVirtualLogFile(properties);
            return;
        case EntryKind::WildCard:
            AddWildCardLogFile(properties);
            return;
        case EntryKind::Plain:
            AddPlainLogFile(entry, properties, startOffset);
            return;
    }
}

// Of a log that another entry follows already the offset stays: it would be read twice.
void FileWatchMonitor::AddPlainLogFile(const std::wstring& entry,
                                       const LogFileProperties& properties,
                                       std::int32_t startOffset) {
    if (!AcceptEntry(entry, LogParams(), kLogIndex, L"Failed to add %ls")) {
        return;
    }
    const bool isNew = GetEntity(entry, kLogIndex) == nullptr;
    if (!AddEntityOf(entry, entry, kLogIndex, {.log = &properties, .file = nullptr}, {}) ||
        !isNew || startOffset == kNoOffset) {
        return;
    }
    const ScopedLock guard(*lock_);
    if (auto* const log = dynamic_cast<WatchedLogFile*>(TableOf(kLogIndex).Find(entry))) {
        log->SetOffset(static_cast<std::uint32_t>(startOffset));
        TableOf(kLogIndex).Publish(entry);
    }
}

std::size_t FileWatchMonitor::AddWildCardLogFile(const LogFileProperties& properties) {
    const std::wstring entry = toLower(FileIO::NormalizePath(properties.GetFileName()));
    const WatchedPathSpec parts(entry, 1, false);
    if (!reportUnlessSplit(entry, parts.GetDirectory()) ||
        !AcceptEntry(entry, LogParams(), kLogIndex, L"AddWildCardLogFile: Failed to add %ls")) {
        return 0;
    }
    AddWalk walk(entry, kLogIndex, {.log = &properties, .file = nullptr}, 1, nullptr);
    AddMatches(walk, parts.GetDirectory(), {});
    return walk.added;
}

std::size_t FileWatchMonitor::AddVirtualLogFile(const LogFileProperties& properties) {
    const std::wstring entry = toLower(FileIO::NormalizePath(properties.GetFileName()));
    const WatchedPathSpec parts(entry, 1, false);
    if (!reportUnlessSplit(entry, parts.GetDirectory()) ||
        !AcceptEntry(entry, LogParams(), kLogIndex, L"AddVirtualLogFile: Failed to add %ls")) {
        return 0;
    }
    AddWalk walk(entry, kLogIndex, {.log = &properties, .file = nullptr}, 1, nullptr);
    AddInstances(walk);
    return walk.added;
}

// ---- Steps of both.

FileWatchParams FileWatchMonitor::LogParams() {
    FileWatchParams params;
    params.recursionLevel = 1;
    return params;
}

WatchRequest FileWatchMonitor::RequestOf(const std::wstring& path, const FileWatchParams& params,
                                         std::int32_t mapIndex, const std::wstring& virtualEntry) {
    WatchRequest request;
    request.path = path;
    request.recursionLevel = params.recursionLevel;
    request.notRealTime = mapIndex == kLogIndex;
    request.monitorAccessTime = params.monitorAccessTime;
    request.listId = params.listId;
    request.virtualEntry = virtualEntry;
    return request;
}

// The entry stands before the source tells anything about it, or what is told would belong to none.
bool FileWatchMonitor::AcceptEntry(const std::wstring& entry, const FileWatchParams& params,
                                   std::int32_t mapIndex, DebugFormat refusal) {
    bool isNew = false;
    {
        const ScopedLock guard(*lock_);
        isNew = TableOf(mapIndex).GetConfigured().insert(entry);
    }
    if (source_->AddFileToWatch(RequestOf(entry, params, mapIndex, {}))) {
        return true;
    }
    debugLog(kModule, refusal, entry);
    if (isNew) {
        ForgetEntry(entry, mapIndex);
    }
    return false;
}

void FileWatchMonitor::AddMatches(AddWalk& walk, const std::wstring& directory,
                                  const std::wstring& virtualName) {
    for (std::wstring& listed : listWatchedFiles(directory, walk.mask, walk.level)) {
        // The list shrinks while the table grows, so that both together take no more than one.
        const std::wstring path = std::move(listed);
        if (AddEntityOf(path, walk.entry, walk.mapIndex, walk.properties, virtualName)) {
            ++walk.added;
        }
        if (walk.progress.Count()) {
            return;
        }
    }
}

void FileWatchMonitor::AddInstances(AddWalk& walk) {
    const VirtualPathSpec spec(walk.entry, walk.level, false, walk.entry);
    for (const VirtualInstance& instance : listVirtualInstances(spec)) {
        if (walk.progress.IsStopped()) {
            return;
        }
        if (!source_->IsExcluded(instance.directory, walk.level)) {
            AddMatches(walk, instance.directory, instance.name);
        }
    }
}

bool FileWatchMonitor::AddEntityOf(const std::wstring& path, const std::wstring& entry,
                                   std::int32_t mapIndex, const EntityProperties& properties,
                                   const std::wstring& virtualName) {
    if (AddWatchedEntity(path, mapIndex, false, properties, virtualName) == nullptr) {
        return false;
    }
    const ScopedLock guard(*lock_);
    if (TableOf(mapIndex).Find(path) == nullptr) {
        return false;  // gone again, as the monitor's thread was told
    }
    TableOf(mapIndex).AddRow(path, entry);
    return true;
}

// The first snapshot of a new file tells whether it exists: a folder of many files is looked at
// once. Of a log more is asked when its entity is made, so it is asked for first.
WatchedEntity* FileWatchMonitor::AddWatchedEntity(const std::wstring& path, std::int32_t mapIndex,
                                                  bool readFromStart,
                                                  const EntityProperties& properties,
                                                  const std::wstring& virtualName) {
    std::unique_ptr<WatchedEntity> made;
    if (mapIndex == kFileIndex && GetEntity(path, mapIndex) == nullptr) {
        made = CreateWatchedEntity(kRegularFile, path, properties, virtualName);
    }
    if (made != nullptr ? !made->GetAttributes().Exists() : !FileIO::Exists(MapToRealPath(path))) {
        debugLog(kModule, L"AddWatchedEntity skipping non-existing file %ls", path);
        return nullptr;
    }
    if (!source_->CanWatch(path)) {
        debugLog(kModule, L"AddWatchedEntity skipping unwatchable file %ls", path);
        return nullptr;
    }
    if (made == nullptr) {
        if (WatchedEntity* const known = GetEntity(path, mapIndex)) {
            return known;
        }
        made = CreateWatchedEntity(mapIndex, path, properties, virtualName);
    }
    made->BeginWatching(readFromStart);
    // Somebody else may have made one meanwhile: that one has begun to be compared with.
    const ScopedLock guard(*lock_);
    if (WatchedEntity* const known = TableOf(mapIndex).Find(path)) {
        return known;
    }
    return &TableOf(mapIndex).Insert(path, std::move(made));
}

}  // namespace lathwind
