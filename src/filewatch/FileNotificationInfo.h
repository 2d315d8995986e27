#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "events/FileAction.h"

namespace lathwind {

// What the real-time filter saw. None: the notification comes from polling.
enum class DriverOperation : std::int32_t {
    None = 0,
    Accessed = 1,
    Created = 2,
    Modified = 3,
    Deleted = 4,
    Mounted = 5,
    Unmounted = 6,
    Renamed = 7,
};

FileAction actionOfDriverOperation(DriverOperation operation) noexcept;

// A hint that something happened to a path. It is handed from the thread that noticed to the one
// that decides; one thread at a time has it.
class FileNotificationInfo {
public:
    static constexpr std::int32_t kAnyList = -1;

    // From polling.
    FileNotificationInfo(std::wstring notifiedPath, FileAction notifiedAction, std::int32_t list);
    // From the filter, which also knows who did it. The action follows from the operation.
    // `sid` is the acting user's security identifier in its binary form, empty when unknown.
    FileNotificationInfo(std::wstring notifiedPath, DriverOperation operation, std::int32_t session,
                         std::int32_t process, std::vector<std::byte> sid, std::wstring image,
                         std::int32_t list);
    virtual ~FileNotificationInfo() = default;

    // The path whose entity is concerned: of a rename the one that is gone.
    const std::wstring& entityPath() const noexcept;
    // The name of a mount's event: the configured entry that led here.
    const std::wstring& mountText() const noexcept { return entry; }

    std::wstring path;     // of a rename the new one
    std::wstring oldPath;  // of a rename
    std::wstring entry;    // the configured entry that led here
    std::int32_t recursionLevel = 0;
    FileAction action = FileAction::None;
    std::int32_t listId = kAnyList;
    DriverOperation driverOperation = DriverOperation::None;
    std::int32_t sessionId = 0;
    std::int32_t processId = 0;
    std::vector<std::byte> userSid;
    std::wstring processName;
    std::int32_t sourceTag = 4;
    std::wstring virtualName;  // of a virtual instance, "NAME=..."
};

}  // namespace lathwind
