#include "filewatch/windows/WinFileEventSource.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "filewatch/EntryKind.h"
#include "filewatch/VirtualPath.h"
#include "filewatch/VirtualPathSpec.h"
#include "filewatch/WatchedFolders.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;
constexpr int kNotValidId = 286;     // FWC_0017
constexpr int kInvalidPathId = 287;  // FWC_0018
constexpr int kFolderMaskId = 342;   // FWC_0019

// A path that begins with a drive or a backslash: absolute, or as good as.
bool beginsAtRoot(std::wstring_view path) {
    return path.size() > 1 && (path[1] == L':' || path[1] == L'\\');
}

std::int32_t countLevels(std::wstring_view path) {
    return static_cast<std::int32_t>(std::count(path.begin(), path.end(), L'\\'));
}

std::shared_ptr<const WatchedPathSpec> makeSpec(std::wstring path, const WatchRequest& request) {
    if (request.virtualEntry.empty()) {
        return std::make_shared<WatchedPathSpec>(std::move(path), request.recursionLevel,
                                                 request.monitorAccessTime);
    }
    return std::make_shared<VirtualPathSpec>(std::move(path), request.recursionLevel,
                                             request.monitorAccessTime, request.virtualEntry);
}

}  // namespace

std::unique_ptr<FileEventSource> CreateFileEventSource() {
    return std::make_unique<WinFileEventSource>();
}

WinFileEventSource::WinFileEventSource() : polling_(*this) {}

WinFileEventSource::~WinFileEventSource() = default;

void WinFileEventSource::Start() {
    OpenQueue();
    polling_.Start();
    if (GetMonitor() != nullptr) {
        realTime_.SetInterface(GetMonitor()->GetStartedFilter());
    }
}

void WinFileEventSource::Stop() {
    polling_.Stop();
    realTime_.SetInterface(nullptr);
    CloseQueue();
}

void WinFileEventSource::SetPollingIntervals(const std::set<std::int32_t>& listIds) {
    polling_.SetPollingIntervals(listIds);
}

std::uint32_t WinFileEventSource::GetNotificationCount() const {
    return polling_.GetNotificationCount();
}

std::size_t WinFileEventSource::GetPolledCount() const {
    return polling_.GetPolledCount();
}

// ---- Adding

bool WinFileEventSource::AddFileToWatch(const WatchRequest& request) {
    const ScopedLock guard(ChangeLock());
    Specs().AddList(request.listId);
    if (!request.virtualEntry.empty()) {
        return AddSpec(request);
    }
    if (PathHasVirtualTag(request.path)) {
        return AddVirtual(request);
    }
    return hasWildcard(request.path) ? AddSpec(request) : AddPlain(request);
}

// The root is watched for instances that come and go, and each instance that is there like an entry
// with a mask. The instances are listed when the root is watched already, so that none is missed.
bool WinFileEventSource::AddVirtual(const WatchRequest& request) {
    const VirtualPathSpec entry(request.path, request.recursionLevel, request.monitorAccessTime,
                                request.path);
    WatchRequest each = request;
    each.path = entry.GetRoot() + L'*';
    each.recursionLevel = 1;
    each.monitorAccessTime = false;
    each.virtualEntry = request.path;
    const WatchedPathSpec instances(each.path, 1, false);
    if (!AddSpec(each)) {
        return false;
    }
    each.recursionLevel = request.recursionLevel;
    each.monitorAccessTime = request.monitorAccessTime;
    for (const std::wstring& instance : listWatchedFolders(instances.GetDirectory(), 1)) {
        if (!instances.Matches(instance)) {
            continue;  // the token is a part of the folder's name
        }
        const std::wstring folder = instance + L'\\' + entry.GetTail();
        each.path = folder + entry.GetMask();
        if (!AddSpec(each)) {
            Specs().Exclude(folder, request.path, request.listId);
        }
    }
    return true;
}

