// The state file: what the engine remembers while it does not run. docs/watching.md tells when it
// is written and read, docs/formats/filewatch-dat.md what is in it.
//
// A kill at any moment leaves a file that the next start can use. The status word is the commit
// mark: it is written last, over a zero, once the disk has the rest.
//
//   moment                             FileWatch.dat          FileWatch.dat.tmp
//   before a save                      the last save          the one before
//   that has become the .tmp           none                   the last save
//   while the state is written         status word 0          the last save
//   the status word is written         this save              the last save
//
// The reader takes FileWatch.dat, or else the .tmp.
#include <set>
#include <string_view>
#include <utility>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/WatchedLogFile.h"
#include "filewatch/windows/WinFileWatcher.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr std::size_t kPathsPerStopTest = 100;
constexpr std::int32_t kWaitForRoomMs = 50;
constexpr std::size_t kFileDigests = 2;  // of the digests the first belong to the file lists
constexpr wchar_t kUnexpectedError[] = L"Unexpected error";

namespace row {
constexpr int NotSaved = 12;           // FWC_0002
constexpr int NotRead = 13;            // FWC_0004
constexpr int EntitiesNotRead = 14;    // FWC_0005
constexpr int NotOpened = 17;          // FWC_0027
constexpr int BadState = 129;          // FWC_0006
constexpr int FileListsChanged = 229;  // FWC_0013
constexpr int LogListsChanged = 230;   // FWC_0014
}  // namespace row

bool isLocal(const WatchedEntity& entity) {
    return entity.GetAttributes().GetVolumeKind() == VolumeKind::Local;
}

void warnOf(int message, std::wstring_view text) {
    logCatalogued(Severity::Warning, kModule, message, text);
}

// For a handler of exceptions, where a message that finds no memory must not become another one.
void tellNotSaved(std::wstring_view reason) noexcept {
    try {
        warnOf(row::NotSaved, reason);
    } catch (...) {
    }
}

// The head of a state file; empty for a file that is shorter or cannot be read.
std::string readFrame(std::wstring_view path) {
    std::string frame(kFrameBytes, '\0');
    FileIO file;
    const bool isWhole = file.Open(std::wstring(path), L"rb") &&
                         file.Read(frame.data(), frame.size()) == frame.size();
    return isWhole ? frame : std::string();
}

std::uint16_t signatureOf(const std::string& frame) {
    return frame.empty()
               ? FileWatchInProgressSignature
               : loadLittleEndian<std::uint16_t>(reinterpret_cast<const std::byte*>(frame.data()));
}

// Is FileWatch.dat what to go back to, should the save that now begins not come to its end?
//
// Not if it is what a killed save has left: then the .tmp is the good one, and the torn file must
// not take its place. Nor does a file of logs alone take the place of a whole one of the same
// lists: the next start would not know what has changed in the files.
bool isWorthKeeping() {
    const std::string state = readFrame(watchFiles::kStateFile);
    if (signatureOf(state) != FileWatchReconfigSignature) {
        return isCompleteSignature(signatureOf(state));
    }
    const std::string previous = readFrame(watchFiles::kPreviousStateFile);
    constexpr std::size_t kLists = sizeof(FileWatchSignature);  // what stands behind
    return signatureOf(previous) != FileWatchSignature ||
           std::string_view(state).substr(kLists) != std::string_view(previous).substr(kLists);
}

// False if FileWatch.dat could not be moved: written over it would be lost.
bool keepLastState() {
    const std::wstring state(watchFiles::kStateFile);
    const std::wstring previous(watchFiles::kPreviousStateFile);
    if (!isWorthKeeping() || FileIO::Move(state, previous, false)) {
        return true;
    }
    FileIO::Delete(previous);  // a read-only one stands in the way of the move alone
    if (FileIO::Move(state, previous, false)) {
        return true;
    }
    warnOf(row::NotSaved, platform::host().errorText(platform::host().lastError()));
    return false;
}

void requireFlushed(StateFileOutput& output) {
    if (!output.flush()) {
        throw SerializeException(L"Exception: Serializable::Write - Write failed", __LINE__,
                                 L"FileWatchMonitor");
    }
}

}  // namespace

void FileWatchMonitor::Serialize() {
    bool isWhole = false;
    try {
        if (isRestorePending_.load()) {
            // The entities do not know yet what changed while nobody watched. Saved now, they would
            // take the place of the state that tells it.
            debugLog(kModule,
                     L"FileWatch state is not saved before the last one has been restored.");
        } else {
            StateFileOutput output;
            isWhole = keepLastState() && Save(output);
        }
    } catch (...) {
        tellNotSaved(kUnexpectedError);
    }
    if (!isWhole) {
        WinFileWatcher::SetDirty(true);  // the next save has to try again
    }
}

