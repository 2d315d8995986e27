#include "filewatch/windows/WinFileWatcher.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/MountManager.h"
#include "filewatch/windows/PollDirEntry.h"
#include "utils/AgentInfo.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;

std::atomic<bool> isDirty{false};

// The spelling under which a path is on a list.
std::wstring keyOf(const std::wstring& path) {
    constexpr std::size_t kDriveLength = 3;  // "c:\", whose backslash belongs to it
    std::wstring key = toLower(path);
    if (key.size() > kDriveLength && key.ends_with(L'\\')) {
        key.pop_back();
    }
    return key;
}

std::wstring withBackslash(std::wstring folder) {
    if (!folder.ends_with(L'\\')) {
        folder += L'\\';
    }
    return folder;
}

std::wstring timerName(std::int32_t listId) {
    return listId == WinFileWatcher::kSaveTimer ? L"State saving"
                                                : L"File list " + std::to_wstring(listId);
}

// How many folders deep `path` lies below a folder, which ends in a backslash: 1 is right in it, 0
// not below it.
std::int32_t depthBelow(const std::wstring& folder, const std::wstring& path) {
    if (path.size() <= folder.size() || !path.starts_with(folder)) {
        return 0;
    }
    const auto rest = path.begin() + static_cast<std::wstring::difference_type>(folder.size());
    return 1 + static_cast<std::int32_t>(std::count(rest, path.end(), L'\\'));
}

}  // namespace

WinFileWatcher::WinFileWatcher(FileEventSource& source)
    : source_(source), listLock_(platformFactory.createLock()) {
    lists_[kLogList];
}

WinFileWatcher::~WinFileWatcher() {
    Stop();
}

void WinFileWatcher::SetDirty(bool dirty) noexcept {
    isDirty.store(dirty);
}

// Stop forgets the timers, but not the lists.
void WinFileWatcher::Start() {
    for (const std::int32_t listId : ListsBeside({})) {
        EnsureTimer(listId);
    }
    EnsureTimer(kLogList);
    EnsureTimer(kSaveTimer);
    ThreadForTimers::Start();
}

std::int32_t WinFileWatcher::IntervalOf(std::int32_t listId) {
    constexpr std::uint64_t kSecondsPerMinute = 60;
    std::uint64_t seconds = 0;
    switch (listId) {
        case kLogList:
        case kHighList:
            seconds = AgentInfoRef()->shortPollInterval();
            break;
        case kNormalList:
            seconds = AgentInfoRef()->longPollInterval() * kSecondsPerMinute;
            break;
        case kSaveTimer:
            seconds = AgentInfoRef()->stateSavingFrequency();
            break;
        default:
            return listId;
    }
    constexpr std::uint64_t longest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(seconds, longest));
}

void WinFileWatcher::SetPollingIntervals(const std::set<std::int32_t>& listIds) {
    debugLog(kModule, L"fn SetPollingIntervals => Checking the High/Low timers.. ");
    for (const std::int32_t listId : listIds) {
        EnsureTimer(listId);
    }
    debugLog(kModule, L"fn SetPollingIntervals => Finding the timers to remove.. ");
    const std::vector<std::int32_t> unnecessary = ListsBeside(listIds);
    debugLog(kModule, L"fn SetPollingIntervals => Removing Unnecessary timers.. ");
    for (const std::int32_t listId : unnecessary) {
        RemoveTimer(listId);
        debugLog(kModule, L"fn SetPollingIntervals => Removed timer: %d.. ", listId);
    }
    debugLog(kModule, L"fn SetPollingIntervals => Removing Filelists for removed timers.. ");
    for (const std::int32_t listId : unnecessary) {
        RemoveList(listId);
    }
}

// The lists that are not among `listIds`, without list 0.
std::vector<std::int32_t> WinFileWatcher::ListsBeside(const std::set<std::int32_t>& listIds) const {
    std::vector<std::int32_t> others;
    const ScopedLock guard(*listLock_);
    for (const auto& [listId, list] : lists_) {
        if (listId != kLogList && !listIds.contains(listId)) {
            others.push_back(listId);
        }
    }
    return others;
}

void WinFileWatcher::RemoveList(std::int32_t listId) {
    const ScopedLock guard(*listLock_);
    debugLog(kModule, L"fn SetPollingIntervals => Removing file lists for timer: %d.. ", listId);
    if (const PollList* list = FindList(listId)) {
        polledCount_ -= list->size();
        lists_.erase(listId);
    }
    debugLog(kModule, L"fn SetPollingIntervals => Removed file lists for timer: %d.. ", listId);
}

