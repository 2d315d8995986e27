#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "filewatch/FileNotificationInfo.h"
#include "filewatch/SpecTable.h"
#include "filewatch/WatchedPathSpec.h"
#include "utils/LockingStore.h"
#include "utils/QueueWarningLatch.h"
#include "utils/platform/Threading.h"

namespace lathwind {

class FileAttributes;      // filewatch/FileAttributes.h
class IPSFilterInterface;  // filewatch/IPSFilterInterface.h
class MountManager;        // filewatch/MountManager.h

// What is known of a watched path, as another thread than the monitor's may ask it.
struct LastKnownState {
    std::shared_ptr<const FileAttributes> attributes;  // null without an entity
    bool hasUnreadLines = false;                       // of a log (WatchedLogFile)
};

// What those who notice changes ask the monitor. Any thread, without the monitor's lock.
class MonitorQueries {
public:
    virtual ~MonitorQueries() = default;
    // The state of the entity of `path` in the table that belongs to the list.
    virtual LastKnownState GetAttributes(const std::wstring& path, std::int32_t listId) = 0;
    // Does the real-time filter watch the path, for us or by a policy of its own?
    virtual bool IsIPSFilterWatchingFile(const std::wstring& path, std::int32_t listId) = 0;
    // The filter once it has started, else null. The library owns it.
    virtual IPSFilterInterface* GetStartedFilter() = 0;
    // Are entries still being added, so that an existing path may be watched without an entity?
    virtual bool IsConfigurationPending() const noexcept { return false; }
};

// One path to be watched, or no longer.
struct WatchRequest {
    std::wstring path;  // plain, with wildcards in its mask, or virtual; lower case
    std::int32_t recursionLevel = 1;
    bool notRealTime = false;  // polling alone, never the filter: logs
    bool monitorAccessTime = false;
    std::int32_t listId = 0;
    std::wstring virtualEntry;  // of an instance the virtual entry behind it, else empty
};

// Tells the monitor that something happened to a path: keeps the table of what is watched, and the
// queue of notifications between those who notice (polling, the real-time filter) and the monitor's
// thread.
//
// Locks: docs/threads.md. What is watched changes under the change lock, which is held while
// folders are listed; the table itself has a lock of its own, held over nothing else, so a
// look-up waits for nobody.
class FileEventSource : public SpecFinder, protected QueueWarningLatch {
public:
    using NotificationQueue = LockingStore<FileNotificationInfo*>;

    // The queue's limit is eight times the setting "File Collector Events Limit".
    FileEventSource();
    ~FileEventSource() override;  // destroys what is queued
    FileEventSource(const FileEventSource&) = delete;
    FileEventSource& operator=(const FileEventSource&) = delete;

    // Not owned; set once, before anything is watched. The mount manager may be null.
    void SetMonitor(MonitorQueries* monitor) noexcept { monitor_ = monitor; }
    void SetMountManager(MountManager* mounts) noexcept { mounts_ = mounts; }

    // True: the path is watched from now on. False where it is watched already, and for what cannot
    // be watched, with a warning. Both may take long: they list folders, and wait for polling.
    virtual bool AddFileToWatch(const WatchRequest& request) = 0;
    // False when it was not watched.
    virtual bool RemoveFileToWatch(const WatchRequest& request) = 0;
    // Takes a spec out of those who watch, where `remaining` others of its key are left.
    virtual void RemoveFromWatchers(const WatchedPathSpec& spec, std::int32_t listId,
                                    bool notRealTime, std::size_t remaining) = 0;
    virtual void Start() = 0;
    // Stops those who notice, then releases GetNext.
    virtual void Stop() = 0;
    // The ids of the lists that the configuration has; list 0 always exists.
    virtual void SetPollingIntervals(const std::set<std::int32_t>& listIds) = 0;
    virtual std::uint32_t GetNotificationCount() const = 0;  // made by polling
    virtual std::size_t GetPolledCount() const = 0;          // paths on all lists
    virtual bool CanWatch(const std::wstring& path) const;   // a platform may refuse some

    // Takes the notification over if it gives true; a full queue refuses and is reported once an
    // episode. Any thread.
    bool Queue(std::unique_ptr<FileNotificationInfo>& notification);
    // Waits for a notification of something that is watched, or the save marker; the rest is
    // dropped. Null when the source was stopped. One thread.
    std::unique_ptr<FileNotificationInfo> GetNext();

    // Any thread; see SpecFinder.
    std::shared_ptr<const WatchedPathSpec> FindSpec(const std::wstring& path,
                                                    std::int32_t listId) override;
    bool IsCovered(const std::wstring& path, std::int32_t listId);
    // Does an entry ask for the file? Of one that lies beside the instances of a virtual entry that
    // entry does not, although the path is covered.
    bool CoversFile(const std::wstring& path, std::int32_t listId);
    // Are files of the folder watched by a mask, whether the folder itself is covered or not?
    bool LooksInto(const std::wstring& folder, std::int32_t listId);
    // Is the folder that of a virtual instance, the part of its entry behind the token included,
    // and could it not be added? In any case of letters, with or without a backslash behind it.
    bool IsExcluded(const std::wstring& directory, std::int32_t level);

    NotificationQueue& GetQueue() noexcept { return queue_; }
    MonitorQueries* GetMonitor() const noexcept { return monitor_; }
    MountManager* GetMountManager() const noexcept { return mounts_; }

protected:
    // GetNext waits, and Queue takes on, from the one to the other. As constructed they do.
    void OpenQueue();
    void CloseQueue();
    Lock& ChangeLock() const RETURN_CAPABILITY(*changeLock_) { return *changeLock_; }
    SpecTable& Specs() noexcept { return specs_; }

private:
    bool IsRelevant(FileNotificationInfo& notification);

    NotificationQueue queue_;
    MonitorQueries* monitor_ = nullptr;
    MountManager* mounts_ = nullptr;
    SpecTable specs_;
    const std::unique_ptr<Lock> changeLock_;
    const std::unique_ptr<Lock> latchLock_;  // over the report of a push
    std::atomic<bool> isClosed_{false};
};

// The one of this platform. A program or a test may put another in its place.
std::unique_ptr<FileEventSource> CreateFileEventSource();

}  // namespace lathwind
