// A walk costs one look-up of the last known state and one status query for each path that rests.
// The query tells that nothing has changed where the platform stamps changes (FileFacts); where it
// does not, or the stamp is another one, and for an eighth of the rows in any case, a full snapshot
// is taken and compared.
//
// A path whose existence changed is first laid before the mount manager: files of a volume that
// went away are not deleted. The two may look at the volume at different moments, so a difference
// that neither a volume nor the file explains is looked at again, a few times.
//
// A folder's snapshot is kept as of before its listing. What comes into it later shows at the next
// walk by the folder's time; if that time is so young that it may not move again, the folder is
// listed once more.
#include "filewatch/windows/PollWalk.h"

#include <algorithm>
#include <utility>

#include "filewatch/FileAttributes.h"
#include "filewatch/MountManager.h"
#include "filewatch/windows/PollDirEntry.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;
constexpr int kRepeats = 3;  // of one path in one walk

bool isFolder(const FileAttributes* attributes) {
    return attributes != nullptr && attributes->IsDirectory();
}

// What the path is now; null if it is not there.
std::unique_ptr<FileAttributes> takeSnapshot(const std::wstring& path,
                                             const FileAttributes* before) {
    std::unique_ptr<FileAttributes> snapshot;
    if (before != nullptr) {
        snapshot = before->TakeNew();
    } else {
        snapshot = std::make_unique<WinFileAttributes>(path);
        snapshot->Initialize();
    }
    return snapshot->Exists() ? std::move(snapshot) : nullptr;
}

bool isDirectory(const std::wstring& path) {
    return FileIO::IsDirectory(MapToRealPath(path));
}

}  // namespace

MadePollEntry MakePollEntry(const std::wstring& path, std::int32_t recursionLevel,
                            bool monitorAccessTime, const std::wstring& mask) {
    MadePollEntry made;
    platform::FileFacts facts;
    made.exists = platform::files().query(MapToRealPath(path), facts) == platform::error::Success;
    made.isFolder = made.exists && (facts.attributes & platform::attribute::Directory) != 0;
    if (!made.isFolder && mask.empty()) {
        made.entry = std::make_unique<PollEntry>(monitorAccessTime);
        return made;
    }
    made.entry = std::make_unique<PollDirEntry>(monitorAccessTime, recursionLevel);
    if (!mask.empty()) {
        made.entry->AddMask(mask);
    }
    if (made.isFolder) {
        made.entry->SetSnapshot(takeSnapshot(path, nullptr));
    }
    return made;
}

bool MayChangeUnseen(const FileAttributes& folder, std::int64_t now) {
    constexpr std::int64_t kLongestStep = 2;
    return std::int64_t{folder.GetModifiedTime()} + kLongestStep >= now;
}

PollWalk::PollWalk(PollList& list, std::int32_t listId, FileEventSource& source,
                   PollReporter& reporter, std::int64_t now)
    : list_(list),
      listId_(listId),
      source_(source),
      monitor_(source.GetMonitor()),
      mounts_(source.GetMountManager()),
      reporter_(reporter),
      now_(now),
      walk_(list.TakeWalkNumber()) {}

bool PollWalk::Run() {
    if (mounts_ != nullptr) {
        mounts_->RefreshMounts();
    }
    Rows& rows = list_.GetRows();
    for (auto row = rows.begin(); row != rows.end();) {
        if (Visit(*row)) {
            debugLog(kModule, L"%ls removed from list %d", row->first, listId_);
            row = rows.erase(row);
        } else {
            ++row;
        }
    }
    if (mounts_ != nullptr) {
        mounts_->EndWalk(listId_);
    }
    EnterFound();
    return isAnyChanged_;
}

