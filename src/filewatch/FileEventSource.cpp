#include "filewatch/FileEventSource.h"

#include <algorithm>
#include <exception>

#include "utils/AgentInfo.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;
constexpr int kQueueApproachingId = 170;  // FWC_0007
constexpr int kQueueFullId = 171;         // FWC_0008

// One change of a folder may give many notifications at once.
constexpr std::uint32_t kNotificationsPerEvent = 8;

std::uint32_t queueLimit() {
    constexpr std::uint32_t kLargest =
        FileEventSource::NotificationQueue::kMaxElements / kNotificationsPerEvent;
    return std::min(AgentInfoRef()->fileEventsLimit(), kLargest) * kNotificationsPerEvent;
}

}  // namespace

FileEventSource::FileEventSource()
    : changeLock_(platformFactory.createLock()), latchLock_(platformFactory.createLock()) {
    queue_.setLimit(queueLimit());
}

FileEventSource::~FileEventSource() {
    while (!queue_.empty()) {
        delete queue_.popFront();
    }
}

bool FileEventSource::CanWatch(const std::wstring& /*path*/) const {
    return true;
}

bool FileEventSource::Queue(std::unique_ptr<FileNotificationInfo>& notification) {
    if (notification == nullptr || isClosed_.load()) {
        return false;
    }
    PushResult result = PushResult::Full;
    queue_.lockBatch();
    try {
        result = queue_.pushChecked(notification.get());
    } catch (const std::exception&) {
        // No memory for it: as good as full. The batch must be ended all the same.
    }
    queue_.unlockBatch();
    const bool isStored = result == PushResult::Stored || result == PushResult::HighMark;
    if (isStored) {
        static_cast<void>(notification.release());
    }
    if (isClosed_.load()) {
        // The push has overlapped with the end and put the store back into service, which would let
        // the consumer wait on.
        queue_.terminate();
    }
    const ScopedLock guard(*latchLock_);
    report(result, kModule, kQueueApproachingId, kQueueFullId);
    return isStored;
}

void FileEventSource::OpenQueue() {
    isClosed_.store(false);
    queue_.lockBatch();
    queue_.unlockBatch();
}

void FileEventSource::CloseQueue() {
    isClosed_.store(true);
    queue_.terminate();
}

std::unique_ptr<FileNotificationInfo> FileEventSource::GetNext() {
    for (;;) {
        if (queue_.event().wait(kWaitForever, false) == WaitResult::Failed || isClosed_.load() ||
            queue_.stopped()) {
            return nullptr;
        }
        std::unique_ptr<FileNotificationInfo> next(queue_.popFront());
        if (next->action == FileAction::SaveMarker) {
            return next;
        }
        if (IsRelevant(*next)) {
            debugLog(kModule, L"Notification event: %ls %ls", next->path,
                     fileActionText(next->action));
            return next;
        }
    }
}

bool FileEventSource::IsRelevant(FileNotificationInfo& notification) {
    const bool isMount =
        notification.action == FileAction::Mount || notification.action == FileAction::Unmount;
    if (isMount && notification.driverOperation != DriverOperation::None) {
        return true;
    }
    auto spec = FindSpec(notification.path, notification.listId);
    const std::wstring* path = &notification.path;
    if (spec == nullptr && notification.action == FileAction::Renamed) {
        spec = FindSpec(notification.oldPath, notification.listId);
        path = &notification.oldPath;
    }
    if (spec == nullptr) {
        return false;
    }
    if (std::wstring name = spec->GetVirtualName(*path); !name.empty()) {
        notification.virtualName = std::move(name);
    }
    return true;
}

std::shared_ptr<const WatchedPathSpec> FileEventSource::FindSpec(const std::wstring& path,
                                                                 std::int32_t listId) {
    return specs_.Find(path, listId);
}

bool FileEventSource::IsCovered(const std::wstring& path, std::int32_t listId) {
    return FindSpec(path, listId) != nullptr;
}

bool FileEventSource::CoversFile(const std::wstring& path, std::int32_t listId) {
    return specs_.CoversFile(path, listId);
}

bool FileEventSource::LooksInto(const std::wstring& folder, std::int32_t listId) {
    return specs_.LooksInto(folder, listId);
}

bool FileEventSource::IsExcluded(const std::wstring& directory, std::int32_t level) {
    return specs_.IsExcluded(directory, level);
}

}  // namespace lathwind
