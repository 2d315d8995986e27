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
#include <iterator>
#include <utility>

#include "filewatch/FileAttributes.h"
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

// As it stands on a list: without a backslash behind it, but for a drive's own folder.
std::wstring folderAbove(const std::wstring& path) {
    constexpr std::size_t kDriveLength = 3;  // "c:\"
    auto folder = splitAtLastBackslash(path).directory;
    if (folder.size() > kDriveLength) {
        folder.remove_suffix(1);
    }
    return std::wstring(folder);
}

bool isUnderAny(const std::set<std::wstring>& mountPoints, const std::wstring& path) {
    return std::any_of(mountPoints.begin(), mountPoints.end(),
                       [&](const std::wstring& point) { return path.starts_with(point); });
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
    BeginMounts();
    Rows& rows = list_.GetRows();
    for (auto row = rows.begin(); row != rows.end();) {
        if (Visit(*row)) {
            debugLog(kModule, L"%ls removed from list %d", row->first, listId_);
            row = list_.Erase(row);
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
        if (!IsWorthRepeating(row.first, repeats)) {
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
        entry.GetListAgain() || entry.IsAway()) {
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
    if (isFolder(sight.now.get())) {
        BecomeFolder(row);
    }
    if (IsStillAway(row, sight)) {
        return Verdict::Done;
    }
    AskMounts(row, sight);
    if (sight.isExplained && sight.existed != exists) {
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

// A folder has taken the place of a file. Below a folder that is watched with masks it is one of
// its folders.
void PollWalk::BecomeFolder(Row& row) const {
    auto& [path, entry] = row;
    if (!MakeDirEntry(entry, entry->GetRecursionLevel())) {
        return;
    }
    const PollEntry* above = list_.Find(folderAbove(path));
    if (above == nullptr || above->GetMasks().empty() || above->GetRecursionLevel() < 1) {
        return;
    }
    entry->SetRecursionLevel(above->GetRecursionLevel() - 1);
    for (const std::wstring& mask : above->GetMasks()) {
        entry->AddMask(mask);
    }
}

// Where a volume was mounted in a folder, that folder can be read when the volume has gone: it
// alone would not say why the path is missing.
bool PollWalk::IsStillAway(const Row& row, const Sight& sight) const {
    const auto& [path, entry] = row;
    return entry->IsAway() && sight.existed && sight.now == nullptr &&
           (!isUnderAny(returned_, path) || isUnderAny(list_.GetAwayMounts(), path));
}

// What was away and is there again has come with its volume, though its last known state may have
// outlasted the absence.
void PollWalk::AskMounts(Row& row, Sight& sight) {
    const std::wstring& path = row.first;
    const bool exists = sight.now != nullptr;
    const bool isBack = exists && row.second->IsAway();
    row.second->SetAway(false);
    if (!sight.isLocal || (sight.existed == exists && !isBack)) {
        return;
    }
    const auto pending = CheckMount(path, row.second.get(), &foundByMount_);
    sight.isExplained = pending.action != FileAction::None;
    // The best known name need not lie above the path; then its going takes nothing along.
    if (pending.action == FileAction::Unmount && !exists && path.starts_with(pending.mountPoint)) {
        row.second->SetAway(true);
        list_.GetAwayMounts().insert(pending.mountPoint);
    }
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
    // A file that nobody asks for: left over from a spec that is watched no more, or beside the
    // instances of a virtual entry. Its notifications would be dropped one by one, at every walk,
    // and fill the queue. With masks the row waits for a folder.
    if (sight.known.attributes == nullptr && !sight.now->IsDirectory() &&
        !source_.CoversFile(path, listId_)) {
        sight.isToGo = entry->GetMasks().empty();
        return Verdict::Done;
    }
    // An entry that is being added: its files come on the list before they get their entities.
    // What is really new is told once all entries are there.
    if (sight.known.attributes == nullptr && !sight.now->IsDirectory() && !entry->IsFound() &&
        monitor_ != nullptr && monitor_->IsConfigurationPending()) {
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
    entry->SetListAgain(MayChangeUnseen(*sight.now, now_));
    entry->SetStamp(sight.now->GetChangeStamp());
    entry->SetSnapshot(std::move(sight.now));
}

// The volumes as they are now, and what is left from the walk before: the tellings that the queue
// refused, and the paths that were away.
void PollWalk::BeginMounts() {
    if (mounts_ == nullptr) {
        return;
    }
    mounts_->RefreshMounts();
    auto& away = list_.GetAwayMounts();
    for (auto point = away.begin(); point != away.end();) {
        const auto mount = mounts_->FindMount(*point, true);
        const bool isBack = mount != nullptr && mount->IsMediaReady();
        const auto next = std::next(point);
        if (isBack) {
            returned_.insert(away.extract(point));
        }
        point = next;
    }
    const auto refused = std::exchange(list_.GetRefusedMounts(), {});
    isAnyChanged_ |= !refused.empty();
    for (const auto& [path, tellings] : refused) {
        for (const auto& telling : tellings) {
            TellMount(path, telling);
        }
    }
}

// A path's refused tellings stay in front of its new ones. Of a volume that comes and goes while
// the queue is full the last time counts, so what is kept stays small.
void PollWalk::TellMount(const std::wstring& path, const PollList::MountTelling& telling) {
    auto& refused = list_.GetRefusedMounts();
    if (!refused.contains(path) &&
        reporter_.Queue(path, telling.action, listId_, telling.recursionLevel)) {
        return;
    }
    auto& kept = refused[path];
    std::erase_if(kept, [&](const auto& each) { return each.action == telling.action; });
    kept.push_back(telling);
}

// A volume that cannot be read keeps each of its paths waiting: the first of them tries for all.
bool PollWalk::IsWorthRepeating(const std::wstring& path, int repeats) {
    const auto mount = mounts_->FindMount(path, false);
    const std::wstring volume = mount != nullptr ? mount->GetMountPoint() : path.substr(0, 3);
    if (repeats == 0) {
        exhausted_.insert(volume);
    }
    return !exhausted_.contains(volume);
}

// Asks whether the volume of the path came or went, which is told once for each spec. `entry` and
// `newRows` are null for what lies in a folder that is looked at.
MountManager::PendingAction PollWalk::CheckMount(const std::wstring& path, const PollEntry* entry,
                                                 Rows* newRows) {
    MountManager::PendingAction pending = mounts_->GetPendingAction(path, listId_);
    if (pending.action == FileAction::None) {
        return pending;
    }
    if (!pending.alreadyReported && pending.spec != nullptr) {
        TellMount(pending.spec->GetFullPath(), {pending.action, pending.spec->GetRecursionLevel()});
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
    return pending;
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

// False for a path that has a row by now, and for a file that no entry asks for.
bool PollWalk::Enter(const std::wstring& path, std::unique_ptr<PollEntry>& entry) {
    if (list_.Find(path) != nullptr ||
        (entry->GetMasks().empty() && !source_.CoversFile(path, listId_))) {
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

// What the filter reports never concerns a log.
bool PollWalk::IsFiltered(const std::wstring& path) const {
    return listId_ != PollList::kLogs && monitor_ != nullptr &&
           monitor_->IsIPSFilterWatchingFile(path, listId_);
}

bool PollWalk::IsFatFolder(const std::wstring& path) const {
    return mounts_ != nullptr && mounts_->IsFatVolume(path);
}

}  // namespace lathwind