bool PollWalk::Visit(Row& row) {
    for (int repeats = kRepeats;; --repeats) {
        Sight sight;
        sight.known = AskMonitor(row.first);
        sight.before = sight.known.attributes.get();
        if (sight.before == nullptr || sight.before->IsDirectory()) {
            sight.before = row.second->GetSnapshot();
        }
        if (LooksUnchanged(sight, row)) {
            return false;
        }
        const Verdict verdict = Examine(row, sight);
        isAnyChanged_ |= sight.isChanged || sight.isExplained;
        if (verdict == Verdict::Done) {
            Conclude(row, sight);
            return sight.isToGo;
        }
        if (repeats == 0) {
            return false;
        }
        debugLog(kModule, L"Repeating file check for file: %s because of Mount discrepency ..)",
                 row.first);
        mounts_->RefreshMounts();
    }
}

// The look that most rows get.
bool PollWalk::LooksUnchanged(const Sight& sight, const Row& row) const {
    const PollEntry& entry = *row.second;
    if (sight.before == nullptr || sight.known.hasUnreadLines || entry.IsDue(walk_) ||
        entry.GetListAgain()) {
        return false;
    }
    const bool isFolder = sight.before->IsDirectory();
    return sight.before->IsCertainlyUnchanged(entry.GetStamp(),
                                              !isFolder && entry.GetMonitorAccessTime()) &&
           !(isFolder && IsFatFolder(row.first));
}

PollWalk::Verdict PollWalk::Examine(Row& row, Sight& sight) {
    const std::wstring& path = row.first;
    sight.existed = sight.before != nullptr && sight.before->Exists();
    sight.isLocal = mounts_ != nullptr && !FileIO::IsUncPath(path);
    sight.now = takeSnapshot(path, sight.before);
    const bool exists = sight.now != nullptr;
    if (sight.isLocal && sight.existed != exists) {
        sight.isExplained = CheckMount(path, row.second.get(), &foundByMount_);
    }
    if (sight.isExplained) {
        return Verdict::Done;
    }
    if (sight.existed && !exists) {
        return SeeGone(row, sight);
    }
    if (!sight.existed && exists) {
        return SeeNew(row, sight);
    }
    if (!exists) {
        // A file that a walk had found and that is forgotten by now. Its folder leads to it again;
        // without this, names that come and go would fill the list.
        sight.isToGo = row.second->IsFound() && sight.known.attributes == nullptr;
    } else if (sight.before->IsDirectory() != sight.now->IsDirectory()) {
        SeeReplaced(row, sight);
    } else {
        SeeSame(row, sight);
    }
    return Verdict::Done;
}

PollWalk::Verdict PollWalk::SeeGone(Row& row, Sight& sight) {
    if (sight.isLocal && !mounts_->HasVolumeInfo(row.first)) {
        return Verdict::MountDiscrepancy;
    }
    TellUnlessFiltered(row, sight, FileAction::Deleted);
    return Verdict::Done;
}

PollWalk::Verdict PollWalk::SeeNew(Row& row, Sight& sight) {
    const auto& [path, entry] = row;
    if (sight.isLocal && mounts_->FindMount(path, false) == nullptr) {
        return Verdict::MountDiscrepancy;
    }
    // Left over from a spec that is watched no more: its notifications would be dropped one by one,
    // at every walk, and fill the queue.
    if (sight.known.attributes == nullptr && !sight.now->IsDirectory() &&
        entry->GetMasks().empty() && !source_.IsCovered(path, listId_)) {
        sight.isToGo = true;
        return Verdict::Done;
    }
    TellUnlessFiltered(row, sight, FileAction::Added);
    if (sight.now->IsDirectory()) {
        const auto items = ListNewChildren(path, *entry, entry->GetRecursionLevel());
        ExpandDirectory(found_, items, path, *entry);
    }
    return Verdict::Done;
}

void PollWalk::SeeReplaced(Row& row, Sight& sight) {
    const auto& [path, entry] = row;
    Tell(row, sight, FileAction::Deleted);
    Tell(row, sight, FileAction::Added);
    if (sight.now->IsDirectory()) {
        const auto items = ListNewChildren(path, *entry, entry->GetRecursionLevel());
        ExpandDirectory(found_, items, path, *entry);
    }
}