bool WinFileEventSource::AddPlain(const WatchRequest& request) {
    if (Specs().HasKey(request.path, request.listId)) {
        return false;
    }
    if (!beginsAtRoot(request.path)) {
        logCatalogued(Severity::Warning, kModule, kInvalidPathId, request.path);
        return false;
    }
    const WatchedPathSpec written(request.path, 1, request.monitorAccessTime);
    // The filter knows the folder by its long name. Those who watch are given the path as it was
    // asked for, since that is the entity's.
    const auto spec = std::make_shared<WatchedPathSpec>(
        longFolder(written.GetDirectory()) + written.GetMask(), 1, request.monitorAccessTime);
    Specs().Insert(request.path, spec, request.listId);
    if (!IsWatchedInRealTime(request.path, 1, request)) {
        polling_.AddToList({request.path, 0, request.monitorAccessTime, request.listId, {}});
    }
    return true;
}

bool WinFileEventSource::AddSpec(const WatchRequest& request) {
    if (!Specs().HasList(request.listId)) {
        return false;
    }
    if (FindRow(request) != nullptr) {
        debugLog(kModule, L"%ls is already being watched", request.path);
        return false;
    }
    auto spec = makeSpec(request.path, request);
    const std::wstring writtenFolder = spec->GetDirectory();
    if (!beginsAtRoot(writtenFolder)) {
        logCatalogued(Severity::Warning, kModule, kNotValidId, request.path);
        return false;
    }
    const std::wstring folder = longFolder(writtenFolder);
    if (hasWildcard(folder)) {
        logCatalogued(Severity::Warning, kModule, kFolderMaskId, request.path, folder,
                      request.recursionLevel);
        return false;
    }
    if (folder != writtenFolder) {
        longFolders_[{request.listId, writtenFolder}] = folder;
        spec = makeSpec(folder + spec->GetMask(), request);
    }
    Specs().Insert(folder, spec, request.listId);
    if (!IsWatchedInRealTime(spec->GetFullPath(), request.recursionLevel, request)) {
        PollFolder(*spec, request.listId);
    }
    return true;
}

// Under the folder's name as it is written or, where that was found, its long one.
SpecTable::SpecPtr WinFileEventSource::FindRow(const WatchRequest& request) {
    auto spec = makeSpec(request.path, request);
    if (Specs().HasRow(spec->GetDirectory(), *spec, request.listId)) {
        return spec;
    }
    const auto known = longFolders_.find({request.listId, spec->GetDirectory()});
    if (known == longFolders_.end()) {
        return nullptr;
    }
    spec = makeSpec(known->second + spec->GetMask(), request);
    return Specs().HasRow(known->second, *spec, request.listId) ? spec : nullptr;
}

bool WinFileEventSource::IsWatchedInRealTime(const std::wstring& path, std::int32_t level,
                                             const WatchRequest& request) {
    if (request.notRealTime) {
        return false;
    }
    return realTime_.AddFileToWatch(path, level, request.monitorAccessTime) ||
           (GetMonitor() != nullptr && GetMonitor()->IsIPSFilterWatchingFile(path, request.listId));
}

// A folder is on its list, with the snapshot that it gets there, before what lies in it is listed:
// what comes later changes the folder, and the next walk looks into it.
void WinFileEventSource::PollFolder(const WatchedPathSpec& spec, std::int32_t listId) {
    const std::wstring& top = spec.GetDirectory();
    const std::int32_t level = spec.GetRecursionLevel();
    const bool accessTime = spec.GetMonitorAccessTime();
    polling_.AddToList({top, level, accessTime, listId, spec.GetMask()});
    const std::vector<std::wstring> folders = listWatchedFolders(top, level);
    for (const std::wstring& folder : folders) {
        const std::int32_t depth = countLevels(folder) - countLevels(top) + 1;
        polling_.AddToList({folder, level - depth, accessTime, listId, spec.GetMask()});
    }
    for (std::wstring& listed : listWatchedFiles(top, spec.GetMask(), level)) {
        const std::wstring file = std::move(listed);  // the list shrinks while the rows grow
        if (!std::binary_search(folders.begin(), folders.end(), file)) {
            polling_.AddToList({file, 0, accessTime, listId, {}, true});
        }
    }
}

