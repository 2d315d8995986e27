// How a notification becomes events, on the monitor's thread: which entity it concerns, what the
// notification turns into on the way, and where the events go. What happened to the file is the
// entity's to decide (FileChangeAnalysis). docs/watching.md tells the whole of it.
#include <new>
#include <optional>
#include <utility>

#include "filewatch/FileWatchMonitor.h"
#include "filewatch/LogFileProperties.h"
#include "utils/Exceptions.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr int kQueueApproachingRow = 170;  // FWC_0007
constexpr int kQueueFullRow = 171;         // FWC_0008
constexpr std::uint32_t kPauseMs = 500;
// What a process that has just made or renamed a file gets to finish it.
constexpr std::uint32_t kWriterPauseMs = 20;

bool isFromDriver(const FileNotificationInfo& note) {
    return note.driverOperation != DriverOperation::None;
}

bool isMountAction(FileAction action) {
    return action == FileAction::Mount || action == FileAction::Unmount;
}

// For a handler of exceptions, where a line that finds no memory must not become another one.
void logLostNotification(const wchar_t* reason) noexcept {
    try {
        debugLog(kModule, L"Dropping a notification that could not be processed: %ls", reason);
    } catch (...) {
    }
}

}  // namespace

void FileWatchMonitor::run() {
    while (!stop_.load() && IsConfigurationPending()) {
        platform::host().sleepMs(kPauseMs);
    }
    while (Step()) {
    }
}

// An exception ends one notification, not the thread: the queue behind it, and the saving of the
// state, must not be lost to one file or to a moment without memory.
bool FileWatchMonitor::Step() {
    Notification note;
    try {
        note = source_->GetNext();
    } catch (const std::bad_alloc&) {
        logLostNotification(L"no memory");
        platform::host().sleepMs(kPauseMs);  // whoever has it may give some back
        return true;
    }
    if (note == nullptr) {
        return false;
    }
    try {
        ProcessNotification(std::move(note));
    } catch (const IDSException& exception) {
        logLostNotification(exception.message.c_str());
    } catch (const std::exception& exception) {
        logLostNotification(widen(exception.what()).c_str());
    } catch (...) {
        logLostNotification(L"unexpected error");
    }
    return true;
}

void FileWatchMonitor::ProcessNotification(Notification notification) {
    FileNotificationInfo& note = *notification;
    if (note.action == FileAction::SaveMarker) {
        Serialize();
        return;
    }
    const ScopedLock guard(*lock_);
    std::optional<Association> association;
    if (note.driverOperation == DriverOperation::Created) {
        association = AssociateCreated(note);
    }
    if (isFromDriver(note) &&
        (note.action == FileAction::Added || note.action == FileAction::Renamed)) {
        platform::host().sleepMs(kWriterPauseMs);
    }
    WatchedEntity* const entity = ResolveEntity(note, association);
    if (entity == nullptr && note.action != FileAction::Renamed) {
        debugLog(kModule, L"Failed to find a WatchedEntity for this notification event %ls %ls",
                 fileActionText(note.action), note.path);
    }
    Dispatch(entity, note);
}

std::optional<FileWatchMonitor::Association> FileWatchMonitor::AssociateCreated(
    FileNotificationInfo& note) {
    const std::wstring path = toLower(note.path);
    if (TableOf(kFileIndex).HasRow(path)) {
        return std::nullopt;
    }
    note.action = FileAction::Added;
    Association association = AssociateEntry(path, kFileIndex, &note);
    if (!association.isCovered) {
        debugLog(kModule,
                 L"Failed to find associate File Filter event for unknown file %ls with an "
                 L"filewatch.ini entry.",
                 note.path);
    }
    return association;
}

void FileWatchMonitor::Dispatch(WatchedEntity* entity, FileNotificationInfo& note) {
    const std::int32_t mapIndex = mapIndexOfList(note.listId);
    if (note.action == FileAction::Deleted) {
        Deliver(entity, note);
        EntityGone(toLower(note.path), mapIndex, note);
    } else if (note.action == FileAction::Renamed) {
        HandleRename(entity, mapIndex, note);
    } else if (!isMountAction(note.action)) {
        Deliver(entity, note);
    } else if (isFromDriver(note)) {
        note.entry = ConfiguredEntryFor(note.path);
        Deliver(entity, note);
        debugLog(kModule,
                 L"Driver notification of Mount/Un-Mount of %ls is defferred to work-item thread.",
                 note.path);
    } else {
        HandlePolledMount(entity, note);
        debugLog(kModule, L"Mount/Un-Mount of %ls processed by main thread.", note.path);
    }
}