void PollWalk::SeeSame(Row& row, Sight& sight) {
    const auto& [path, entry] = row;
    const bool isFolder = sight.now->IsDirectory();
    const bool differs =
        !sight.now->Equals(*sight.before, !isFolder && entry->GetMonitorAccessTime());
    entry->SetStamp(differs ? 0 : sight.now->GetChangeStamp());
    // The time stamps of such a folder need not change with what is in it.
    const bool isUntold = isFolder && IsFatFolder(path);
    if (isFolder && (differs || isUntold || entry->GetListAgain())) {
        // For a second look its own level is enough: the folders in it have rows of their own.
        const std::int32_t level = entry->GetRecursionLevel();
        const auto items =
            ListNewChildren(path, *entry, differs || isUntold ? level : std::min(level, 1));
        ExpandDirectory(found_, items, path, *entry);
        entry->SetListAgain(MayChangeUnseen(*sight.now, now_));
    }
    if (differs) {
        TellUnlessFiltered(row, sight, FileAction::Modified);
    } else if (!isFolder && sight.known.hasUnreadLines) {
        // Nothing but polling tells of lines that a pass over a log has left.
        Tell(row, sight, FileAction::Modified);
    }
}

// Only folders keep their state here. One that was not told stays as it was known, and so is told
// at the next walk.
void PollWalk::Conclude(Row& row, Sight& sight) {
    if ((sight.isChanged || sight.isExplained) && !sight.isRefused &&
        (isFolder(sight.before) || isFolder(sight.now.get()))) {
        KeepSnapshot(row, sight);
    }
}

void PollWalk::KeepSnapshot(Row& row, Sight& sight) const {
    auto& entry = row.second;
    if (!isFolder(sight.now.get())) {
        entry->SetSnapshot(nullptr);
        return;
    }
    if (dynamic_cast<PollDirEntry*>(entry.get()) == nullptr) {
        // A folder has taken the place of a plain file.
        auto folder = std::make_unique<PollDirEntry>(entry->GetMonitorAccessTime(),
                                                     entry->GetRecursionLevel());
        folder->SetFound(entry->IsFound());
        folder->SetPhase(walk_);
        entry = std::move(folder);
    }
    entry->SetListAgain(MayChangeUnseen(*sight.now, now_));
    entry->SetStamp(sight.now->GetChangeStamp());
    entry->SetSnapshot(std::move(sight.now));
}

// True: the volume of the path came or went, which is told once for each spec. `entry` and
// `newRows` are null for what lies in a folder that is looked at.
bool PollWalk::CheckMount(const std::wstring& path, const PollEntry* entry, Rows* newRows) {
    const MountManager::PendingAction pending = mounts_->GetPendingAction(path, listId_);
    if (pending.action == FileAction::None) {
        return false;
    }
    if (!pending.alreadyReported && pending.spec != nullptr) {
        reporter_.Queue(pending.spec->GetFullPath(), pending.action, listId_,
                        pending.spec->GetRecursionLevel());
    }
    if (pending.action == FileAction::Mount && entry != nullptr && isDirectory(path)) {
        const auto items = ListNewChildren(path, *entry, entry->GetRecursionLevel());
        for (const std::wstring& item : items) {
            CheckMount(item, nullptr, nullptr);
        }
        if (newRows != nullptr) {
            ExpandDirectory(*newRows, items, path, *entry);
        }
    }
    return true;
}

// What is in the folder, `level` levels deep, and has no row: the folders, and what the masks let
// through. In path order.
std::vector<std::wstring> PollWalk::ListNewChildren(const std::wstring& path,
                                                    const PollEntry& entry,
                                                    std::int32_t level) const {
    std::vector<std::wstring> items;
    if (level < 1 || entry.GetMasks().empty()) {
        return items;
    }
    const auto depth = static_cast<std::uint32_t>(level);
    const std::wstring real = MapToRealPath(path);
    FileIO::ListDirectories(items, real, depth);
    for (const std::wstring& mask : entry.GetMasks()) {
        FileIO::ListFiles(items, real, mask, true, depth);
    }
    for (std::wstring& item : items) {
        makeLower(item);
        item = MapToWatchedPath(item);
    }
    std::erase_if(items, [this](const std::wstring& item) { return list_.Find(item) != nullptr; });
    std::sort(items.begin(), items.end());
    items.erase(std::unique(items.begin(), items.end()), items.end());
    return items;
}