// A timer whose interval is its id needs no other look. The timer thread's lock is taken here, so
// the list lock is not held.
void WinFileWatcher::EnsureTimer(std::int32_t listId) {
    const std::int32_t interval = IntervalOf(listId);
    auto timer = GetTimer(listId);
    if (timer != nullptr && listId < kSaveTimer && timer->GetPeriod() != interval) {
        RemoveTimer(listId);
        timer = nullptr;
    }
    if (timer != nullptr) {
        return;
    }
    if (listId != kSaveTimer) {
        const ScopedLock guard(*listLock_);
        lists_[listId];
    }
    AddTimer(std::make_unique<TimerItem>(listId, timerName(listId), TimerItem::Kind::Relative,
                                         interval, interval),
             true);
}

PollList* WinFileWatcher::FindList(std::int32_t listId) {
    const auto list = lists_.find(listId);
    return list == lists_.end() ? nullptr : &list->second;
}

// The system is asked without the list lock: a slow volume holds up nobody but the caller.
bool WinFileWatcher::AddToList(const PollRequest& request) {
    const std::wstring path = keyOf(request.path);
    {
        const ScopedLock guard(*listLock_);
        if (Merge(path, request)) {
            return false;
        }
    }
    if (MountManager* mounts = source_.GetMountManager();
        mounts != nullptr && !isMountTableFilled_.exchange(true)) {
        mounts->RefreshMounts();  // no walk has done so yet
    }
    auto made =
        request.isListedFile
            ? MadePollEntry{std::make_unique<PollEntry>(request.monitorAccessTime), true, false}
            : MakePollEntry(path, request.recursionLevel, request.monitorAccessTime, request.mask);
    if (const FileAttributes* folder = made.entry->GetSnapshot()) {
        made.entry->SetListAgain(MayChangeUnseen(*folder, GetNow()));
    }
    const ScopedLock guard(*listLock_);
    if (Merge(path, request)) {
        return false;
    }
    LearnMount(path, request.listId, made.exists);
    FindList(request.listId)->Insert(path, std::move(made.entry));
    ++polledCount_;
    debugLog(kModule, L"%ls added to list # %d", path, request.listId);
    return true;
}

// The volume of a path counts as known where it is there, whether the path is or not: a file that
// comes to be on it later was not brought by it.
void WinFileWatcher::LearnMount(const std::wstring& path, std::int32_t listId, bool pathExists) {
    MountManager* mounts = source_.GetMountManager();
    if (mounts == nullptr) {
        return;
    }
    if (!pathExists) {
        const auto mount = mounts->FindMount(path, false);
        if (mount == nullptr || !mount->IsMediaReady()) {
            return;
        }
    }
    mounts->AddMountState(path, listId);
}

// True: there is nothing to insert, because the path is on the list, or there is no such list.
bool WinFileWatcher::Merge(const std::wstring& path, const PollRequest& request) {
    PollList* list = FindList(request.listId);
    if (list == nullptr) {
        debugLog(kModule, L"Unknown list ID passed for %ls", path);
        return true;
    }
    const auto row = list->FindRow(path);
    if (row == list->GetRows().end()) {
        return false;
    }
    debugLog(kModule, L"%ls not added since already in list # %d", path, request.listId);
    auto& entry = row->second;
    if (!request.mask.empty()) {
        MakeDirEntry(entry, request.recursionLevel);  // a plain one came first
        entry->AddMask(request.mask);
    }
    if (request.recursionLevel > entry->GetRecursionLevel()) {
        entry->SetRecursionLevel(request.recursionLevel);
    }
    if (request.monitorAccessTime) {
        entry->SetMonitorAccessTime(true);
    }
    entry->SetFound(false);
    return true;
}

bool WinFileWatcher::RemoveFromList(const std::wstring& path, std::int32_t listId) {
    const std::wstring key = keyOf(path);
    const ScopedLock guard(*listLock_);
    PollList* list = FindList(listId);
    const PollEntry* entry = list != nullptr ? list->Find(key) : nullptr;
    if (entry != nullptr && IsFolder(key, *entry, listId) && source_.LooksInto(key, listId)) {
        return false;
    }
    return Erase(key, listId);
}

bool WinFileWatcher::Erase(const std::wstring& path, std::int32_t listId) {
    PollList* list = FindList(listId);
    if (list == nullptr) {
        debugLog(kModule, L"Unknown list ID passed for %ls", path);
        return false;
    }
    const auto row = list->FindRow(path);
    if (row == list->GetRows().end()) {
        return false;
    }
    list->Erase(row);
    --polledCount_;
    debugLog(kModule, L"%ls removed from list %d", path, listId);
    return true;
}

