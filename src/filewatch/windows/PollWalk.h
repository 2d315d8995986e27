#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "events/FileAction.h"
#include "filewatch/FileEventSource.h"
#include "filewatch/MountManager.h"
#include "filewatch/windows/PollList.h"

namespace lathwind {

// What a walk has noticed, on its way to the notification queue.
class PollReporter {
public:
    virtual ~PollReporter() = default;
    // False: the queue is full, and the notification is lost.
    virtual bool Queue(const std::wstring& path, FileAction action, std::int32_t listId,
                       std::int32_t recursionLevel) = 0;
};

// A row for `path` as it is now: a plain one for what is no folder and has no mask, else one with a
// snapshot of the folder, if it is one. Asks the system.
struct MadePollEntry {
    std::unique_ptr<PollEntry> entry;
    bool exists = false;  // is there anything at the path?
    bool isFolder = false;
};
MadePollEntry MakePollEntry(const std::wstring& path, std::int32_t recursionLevel,
                            bool monitorAccessTime, const std::wstring& mask);

// Has the folder changed so shortly before `now` (calendar seconds) that it may change again
// without a new time? Times have steps, of two seconds at most.
bool MayChangeUnseen(const FileAttributes& folder, std::int64_t now);

// One walk over one polling list: compares what each path is with what it last was, and tells of
// the differences. docs/watching.md tells how. Used on the timer thread with the list lock held;
// takes no lock that comes before it.
class PollWalk {
public:
    // Nothing is owned; the monitor and the mount manager of the source may be null. `now` is the
    // calendar time in seconds.
    PollWalk(PollList& list, std::int32_t listId, FileEventSource& source, PollReporter& reporter,
             std::int64_t now);

    // True: something changed, so there is a state to be saved.
    bool Run();

private:
    using Rows = PollList::Rows;
    using Row = Rows::value_type;
    // What is known of a path, then and now.
    struct Sight {
        LastKnownState known;                    // holds what `before` may point to
        const FileAttributes* before = nullptr;  // null: nothing is known
        std::unique_ptr<FileAttributes> now;     // null: there is nothing now
        bool existed = false;
        bool isLocal = false;      // a path on a volume that the mount manager may know
        bool isExplained = false;  // by a volume that came or went
        bool isChanged = false;
        bool isRefused = false;  // a notification was
        bool isToGo = false;     // the row is of no use any more
    };
    enum class Verdict { Done, MountDiscrepancy };

    // True: the row is of no use any more.
    bool Visit(Row& row);
    bool LooksUnchanged(const Sight& sight, const Row& row) const;
    Verdict Examine(Row& row, Sight& sight);
    void BecomeFolder(Row& row) const;
    void AskMounts(Row& row, Sight& sight);
    bool IsStillAway(const Row& row, const Sight& sight) const;
    Verdict SeeGone(Row& row, Sight& sight);
    Verdict SeeNew(Row& row, Sight& sight);
    void SeeReplaced(Row& row, Sight& sight);
    void SeeSame(Row& row, Sight& sight);
    void Conclude(Row& row, Sight& sight);
    void KeepSnapshot(Row& row, Sight& sight) const;

    void BeginMounts();
    void TellMount(const std::wstring& path, const PollList::MountTelling& telling);
    // May the path be looked at again in this walk?
    bool IsWorthRepeating(const std::wstring& path, int repeats);
    MountManager::PendingAction CheckMount(const std::wstring& path, const PollEntry* entry,
                                           Rows* newRows);
    std::vector<std::wstring> ListNewChildren(const std::wstring& path, const PollEntry& entry,
                                              std::int32_t level) const;
    void ExpandDirectory(Rows& newRows, const std::vector<std::wstring>& items,
                         const std::wstring& directory, const PollEntry& entry) const;
    void EnterFound();
    bool Enter(const std::wstring& path, std::unique_ptr<PollEntry>& entry);

    void Tell(const Row& row, Sight& sight, FileAction action);
    void TellUnlessFiltered(const Row& row, Sight& sight, FileAction action);
    LastKnownState AskMonitor(const std::wstring& path) const;
    bool IsFiltered(const std::wstring& path) const;
    bool IsFatFolder(const std::wstring& path) const;

    PollList& list_;
    const std::int32_t listId_;
    FileEventSource& source_;
    MonitorQueries* const monitor_;
    MountManager* const mounts_;
    PollReporter& reporter_;
    const std::int64_t now_;
    const std::uint32_t walk_;
    bool isAnyChanged_ = false;
    std::set<std::wstring> returned_;   // mount points of what was away
    std::set<std::wstring> exhausted_;  // those of paths that repeats did not help
    Rows found_;                        // new, to be told
    Rows foundByMount_;                 // new with their volume, which is told instead
};

}  // namespace lathwind