std::wstring FileWatchMonitor::ConfiguredEntryFor(const std::wstring& path) {
    const ConfiguredEntries& configured = TableOf(kFileIndex).GetConfigured();
    const auto found = configured.lower_bound(toLower(path));
    return found == configured.end() ? std::wstring() : *found;
}

WatchedEntity* FileWatchMonitor::ResolveEntity(FileNotificationInfo& note,
                                               const std::optional<Association>& known) {
    const std::int32_t mapIndex = mapIndexOfList(note.listId);
    const std::wstring key = toLower(note.entityPath());
    if (WatchedEntity* const entity = TableOf(mapIndex).Find(key)) {
        if (note.action == FileAction::Added) {
            note.action = FileAction::Modified;
            debugLog(kModule, L"Changing FILE_ADDED to FILE_MODIFIED for: %ls", key);
        }
        return entity;
    }
    if (note.action == FileAction::Renamed) {
        return nullptr;
    }
    const Association association = known ? *known : AssociateEntry(key, mapIndex, &note);
    // Nothing would ever take the entity of a path away whose entry is only waiting to be removed.
    if (!association.isCovered &&
        (association.isOnItsWayOut || IsBesideInstances(key, note.listId) || IsOfLogsAlone(note))) {
        return nullptr;
    }
    const bool readFromStart = mapIndex == kLogIndex;  // a log that turns up is new from its start
    WatchedEntity* const entity =
        AddFoundEntity(key, mapIndex, readFromStart, association.params, note.virtualName);
    if (entity == nullptr && !isMountAction(note.action)) {
        ForgetRows(key, mapIndex);  // a file that is gone before it is looked at leaves nothing
    }
    if (entity != nullptr && note.action != FileAction::Added && !isMountAction(note.action)) {
        debugLog(kModule, L"Changing %ls notification to FILE_ADDED for unknown WatchedEntity: %ls",
                 fileActionText(note.action), key);
        note.action = FileAction::Added;
    }
    return entity;
}

// The root of a virtual entry is watched for new instances. Whatever else lies there was not asked
// for: it gets no entity, which would take a file that has always been there for a new one.
bool FileWatchMonitor::IsBesideInstances(const std::wstring& path, std::int32_t listId) {
    const auto spec = source_->FindSpec(path, listId);
    return spec != nullptr && !spec->GetVirtualEntry().empty();
}

// The filter names no list, and may watch by a policy of its own: what it says of a path that only
// a log entry covers makes no file of it. Polling follows the log.
bool FileWatchMonitor::IsOfLogsAlone(const FileNotificationInfo& note) {
    constexpr std::int32_t kLogList = 0;
    return note.listId == FileNotificationInfo::kAnyList && !isMountAction(note.action) &&
           source_->IsCovered(toLower(note.path), kLogList);
}

WatchedEntity* FileWatchMonitor::AddFoundEntity(const std::wstring& path, std::int32_t mapIndex,
                                                bool readFromStart, const FileWatchParams& params,
                                                const std::wstring& virtualName) {
    LogFileProperties log;
    EntityProperties properties;
    bool isDescribed = true;
    if (mapIndex == kFileIndex) {
        properties.file = &params;
    } else if (lists_ != nullptr) {  // how to read a log that no entry describes, nobody can say
        isDescribed = lists_->FindLogProperties(path, &log);
        properties.log = &log;
    }
    return isDescribed ? AddWatchedEntity(path, mapIndex, readFromStart, properties, virtualName)
                       : nullptr;
}

void FileWatchMonitor::ForgetRows(const std::wstring& path, std::int32_t mapIndex) {
    while (TableOf(mapIndex).EraseFirstRow(path)) {
    }
}

void FileWatchMonitor::Deliver(WatchedEntity* entity, FileNotificationInfo& note) {
    if (entity == nullptr) {
        return;
    }
    std::size_t count = 0;
    if (note.action == FileAction::Accessed && note.driverOperation == DriverOperation::Accessed &&
        !entity->IsAccessTimeMonitored()) {
        debugLog(kModule, L"FileWatch ignoring driver notification type (File Accessed) for %ls",
                 note.path);
    } else {
        count = entity->ProcessNotification(pending_, note);
        TableOf(entity->GetType() == kLogFile ? kLogIndex : kFileIndex).Publish(entity->GetName());
    }
    debugLog(kModule, L"Notification %ls resulted in %ls IDSEvents for %ls",
             fileActionText(note.action), count, note.path);
    Drain();
}

void FileWatchMonitor::Drain() {
    while (!pending_.empty()) {
        std::unique_ptr<IDSEvent> event = std::move(pending_.front());
        pending_.pop_front();
        if (!recorder_.Record(event)) {
            report(events_.Offer(std::move(event)), kModule, kQueueApproachingRow, kQueueFullRow);
        }
    }
}

}  // namespace lathwind