bool FileWatchMonitor::Save(StateFileOutput& output) {
    bool isWhole = false;
    try {
        if (output.open(watchFiles::kStateFile)) {
            isWhole = WriteState(output);
        } else {
            debugLog(kModule, L"%ls could not be opened for writing", watchFiles::kStateFile);
        }
        output.close();
    } catch (const SerializeException& exception) {
        // The disk failed: the next start falls back to the .tmp.
        tellNotSaved(exception.message);
        output.close();
        FileIO::Delete(std::wstring(watchFiles::kStateFile));
    } catch (...) {
        // The tables themselves are in doubt. The next start is to begin anew, and say so, rather
        // than to restore from a state older than what the events have told: the status word keeps
        // it from the one file, and the other goes.
        tellNotSaved(kUnexpectedError);
        output.close();
        FileIO::Delete(std::wstring(watchFiles::kPreviousStateFile));
    }
    return isWhole;
}

bool FileWatchMonitor::WriteState(StateFileOutput& output) {
    bool complete = false;
    std::ostream& stream = output.stream();
    Serializable::Write(stream, FileWatchInProgressSignature);
    Serializable::Write(stream, FileWatchVersion);
    {
        const ScopedLock guard(*lock_);
        // With the digests: those of new lists come when their configuration is pending already.
        complete = !IsConfigurationPending();
        Serializable::Write(stream, defaultRecursionLevel_);
        for (const Md5Digest& digest : digests_) {
            Serializable::Write(stream, digest.data(), digest.size());
        }
        if (mounts_ != nullptr) {
            mounts_->WriteObject(stream);
        }
        if (complete) {
            WriteEntities(stream, kFileIndex);
        }
        WriteEntities(stream, kLogIndex);
    }
    requireFlushed(output);
    stream.seekp(0);
    Serializable::Write(stream, complete ? FileWatchSignature : FileWatchReconfigSignature);
    requireFlushed(output);
    if (!complete) {
        debugLog(kModule,
                 L"FileWatch config initialization was interrupted so the file states are not "
                 L"being saved.");
    }
    return complete;
}

// An entity without a row is one that no entry asked for by name or mask: the folder of an instance
// that came, for one. The next start makes none for it, and would take it for deleted.
void FileWatchMonitor::WriteEntities(std::ostream& stream, std::int32_t mapIndex) {
    EntityTable& table = TableOf(mapIndex);
    table.ForEachEntity([&](WatchedEntity& entity) {
        if (isLocal(entity) && table.HasRow(entity.GetName())) {
            entity.WriteEntity(stream);
        }
    });
}

// One restore: the state file, and the .tmp behind it if that was no use.
class FileWatchMonitor::Restore {
public:
    Restore(FileWatchMonitor& monitor, Event& stop) : monitor_(monitor), stop_(stop) {}

    RestoreResult Deserialize(const std::wstring& path);
    // Was it ended by a stop request, with entities left?
    bool IsCut() const noexcept { return isCut_; }
    bool HasFoundChanges() const noexcept { return hasFoundChanges_; }

private:
    // Saved objects by name, which each of them holds itself.
    struct ByName {
        using is_transparent = void;
        static const std::wstring& NameOf(const std::unique_ptr<WatchedEntity>& entity) {
            return entity->GetName();
        }
        static const std::wstring& NameOf(const std::wstring& name) { return name; }
        template <class First, class Second>
        bool operator()(const First& first, const Second& second) const {
            return NameOf(first) < NameOf(second);
        }
    };
    using SavedEntities = std::set<std::unique_ptr<WatchedEntity>, ByName>;
    using SavedState = std::array<SavedEntities, 2>;

    RestoreResult ReadFile(std::istream& stream);
    bool HasSameLists(std::istream& stream, std::size_t first, std::size_t last);
    void ReadMounts(std::istream& stream);
    void RestoreEntities(std::istream& stream, bool complete);
    bool ReadEntities(std::istream& stream, SavedState& saved);
    void CompareLive(std::int32_t mapIndex, SavedEntities& saved, bool complete);
    void CompareOne(const std::wstring& key, std::int32_t mapIndex, SavedEntities& saved,
                    bool complete) REQUIRES(*monitor_.lock_);
    void Compare(WatchedEntity& live, const WatchedEntity& saved) REQUIRES(*monitor_.lock_);
    void ReportGone(std::int32_t mapIndex, const SavedEntities& saved);
    void ReportIfGone(WatchedEntity& saved, std::int32_t mapIndex) REQUIRES(*monitor_.lock_);
    MountManager::PendingAction PendingActionOf(const std::wstring& path);
    void Deliver(WatchedEntity& entity, std::int32_t mapIndex, FileAction action,
                 const WatchedPathSpec* spec) REQUIRES(*monitor_.lock_);
    void EndWalk();
    // To be asked after each path of a walk.
    bool IsToEnd(std::size_t walked);
    // Waits until there is room for what one entity may tell, which nobody would tell again. False
    // if it was told to stop meanwhile. To be asked without the monitor's lock.
    bool WaitForRoom(std::int32_t mapIndex);