std::size_t WinFileWatcher::RemoveWildCardFileToWatch(const PollRequest& request,
                                                      bool checkCoverage) {
    const std::int32_t listId = request.listId;
    debugLog(kModule, L"POLLING FileWatch RemoveWildCardFileToWatch %s mask %s nListID %s",
             request.path, request.mask, listId);
    const std::wstring folder = keyOf(request.path);
    std::size_t count = 0;
    const ScopedLock guard(*listLock_);
    if ((!checkCoverage || !IsStillWatched(folder, true, listId)) && Erase(folder, listId)) {
        ++count;
    }
    if (!request.mask.empty()) {
        const WatchedPathSpec spec(withBackslash(folder) + toLower(request.mask),
                                   request.recursionLevel, request.monitorAccessTime);
        count += EraseBelow(spec, listId, checkCoverage);
    }
    return count;
}

// Not by its own name alone: a folder's row leads to the files in it and to the folders below.
bool WinFileWatcher::IsStillWatched(const std::wstring& path, bool isFolder,
                                    std::int32_t listId) const {
    return source_.IsCovered(path, listId) || (isFolder && source_.LooksInto(path, listId));
}

// Only rows below the spec's folder can be meant, and they stand together.
std::size_t WinFileWatcher::EraseBelow(const WatchedPathSpec& spec, std::int32_t listId,
                                       bool checkCoverage) {
    PollList* list = FindList(listId);
    if (list == nullptr) {
        return 0;
    }
    const std::wstring& folder = spec.GetDirectory();
    PollList::Rows& rows = list->GetRows();
    std::size_t count = 0;
    for (auto row = rows.lower_bound(folder);
         row != rows.end() && row->first.get().starts_with(folder);) {
        const std::wstring& path = row->first;
        const std::int32_t depth = depthBelow(folder, path);
        const bool isFolder = IsFolder(path, *row->second, listId);
        const bool isMeant =
            isFolder ? depth > 0 && depth <= spec.GetRecursionLevel() : spec.Matches(path);
        if (isMeant && !(checkCoverage && IsStillWatched(path, isFolder, listId))) {
            debugLog(kModule, L"POLLING FileWatch removing %ls from nListID %d", path, listId);
            row = list->Erase(row);
            --polledCount_;
            ++count;
        } else {
            ++row;
        }
    }
    return count;
}

// A row with masks is one for a folder, whether the folder is there or not.
bool WinFileWatcher::IsFolder(const std::wstring& path, const PollEntry& entry,
                              std::int32_t listId) const {
    if (!entry.GetMasks().empty() || entry.GetSnapshot() != nullptr) {
        return true;
    }
    MonitorQueries* monitor = source_.GetMonitor();
    const LastKnownState known =
        monitor != nullptr ? monitor->GetAttributes(path, listId) : LastKnownState();
    return known.attributes != nullptr && known.attributes->IsDirectory();
}

bool WinFileWatcher::TimerExpired(std::int64_t now, TimerItem& timer) {
    const auto listId = static_cast<std::int32_t>(timer.GetId());
    const ScopedLock guard(*listLock_);
    if (listId == kSaveTimer) {
        QueueSaveMarker();
        return true;
    }
    PollList* list = FindList(listId);
    if (list == nullptr) {
        return false;
    }
    WalkList(*list, listId, now);
    if (listId < kSaveTimer) {
        const std::int32_t interval = IntervalOf(listId);
        if (interval != timer.GetPeriod()) {
            timer.SetPeriod(interval);
            return true;
        }
    }
    return false;
}

void WinFileWatcher::WalkList(PollList& list, std::int32_t listId, std::int64_t now) {
    const std::size_t before = list.size();
    if (PollWalk(list, listId, source_, *this, now).Run()) {
        SetDirty(true);
    }
    polledCount_ += list.size() - before;  // wraps where rows went, and comes out right
}

// The flag is taken before the marker is queued, so that a change which comes meanwhile is not
// lost; a full queue leaves the saving to the next expiry.
void WinFileWatcher::QueueSaveMarker() {
    if (isDirty.exchange(false) && !Queue(L"NoFile", FileAction::SaveMarker, kSaveTimer, 1)) {
        SetDirty(true);
    }
}

bool WinFileWatcher::Queue(const std::wstring& path, FileAction action, std::int32_t listId,
                           std::int32_t recursionLevel) {
    auto notification = std::make_unique<FileNotificationInfo>(path, action, listId);
    notification->recursionLevel = recursionLevel;
    ++notificationCount_;
    return source_.Queue(notification);
}

}  // namespace lathwind
