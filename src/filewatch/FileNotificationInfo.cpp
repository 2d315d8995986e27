#include "filewatch/FileNotificationInfo.h"

#include <utility>

namespace lathwind {

FileAction actionOfDriverOperation(DriverOperation operation) noexcept {
    switch (operation) {
        case DriverOperation::None:
            return FileAction::None;
        case DriverOperation::Accessed:
            return FileAction::Accessed;
        case DriverOperation::Created:
            return FileAction::Added;
        case DriverOperation::Modified:
            return FileAction::Modified;
        case DriverOperation::Deleted:
            return FileAction::Deleted;
        case DriverOperation::Mounted:
            return FileAction::Mount;
        case DriverOperation::Unmounted:
            return FileAction::Unmount;
        case DriverOperation::Renamed:
            return FileAction::Renamed;
    }
    return FileAction::None;
}

FileNotificationInfo::FileNotificationInfo(std::wstring notifiedPath, FileAction notifiedAction,
                                           std::int32_t list)
    : path(std::move(notifiedPath)), action(notifiedAction), listId(list) {}

FileNotificationInfo::FileNotificationInfo(std::wstring notifiedPath, DriverOperation operation,
                                           std::int32_t session, std::int32_t process,
                                           std::vector<std::byte> sid, std::wstring image,
                                           std::int32_t list)
    : path(std::move(notifiedPath)),
      action(actionOfDriverOperation(operation)),
      listId(list),
      driverOperation(operation),
      sessionId(session),
      processId(process),
      userSid(std::move(sid)),
      processName(std::move(image)) {}

const std::wstring& FileNotificationInfo::entityPath() const noexcept {
    return action == FileAction::Renamed ? oldPath : path;
}

}  // namespace lathwind