    // How far the walks over one index have come, which go in the order of the paths.
    struct Walked {
        std::wstring compared;
        std::wstring gone;
    };

    FileWatchMonitor& monitor_;
    Event& stop_;
    // Of a comparison that an exception has ended: what it told is not told again from the .tmp.
    std::array<Walked, 2> walked_;
    // Logs that an interrupted state has given their offsets: the .tmp is older.
    std::set<std::wstring> restoredLogs_;
    bool isCut_ = false;
    bool hasFoundChanges_ = false;
};

RestoreResult FileWatchMonitor::Deserialize(const std::wstring& path, Event& stop) {
    return Restore(*this, stop).Deserialize(path);
}

void FileWatchMonitor::RestoreState(const std::wstring& path, Event& stop) {
    Restore restore(*this, stop);
    const RestoreResult result = restore.Deserialize(path);
    const bool isRestored = result == RestoreResult::Restored || restore.IsCut() ||
                            restore.Deserialize(path + L".tmp") == RestoreResult::Restored;
    if (restore.IsCut()) {
        return;
    }
    isRestorePending_.store(false);
    if (restore.HasFoundChanges() || !isRestored) {
        WinFileWatcher::SetDirty(true);  // without a state there is nothing to go on from
    }
    if (isRestored) {
        return;
    }
    switch (result) {
        case RestoreResult::BadState:
            logCatalogued(Severity::Warning, kModule, row::BadState);
            return;
        case RestoreResult::FileListsChanged:
            logCatalogued(Severity::Status, kModule, row::FileListsChanged);
            return;
        case RestoreResult::LogListsChanged:
            logCatalogued(Severity::Status, kModule, row::LogListsChanged);
            return;
        case RestoreResult::NotOpened:
            warnOf(row::NotOpened, L"FileWatch.dat couldn't be opened");
            return;
        case RestoreResult::Restored:
        case RestoreResult::Failed:  // reported where it happened
            return;
    }
}

RestoreResult FileWatchMonitor::Restore::Deserialize(const std::wstring& path) {
    try {
        StateFileInput input;
        return input.open(path) ? ReadFile(input.stream()) : RestoreResult::NotOpened;
    } catch (const IDSException& exception) {
        warnOf(row::NotRead, exception.message);
    } catch (...) {
        warnOf(row::NotRead, L"Unexpected error. The filewatch.dat file is corrupt.");
    }
    return RestoreResult::Failed;
}

RestoreResult FileWatchMonitor::Restore::ReadFile(std::istream& stream) {
    // A file that does not reach so far is no damaged state but none.
    std::array<std::byte, sizeof(FileWatchSignature) + sizeof(FileWatchVersion)> head{};
    stream.read(reinterpret_cast<char*>(head.data()), head.size());
    const auto signature = loadLittleEndian<std::uint16_t>(head.data());
    const auto version = loadLittleEndian<std::uint16_t>(head.data() + sizeof signature);
    if (!stream || !isCompleteSignature(signature) || version != FileWatchVersion) {
        return RestoreResult::BadState;
    }
    std::uint32_t recursionLevel = 0;
    Serializable::Read(stream, recursionLevel);
    const bool hasSameFileLists = HasSameLists(stream, 0, kFileDigests);
    {
        const ScopedLock guard(*monitor_.lock_);
        if (!hasSameFileLists || recursionLevel != monitor_.defaultRecursionLevel_) {
            return RestoreResult::FileListsChanged;
        }
    }
    if (!HasSameLists(stream, kFileDigests, watchFiles::kWatchLists.size())) {
        return RestoreResult::LogListsChanged;
    }
    ReadMounts(stream);
    const bool complete = signature == FileWatchSignature;
    RestoreEntities(stream, complete);
    if (complete) {
        return RestoreResult::Restored;
    }
    debugLog(kModule,
             L"FileWatch config initialization was interrupted during last run so the state was "
             L"not restored.");
    return RestoreResult::BadState;
}