// ---- Removing

bool WinFileEventSource::RemoveFileToWatch(const WatchRequest& request) {
    const ScopedLock guard(ChangeLock());
    bool isRemoved = false;
    if (!request.virtualEntry.empty()) {
        isRemoved = RemoveMasked(request);
    } else if (PathHasVirtualTag(request.path)) {
        isRemoved = RemoveVirtual(request);
    } else {
        isRemoved = hasWildcard(request.path) ? RemoveMasked(request) : RemovePlain(request);
    }
    Specs().EraseListIfEmpty(request.listId);
    return isRemoved;
}

bool WinFileEventSource::RemovePlain(const WatchRequest& request) {
    const WatchedPathSpec spec(request.path, 1, request.monitorAccessTime);
    const auto removed = Specs().Remove(request.path, &spec, request.listId);
    if (removed.remaining == 0 && !IsCovered(request.path, request.listId)) {
        polling_.RemoveFromList(request.path, request.listId);
    }
    if (removed.spec == nullptr) {
        return false;
    }
    if (realTime_.IsActive() && !request.notRealTime) {
        realTime_.RemoveFileToWatch(request.path, 1, removed.spec->GetMonitorAccessTime());
    }
    return true;
}

bool WinFileEventSource::RemoveMasked(const WatchRequest& request) {
    const auto written = makeSpec(request.path, request);
    const auto row = FindRow(request);
    const bool isRemoved = RemoveSpecOf(row != nullptr ? *row : *written, request);
    const auto known = longFolders_.find({request.listId, written->GetDirectory()});
    if (known != longFolders_.end() && !Specs().HasKey(known->second, request.listId)) {
        longFolders_.erase(known);
    }
    return isRemoved;
}

bool WinFileEventSource::RemoveVirtual(const WatchRequest& request) {
    auto specs = Specs().GetVirtualRows(request.path, request.listId);
    // The root comes first: nothing is to be taken for a new instance meanwhile. Its folder is the
    // shortest.
    std::stable_sort(specs.begin(), specs.end(), [](const auto& first, const auto& second) {
        return first->GetDirectory().size() < second->GetDirectory().size();
    });
    for (const auto& spec : specs) {
        RemoveSpecOf(*spec, request);
    }
    Specs().ForgetExclusions(request.path, request.listId);
    return !specs.empty();
}

bool WinFileEventSource::RemoveSpecOf(const WatchedPathSpec& spec, const WatchRequest& request) {
    const auto removed = Specs().Remove(spec.GetDirectory(), &spec, request.listId);
    const bool isRemoved = removed.spec != nullptr;
    // With the level and the flag under which it was added. The filter counts who asked for a path:
    // nothing is taken back that was not asked for.
    RemoveFromWatchers(isRemoved ? *removed.spec : spec, request.listId,
                       request.notRealTime || !isRemoved, removed.remaining);
    return isRemoved;
}

void WinFileEventSource::RemoveFromWatchers(const WatchedPathSpec& spec, std::int32_t listId,
                                            bool notRealTime, std::size_t remaining) {
    debugLog(kModule,
             L"WinFileEventSource::RemoveFileToWatch() FileName : %s GetRecursionLevel %d "
             L"GetMonitorAccessTime %d",
             spec.GetFullPath(), spec.GetRecursionLevel(), spec.GetMonitorAccessTime());
    if (remaining == 0 && !IsCovered(spec.GetDirectory(), listId)) {
        polling_.RemoveWildCardFileToWatch({spec.GetDirectory(), spec.GetRecursionLevel(),
                                            spec.GetMonitorAccessTime(), listId, spec.GetMask()},
                                           true);
    }
    if (realTime_.IsActive() && !notRealTime) {
        realTime_.RemoveFileToWatch(spec.GetFullPath(), spec.GetRecursionLevel(),
                                    spec.GetMonitorAccessTime());
    }
}

}  // namespace lathwind
