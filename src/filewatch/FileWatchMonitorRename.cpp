// A rename is two things: the file is gone from its old path, and one is there at the new path.
// Either may be watched, both, or neither any more.
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;

// What is said of the new path: the same process did it, as the filter saw.
FileNotificationInfo arrivalOf(const FileNotificationInfo& rename, FileAction action) {
    FileNotificationInfo arrival(rename.path, action, 0);
    arrival.driverOperation = DriverOperation::Renamed;
    arrival.sessionId = rename.sessionId;
    arrival.processId = rename.processId;
    arrival.processName = rename.processName;
    arrival.userSid = rename.userSid;
    arrival.virtualName = rename.virtualName;
    return arrival;
}

}  // namespace

void FileWatchMonitor::HandleRename(WatchedEntity* entity, std::int32_t mapIndex,
                                    FileNotificationInfo& note) {
    const bool isKnown = entity != nullptr;
    LeaveOldPath(entity, mapIndex, note);
    const std::wstring path = toLower(note.path);
    Association association = AssociateEntry(path, mapIndex, &note);
    if (!association.isCovered && !isKnown) {
        mapIndex = kLogIndex;
        association = AssociateEntry(path, mapIndex, &note);
    }
    if (!association.isCovered) {
        return;
    }
    FileAction action = FileAction::Modified;
    WatchedEntity* target = TableOf(mapIndex).Find(path);
    if (target != nullptr) {
        debugLog(kModule, L"Changing FILE_ADDED to FILE_MODIFIED for: %ls", path);
    } else {
        action = FileAction::Added;
        target = AddFoundEntity(path, mapIndex, false, association.params, note.virtualName);
        if (target == nullptr) {
            ForgetRows(path, mapIndex);
        }
    }
    FileNotificationInfo arrival = arrivalOf(note, action);
    Deliver(target, arrival);
}

// A copy that some program made under the new name, or a new file that took the old one's place,
// leaves something at the old path. An instance of a virtual entry may go without being known.
void FileWatchMonitor::LeaveOldPath(WatchedEntity* entity, std::int32_t mapIndex,
                                    FileNotificationInfo& note) {
    const std::wstring path = toLower(note.oldPath);
    const bool isStillThere = FileIO::Exists(MapToRealPath(path));
    if (isStillThere && entity != nullptr) {
        debugLog(kModule, L"Changing FILE_RENAMED to FILE_MODIFIED for: %ls", path);
        note.action = FileAction::Modified;
    }
    Deliver(entity, note);
    if (!isStillThere) {
        EntityGone(path, mapIndex, note);
    }
}

}  // namespace lathwind