// Where the filter watches everything, nobody has looked at the volumes yet: those that are known
// would pass for gone. And where none is known, each would pass for one that has come.
void FileWatchMonitor::Restore::ReadMounts(std::istream& stream) {
    if (monitor_.mounts_ == nullptr) {
        return;
    }
    monitor_.mounts_->ReadObject(stream);
    if (!monitor_.mounts_->GetStates().empty()) {
        monitor_.mounts_->RefreshMounts();
    }
}

bool FileWatchMonitor::Restore::HasSameLists(std::istream& stream, std::size_t first,
                                             std::size_t last) {
    bool isSame = true;
    for (std::size_t list = first; list < last; ++list) {
        Md5Digest digest{};
        Serializable::Read(stream, digest.data(), digest.size());
        const ScopedLock guard(*monitor_.lock_);
        isSame = isSame && digest == monitor_.digests_[list];
    }
    return isSame;
}

void FileWatchMonitor::Restore::RestoreEntities(std::istream& stream, bool complete) {
    SavedState saved;
    try {
        if (!ReadEntities(stream, saved)) {
            return;
        }
        for (const std::int32_t mapIndex : {kFileIndex, kLogIndex}) {
            if (mapIndex == kFileIndex && !complete) {
                continue;
            }
            SavedEntities& entities = saved[static_cast<std::size_t>(mapIndex)];
            CompareLive(mapIndex, entities, complete);
            ReportGone(mapIndex, entities);
        }
        walked_ = {};
    } catch (const IDSException& exception) {
        warnOf(row::EntitiesNotRead, exception.message);
        throw;
    } catch (...) {
        warnOf(row::EntitiesNotRead, kUnexpectedError);
        throw;
    }
}

// False without any record: then the restore is over.
bool FileWatchMonitor::Restore::ReadEntities(std::istream& stream, SavedState& saved) {
    std::size_t count = 0;
    // By the version that was read already: an entity that looks for itself goes back to the head
    // of the file, which costs more than the record.
    while (auto entity = WatchedEntity::ReadEntityOfVersion(stream, FileWatchVersion)) {
        SavedEntities& entities =
            saved[entity->GetType() == kLogFile ? std::size_t{kLogIndex} : std::size_t{kFileIndex}];
        const bool isLast =
            !entities.empty() && (*entities.rbegin())->GetName() < entity->GetName();
        const auto place = isLast ? entities.end() : entities.lower_bound(entity->GetName());
        if (place != entities.end() && (*place)->GetName() == entity->GetName()) {
            debugLog(kModule, L"Deserialize duplicate WatchedEntities: %ls", entity->GetName());
        } else {
            entities.insert(place, std::move(entity));
        }
        if (IsToEnd(++count)) {
            break;
        }
    }
    return count != 0;
}

bool FileWatchMonitor::Restore::IsToEnd(std::size_t walked) {
    isCut_ = isCut_ || (walked % kPathsPerStopTest == 0 && isStopRequested(stop_));
    return isCut_;
}

bool FileWatchMonitor::Restore::WaitForRoom(std::int32_t mapIndex) {
    const std::size_t events = mapIndex == kLogIndex ? WatchedLogFile::GetPassLimit() : 1;
    while (!isCut_ && !monitor_.events_.HasRoomFor(events)) {
        isCut_ = stop_.wait(kWaitForRoomMs, false) != WaitResult::TimeOut;
    }
    return !isCut_;
}

// Takes out of `saved` what it has compared.
void FileWatchMonitor::Restore::CompareLive(std::int32_t mapIndex, SavedEntities& saved,
                                            bool complete) {
    if (isCut_) {
        return;
    }
    const auto keys = [&] {
        const ScopedLock guard(*monitor_.lock_);
        return monitor_.TableOf(mapIndex).GetEntityPaths();
    }();
    std::wstring& compared = walked_[static_cast<std::size_t>(mapIndex)].compared;
    std::size_t walked = 0;
    for (const std::wstring& key : keys) {
        if (key <= compared) {
            continue;
        }
        if (!WaitForRoom(mapIndex)) {
            break;
        }
        compared = key;
        {
            const ScopedLock guard(*monitor_.lock_);
            CompareOne(key, mapIndex, saved, complete);
        }
        if (IsToEnd(++walked)) {
            break;
        }
    }
    EndWalk();
}

