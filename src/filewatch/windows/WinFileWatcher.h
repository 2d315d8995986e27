#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "filewatch/FileEventSource.h"
#include "filewatch/ThreadForTimers.h"
#include "utils/QueueWarningLatch.h"

namespace lathwind {

// One path to be polled.
struct PollRequest {
    std::wstring path;
    std::int32_t recursionLevel = 0;
    bool monitorAccessTime = false;
    std::int32_t listId = 0;
    std::wstring mask;  // of a folder, the files in it that count; else empty
};

// Finds changes by comparison. Each list of paths has a timer; each expiry walks the whole list,
// compares a fresh snapshot of every path with the last known one, and queues a notification for
// each difference. The same timer thread paces the saving of the state.
//
// The list lock is held over a whole walk. Whoever calls the operations waits for it, and holds
// neither the list lock nor a lock that comes behind it (docs/threads.md).
class WinFileWatcher : public ThreadForTimers, private QueueWarningLatch {
public:
    static constexpr std::int32_t kLogList = 0;
    static constexpr std::int32_t kHighList = 1;
    static constexpr std::int32_t kNormalList = 2;
    static constexpr std::int32_t kSaveTimer = 3;

    explicit WinFileWatcher(FileEventSource& source);  // not owned
    ~WinFileWatcher() override;

    void Start() override;
    void SetPollingIntervals(const std::set<std::int32_t>& listIds);
    bool AddToList(const PollRequest& request);
    bool RemoveFromList(const std::wstring& path, std::int32_t listId);
    // The rows of a folder and of what its mask covers; gives their number. With `checkCoverage`
    // what something else covers stays.
    std::size_t RemoveWildCardFileToWatch(const PollRequest& request, bool checkCoverage);

    std::size_t GetPolledCount() const;
    std::uint32_t GetNotificationCount() const noexcept;  // dropped ones included
    // Has polling found a change since the state was last saved? One flag for the process.
    static void SetDirty(bool dirty) noexcept;

protected:
    bool TimerExpired(std::int64_t now, TimerItem& timer) override;
};

}  // namespace lathwind
