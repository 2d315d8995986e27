#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "filewatch/FileWatchParams.h"
#include "filewatch/LogFileProperties.h"
#include "utils/platform/Threading.h"

namespace lathwind {

// What the work-item thread does its items on: the monitor. `stop` is set when the thread is to
// leave; whoever walks many paths looks at it after each hundred (isStopRequested).
class WorkItemTarget {
public:
    virtual ~WorkItemTarget() = default;
    virtual void RestoreState(const std::wstring& path, Event& stop) = 0;
    virtual void AddFile(const std::wstring& path, const FileWatchParams& params, Event& stop) = 0;
    // `startOffset` in bytes, kNoOffset for the offset that the log's entity chooses.
    virtual void AddLogFile(const LogFileProperties& properties, std::int32_t startOffset) = 0;
    virtual void RemoveFile(const std::wstring& path, const FileWatchParams& params,
                            std::int32_t mapIndex) = 0;
    // Any thread. False where a configuration's last item is done.
    virtual void SetConfigurationPending(bool pending) = 0;
    virtual void UpdateAll() = 0;
    virtual void UpdateFileDiffs() = 0;
    virtual void ProcessMount(const std::wstring& path, std::int32_t processId,
                              const std::wstring& user, const std::wstring& process,
                              Event& stop) = 0;

    static constexpr std::int32_t kNoOffset = -1;
};

// Was the event of a long operation's owner set? Does not wait: a walk over a million files asks
// ten thousand times.
bool isStopRequested(Event& stop);

// How far a walk over many paths has come. It looks at the stop event after each hundred.
class WalkProgress {
public:
    explicit WalkProgress(Event* stop) noexcept : stop_(stop) {}  // may be null; not owned
    // Counts one path. True when the walk is to end.
    bool Count() {
        constexpr std::size_t kPathsBetweenLooks = 100;
        if (++count_ % kPathsBetweenLooks == 0 && stop_ != nullptr) {
            isStopped_ = isStopRequested(*stop_);
        }
        return isStopped_;
    }
    std::size_t GetCount() const noexcept { return count_; }
    bool IsStopped() const noexcept { return isStopped_; }

private:
    Event* stop_;
    std::size_t count_ = 0;
    bool isStopped_ = false;
};

// One change of what is watched. Copied into the queue and out of it.
struct WorkItem {
    enum class Kind : std::int32_t {
        None = 0,
        Deserialize = 1,
        Add = 2,
        Remove = 3,
        FinalizeConfig = 4,
        Update = 5,
        UpdateFileDiffs = 6,
        Mount = 7,
        UnMount = 8,
        AddLog = 9,
    };

    explicit WorkItem(Kind itemKind = Kind::None) : kind(itemKind) {}

    Kind kind;
    std::wstring path;
    std::wstring user;     // of a mount
    std::wstring process;  // of a mount
    FileWatchParams params;
    std::int32_t argument = 0;  // map index, process id or start offset
    LogFileProperties log;
};

// The thread on which everything that changes the tables of what is watched is done, one item
// after the other, in the order of the queue: building them can take minutes, and neither a
// service's start nor a driver's callback may wait for that.
//
// The items are spaced out: the thread takes at most one for each 100 ms. The queue has no limit,
// but a mount that waits in it is not put there again; putting an item into it wakes nobody.
//
// Any thread may queue items; Start and Stop are called by one.
class FileWatchInit : public Runnable {
public:
    static constexpr std::int32_t kMillisecondsPerItem = 100;

    // `target` is not owned. Without one items stay in the queue.
    explicit FileWatchInit(WorkItemTarget* target);
    ~FileWatchInit() override;
    FileWatchInit(const FileWatchInit&) = delete;
    FileWatchInit& operator=(const FileWatchInit&) = delete;

    void Start();  // does nothing while the thread runs
    // Lets the present item come to its end, as soon as it looks at the stop event; what is left in
    // the queue is dropped.
    void Stop();
    bool IsRunning() const noexcept { return thread_ != nullptr; }

    // The configuration counts as pending from this call on, made by the caller's thread.
    void EnQueueDeserialize(const std::wstring& path);
    void EnQueueAdd(const std::wstring& path, const FileWatchParams& params);
    void EnQueueAddLog(const LogFileProperties& properties, std::int32_t startOffset);
    void EnQueueRemove(const std::wstring& path, const FileWatchParams& params,
                       std::int32_t mapIndex);
    void EnQueueFinalizeConfig();
    void EnQueueUpdate();
    void EnQueueUpdateFileDiffs();
    void EnQueueMount(const std::wstring& path, std::int32_t processId, const std::wstring& user,
                      const std::wstring& process);
    void EnQueueUnMount(const std::wstring& path, std::int32_t processId, const std::wstring& user,
                        const std::wstring& process);

    void run() override;
    // One turn: waits so long for the stop event, then does one item. False once told to stop.
    bool Step(std::int32_t milliseconds = kMillisecondsPerItem);
    std::size_t GetLength() const;  // of the queue

private:
    void EnQueue(WorkItem item);
    bool TakeFirst(WorkItem& item);
    void DoItem(const WorkItem& item);

    WorkItemTarget* const target_;
    const std::unique_ptr<Lock> lock_;  // held for the copy of one item only
    const std::unique_ptr<Event> stop_;
    std::deque<WorkItem> queue_ GUARDED_BY(*lock_);
    std::set<std::pair<WorkItem::Kind, std::wstring>> waitingMounts_ GUARDED_BY(*lock_);
    std::unique_ptr<Thread> thread_;
};

}  // namespace lathwind