void FileWatchMonitor::Restore::CompareOne(const std::wstring& key, std::int32_t mapIndex,
                                           SavedEntities& saved, bool complete) {
    EntityTable& table = monitor_.TableOf(mapIndex);
    WatchedEntity* const live = table.Find(key);
    if (live == nullptr) {
        debugLog(kModule,
                 L"%ls was unexpectedly removed from watched entity list during deserialize.", key);
        return;
    }
    // As a rule it is the first one left: both are walked in the order of the names.
    const bool isFirst = !saved.empty() && (*saved.begin())->GetName() == live->GetName();
    const auto found = isFirst ? saved.begin() : saved.find(live->GetName());
    if (restoredLogs_.contains(key)) {
        if (found != saved.end()) {
            saved.erase(found);
        }
        return;
    }
    const MountManager::PendingAction pending = PendingActionOf(key);
    if (pending.action != FileAction::None) {
        if (!pending.alreadyReported) {
            Deliver(*live, mapIndex, pending.action, pending.spec.get());
        }
    } else if (found != saved.end()) {
        if (mapIndex == kLogIndex && !complete) {
            restoredLogs_.insert(key);
        }
        Compare(*live, **found);
        saved.erase(found);
    } else if (isLocal(*live)) {
        Deliver(*live, mapIndex, FileAction::Added, nullptr);
    }
    table.Publish(key);
}

void FileWatchMonitor::Restore::Compare(WatchedEntity& live, const WatchedEntity& saved) {
    if (live.GetType() == kLogFile) {
        const std::uint32_t offset = static_cast<const WatchedLogFile&>(saved).GetOffset();
        static_cast<WatchedLogFile&>(live).SetOffset(offset);
        debugLog(kModule, L"Setting the File Offset to %d on file: %ls", offset, live.GetName());
    }
    if (live.CompareWithSaved(monitor_.pending_, saved, live.GetVirtualName()) != 0) {
        hasFoundChanges_ = true;
    }
    monitor_.Drain();
}

// What is left: files that nobody watches any more, that are gone, or that have come with a volume.
void FileWatchMonitor::Restore::ReportGone(std::int32_t mapIndex, const SavedEntities& saved) {
    if (isCut_) {
        return;
    }
    std::wstring& gone = walked_[static_cast<std::size_t>(mapIndex)].gone;
    std::size_t walked = 0;
    for (const auto& entity : saved) {
        if (entity->GetName() <= gone) {
            continue;
        }
        if (!WaitForRoom(mapIndex)) {
            break;
        }
        gone = entity->GetName();
        {
            const ScopedLock guard(*monitor_.lock_);
            ReportIfGone(*entity, mapIndex);
        }
        if (IsToEnd(++walked)) {
            break;
        }
    }
    EndWalk();
}

void FileWatchMonitor::Restore::ReportIfGone(WatchedEntity& saved, std::int32_t mapIndex) {
    // One with a live entity has come or gone with its volume, which has been told.
    if (!saved.GetAttributes().Exists() ||
        monitor_.TableOf(mapIndex).Find(saved.GetName()) != nullptr) {
        return;
    }
    const MountManager::PendingAction pending = PendingActionOf(saved.GetName());
    if (pending.action != FileAction::None) {
        if (!pending.alreadyReported) {
            Deliver(saved, mapIndex, pending.action, pending.spec.get());
        }
    } else if (isLocal(saved)) {
        Deliver(saved, mapIndex, FileAction::Deleted, nullptr);
    }
}

MountManager::PendingAction FileWatchMonitor::Restore::PendingActionOf(const std::wstring& path) {
    return monitor_.mounts_ == nullptr
               ? MountManager::PendingAction{}
               : monitor_.mounts_->GetPendingAction(path, MountManager::kAllStates);
}

void FileWatchMonitor::Restore::Deliver(WatchedEntity& entity, std::int32_t mapIndex,
                                        FileAction action, const WatchedPathSpec* spec) {
    hasFoundChanges_ = true;
    FileNotificationInfo note(entity.GetName(), action,
                              mapIndex == kLogIndex ? 0 : FileNotificationInfo::kAnyList);
    note.virtualName = entity.GetVirtualName();
    if (spec != nullptr) {
        note.oldPath = spec->GetFullPath();
        note.entry =
            spec->GetVirtualEntry().empty() ? spec->GetFullPath() : spec->GetVirtualEntry();
        note.recursionLevel = spec->GetRecursionLevel();
    }
    monitor_.Deliver(&entity, note);
}

void FileWatchMonitor::Restore::EndWalk() {
    if (monitor_.mounts_ != nullptr) {
        const ScopedLock guard(*monitor_.lock_);
        monitor_.mounts_->EndWalk(MountManager::kAllStates);
    }
}

}  // namespace lathwind
