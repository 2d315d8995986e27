#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "filewatch/FileEventSource.h"
#include "filewatch/ThreadForTimers.h"
#include "filewatch/windows/PollList.h"
#include "filewatch/windows/PollWalk.h"

namespace lathwind {

// One path to be polled.
struct PollRequest {
    std::wstring path;  // any case; a backslash at the end does not count
    std::int32_t recursionLevel = 0;
    bool monitorAccessTime = false;
    std::int32_t listId = 0;
    std::wstring mask;  // of a folder, the files in it that count; else empty
    // A listing has just shown that it is there and no folder: it is not looked at once more.
    bool isListedFile = false;
};

// Finds changes by comparison. Each list of paths has a timer; each expiry walks the whole list
// (PollWalk), compares every path with what it last was, and queues a notification for each
// difference. The same timer thread paces the saving of the state.
//
// The list lock is held over a whole walk; the timer thread's own lock comes before it. Whoever
// calls the operations waits for a walk to end, and holds neither the list lock nor a lock that
// comes behind it; who calls Start, Stop or SetPollingIntervals none that an operation of the walk
// takes (docs/threads.md). The counts wait for nobody.
class WinFileWatcher : public ThreadForTimers, private PollReporter {
public:
    static constexpr std::int32_t kLogList = PollList::kLogs;
    static constexpr std::int32_t kHighList = 1;
    static constexpr std::int32_t kNormalList = 2;
    static constexpr std::int32_t kSaveTimer = 3;  // paces the saving; no list has this id

    // Seconds between two walks of a list, or two savings, as the settings say.
    static std::int32_t IntervalOf(std::int32_t listId);

    explicit WinFileWatcher(FileEventSource& source);  // not owned
    ~WinFileWatcher() override;

    void Start() override;
    // Makes the lists and their timers those of the configuration. List 0 always stays. The lists
    // 1 and 2 are walked as often as the settings say, a list from 10 on each id seconds.
    void SetPollingIntervals(const std::set<std::int32_t>& listIds);
    // False for an unknown list, and for a path that is on it: what is asked for is then added to
    // its row.
    bool AddToList(const PollRequest& request);
    // A folder stays while a spec with a mask looks into it.
    bool RemoveFromList(const std::wstring& path, std::int32_t listId);
    // The rows of a folder and of what its mask covers; gives their number. With `checkCoverage`
    // what something else covers stays, and a folder also where a spec with a mask looks into it.
    std::size_t RemoveWildCardFileToWatch(const PollRequest& request, bool checkCoverage);

    std::size_t GetPolledCount() const noexcept { return polledCount_.load(); }
    // Dropped ones included.
    std::uint32_t GetNotificationCount() const noexcept { return notificationCount_.load(); }
    // Has polling found a change since the state was last saved? One flag for the process.
    static void SetDirty(bool dirty) noexcept;

protected:
    bool TimerExpired(std::int64_t now, TimerItem& timer) override;

private:
    void EnsureTimer(std::int32_t listId);
    std::vector<std::int32_t> ListsBeside(const std::set<std::int32_t>& listIds) const;
    void RemoveList(std::int32_t listId);
    bool Merge(const std::wstring& path, const PollRequest& request) REQUIRES(*listLock_);
    void LearnMount(const std::wstring& path, std::int32_t listId, bool pathExists)
        REQUIRES(*listLock_);
    PollList* FindList(std::int32_t listId) REQUIRES(*listLock_);
    bool Erase(const std::wstring& path, std::int32_t listId) REQUIRES(*listLock_);
    // Would the list lose something without the row, though its own spec has gone?
    bool IsStillWatched(const std::wstring& path, bool isFolder, std::int32_t listId) const;
    std::size_t EraseBelow(const WatchedPathSpec& spec, std::int32_t listId, bool checkCoverage)
        REQUIRES(*listLock_);
    bool IsFolder(const std::wstring& path, const PollEntry& entry, std::int32_t listId) const;
    void WalkList(PollList& list, std::int32_t listId, std::int64_t now) REQUIRES(*listLock_);
    void QueueSaveMarker();
    bool Queue(const std::wstring& path, FileAction action, std::int32_t listId,
               std::int32_t recursionLevel) override;

    FileEventSource& source_;
    const std::unique_ptr<Lock> listLock_;
    std::map<std::int32_t, PollList> lists_ GUARDED_BY(*listLock_);
    std::atomic<bool> isMountTableFilled_{false};
    std::atomic<std::size_t> polledCount_{0};  // rows of all lists
    std::atomic<std::uint32_t> notificationCount_{0};
};

}  // namespace lathwind