void PollWalk::ExpandDirectory(Rows& newRows, const std::vector<std::wstring>& items,
                               const std::wstring& directory, const PollEntry& entry) const {
    // Behind a drive's own folder, which ends in a backslash, the part begins without one.
    const std::size_t begin = directory.size() - (directory.ends_with(L'\\') ? 1 : 0);
    for (const std::wstring& item : items) {
        const auto depth = std::count(
            item.begin() + static_cast<std::wstring::difference_type>(begin), item.end(), L'\\');
        const std::int32_t levelInside =
            entry.GetRecursionLevel() - static_cast<std::int32_t>(depth);
        const bool access = entry.GetMonitorAccessTime();
        MadePollEntry made = MakePollEntry(item, levelInside, access, std::wstring());
        const std::int32_t level = made.isFolder ? levelInside : 1;
        auto& row = newRows[item];
        if (row == nullptr) {
            row = std::move(made.entry);
            row->SetFound(true);
            row->SetListAgain(true);  // it is listed here before its snapshot is taken
            debugLog(kModule, L"%ls will be added (RL=%d, MAT=%d)", item, level, access);
        } else {
            row->SetRecursionLevel(std::max(row->GetRecursionLevel(), level));
            row->SetMonitorAccessTime(row->GetMonitorAccessTime() || access);
            debugLog(kModule, L"%ls updated (RL=%d, MAT=%d)", item, row->GetRecursionLevel(),
                     row->GetMonitorAccessTime());
        }
        for (const std::wstring& mask : entry.GetMasks()) {
            row->AddMask(mask);
        }
    }
}

void PollWalk::EnterFound() {
    for (auto& [path, entry] : found_) {
        if (!Enter(path, entry)) {
            continue;
        }
        debugLog(kModule, L"%ls added to list # %d)", path, listId_);
        PollEntry& row = *list_.Find(path);
        if (IsFiltered(path)) {
            debugLog(kModule, L"%ls added to FileWatcher but being monitored by File Filter Driver",
                     path);
        } else if (!reporter_.Queue(path, FileAction::Added, listId_, row.GetRecursionLevel())) {
            row.SetSnapshot(nullptr);  // new again at the next walk
        }
    }
    for (auto& [path, entry] : foundByMount_) {
        Enter(path, entry);
    }
}

// False for a path that has a row by now, or that no spec covers.
bool PollWalk::Enter(const std::wstring& path, std::unique_ptr<PollEntry>& entry) {
    if (list_.Find(path) != nullptr ||
        (entry->GetMasks().empty() && !source_.IsCovered(path, listId_))) {
        return false;
    }
    list_.Insert(path, std::move(entry));
    isAnyChanged_ = true;
    if (mounts_ != nullptr) {
        mounts_->AddMountState(path, listId_);
    }
    return true;
}

void PollWalk::Tell(const Row& row, Sight& sight, FileAction action) {
    sight.isChanged = true;
    sight.isRefused |=
        !reporter_.Queue(row.first, action, listId_, row.second->GetRecursionLevel());
}

void PollWalk::TellUnlessFiltered(const Row& row, Sight& sight, FileAction action) {
    sight.isChanged = true;
    if (!IsFiltered(row.first)) {
        Tell(row, sight, action);
    }
}

LastKnownState PollWalk::AskMonitor(const std::wstring& path) const {
    return monitor_ != nullptr ? monitor_->GetAttributes(path, listId_) : LastKnownState();
}

bool PollWalk::IsFiltered(const std::wstring& path) const {
    return monitor_ != nullptr && monitor_->IsIPSFilterWatchingFile(path, listId_);
}

bool PollWalk::IsFatFolder(const std::wstring& path) const {
    return mounts_ != nullptr && mounts_->IsFatVolume(path);
}

}  // namespace lathwind
