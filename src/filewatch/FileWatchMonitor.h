#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "actions/DirectEventRecorder.h"
#include "events/IDSEvent.h"
#include "filewatch/EntityTable.h"
#include "filewatch/FileEventSource.h"
#include "filewatch/FileWatchInit.h"
#include "filewatch/FileWatchParams.h"
#include "filewatch/MountManager.h"
#include "filewatch/StateFile.h"
#include "filewatch/WatchLists.h"
#include "filewatch/WatchedEntity.h"
#include "utils/Logging.h"
#include "utils/QueueWarningLatch.h"
#include "utils/platform/Threading.h"

namespace lathwind {

class FilterEventDecoder;  // filewatch/FilterEventDecoder.h

class RealTimeFilter;   // filewatch/RealTimeFilter.h
class VirtualPathSpec;  // filewatch/VirtualPathSpec.h
struct IPSFilterEvent;  // filewatch/IPSFilterInterface.h

// What a restore came to. The numbers are fixed.
enum class RestoreResult : std::int32_t {
    Restored = 0,
    Failed = 4,             // an exception, already reported
    BadState = 6,           // no state file of this version, or an interrupted one
    FileListsChanged = 13,  // or the default recursion level
    LogListsChanged = 14,
    NotOpened = 27,
};

// The centre of the engine: owns every watched entity, knows which configured entry led to it, and
// turns notifications into events on its thread, "FileMonitorThread".
//
// Calling order at start: the constructor; SetDigests for both indices; the EnQueue operations;
// EnQueueDeserialize; EnQueueFinalizeConfig; Start. A reconfiguration uses the same EnQueue
// operations on the running monitor. At the end Stop.
//
// Threads: docs/threads.md. The lock guards tables and entities. Everything that takes long
// (listing folders, the first snapshot and digest of a file) is done without it.
class FileWatchMonitor : public Runnable,
                         public WorkItemTarget,
                         public MonitorQueries,
                         private QueueWarningLatch {
public:
    static constexpr std::int32_t kFileIndex = 0;
    static constexpr std::int32_t kLogIndex = 1;
    static constexpr std::int32_t mapIndexOfList(std::int32_t listId) noexcept {
        return listId == 0 ? kLogIndex : kFileIndex;
    }

    // What the monitor stands on, for those who put something of their own in its place.
    struct Parts {
        std::unique_ptr<FileEventSource> source;  // never null
        std::unique_ptr<MountManager> mounts;     // may be null
    };
    static Parts MakeParts();  // this platform's

    // `events` and `lists` are not owned; without lists every look-up in them is skipped. `paths`
    // are watched from the start, on the list of high protection. Only one monitor may exist at a
    // time: the filter's callback finds it through the process.
    explicit FileWatchMonitor(EventStore& events, WatchLists* lists = nullptr,
                              const std::vector<std::wstring>& paths = {},
                              Parts parts = MakeParts());
    ~FileWatchMonitor() override;

    void Start();
    // Saves the state, if the thread had been started.
    void Stop();
    bool IsRunning() const;

    // Index 0: filewatch.ini and custfilewatch.ini, together with the default recursion level in
    // force; index 1: the three log lists.
    void SetDigests(std::span<const Md5Digest> digests, std::int32_t index);
    // False ends one of the configurations that were queued. The last one's end is reported, and
    // nothing is pending from then on.
    void SetConfigurationPending(bool pending) override;
    bool IsConfigurationPending() const noexcept override { return configurationPending_.load(); }
    // Queued, and not yet done to its end.
    bool IsRestorePending() const noexcept { return isRestorePending_.load(); }

    // What the configuration is queued through; see FileWatchInit. It is pending from the first
    // item on until the item of EnQueueFinalizeConfig is done, and while others wait behind that,
    // until the last of them is. One configuration is queued at a time.
    void EnQueueDeserialize();
    void EnQueueAdd(const std::wstring& path, const FileWatchParams& params);
    void EnQueueAddLog(const LogFileProperties& properties, std::int32_t startOffset);
    void EnQueueRemove(const std::wstring& path, const FileWatchParams& params,
                       std::int32_t mapIndex);
    void EnQueueUpdate();
    void EnQueueUpdateFileDiffs();
    void EnQueueFinalizeConfig();

    // Work items (FileInitThread).
    void RestoreState(const std::wstring& path, Event& stop) override;
    void AddFile(const std::wstring& path, const FileWatchParams& params, Event& stop) override;
    void AddLogFile(const LogFileProperties& properties, std::int32_t startOffset) override;
    void RemoveFile(const std::wstring& path, const FileWatchParams& params,
                    std::int32_t mapIndex) override;
    void UpdateAll() override;
    void UpdateFileDiffs() override;
    void ProcessMount(const std::wstring& path, std::int32_t processId, const std::wstring& user,
                      const std::wstring& process, Event& stop) override;

    // MonitorQueries.
    LastKnownState GetAttributes(const std::wstring& path,
                                 std::int32_t listId) override NO_THREAD_SAFETY_ANALYSIS;
    bool IsIPSFilterWatchingFile(const std::wstring& path, std::int32_t listId) override;
    IPSFilterInterface* GetStartedFilter() override;

    // The thread's loop: waits until the configuration is final, then Step until told to stop.
    void run() override;
    // One notification. False when the source was stopped.
    bool Step();
    // What Step does with a notification.
    void ProcessNotification(std::unique_ptr<FileNotificationInfo> notification);

    bool StartIPSFilter();
    bool StopIPSFilter();
    // The filter's callback, on a thread of its library. Without a monitor nothing happens.
    static void OnFilterEvent(const IPSFilterEvent* event);

    // The state file; the present folder's "FileWatch.dat". Nothing is thrown.
    void Serialize();
    RestoreResult Deserialize(const std::wstring& path, Event& stop);

    // Entities go, of files and of logs, whichever entries have led to them. The source and the
    // configured entries are not told.
    void RemoveWatchedEntity(const std::wstring& path);
    void RemoveWatchedEntities(const WatchedPathSpec& spec);
    WatchedEntity* GetEntity(const std::wstring& path, std::int32_t mapIndex);
    std::uint32_t GetWatchedFileCount() const;
    std::uint32_t GetWatchedLogCount() const;
    // Entities with a diff; the kilobytes they hold go to `totalKb`, which may be null.
    std::uint32_t GetDiffEntityCount(std::uint64_t* totalKb = nullptr) const;
    std::uint32_t GetDriverEventCount() const noexcept { return driverEvents_.load(); }

    FileEventSource& GetSource() noexcept { return *source_; }
    MountManager* GetMountManager() noexcept { return mounts_.get(); }
    FileWatchInit& GetWorkItems() noexcept { return *workItems_; }

private:
    using Notification = std::unique_ptr<FileNotificationInfo>;

    EntityTable& TableOf(std::int32_t mapIndex) REQUIRES(*lock_) {
        return tables_[static_cast<std::size_t>(mapIndex)];
    }

    // The one monitor of the process. Declared last of the members, so that whoever finds one finds
    // a whole one.
    class Registration {
    public:
        explicit Registration(FileWatchMonitor& monitor);
        ~Registration();
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;

    private:
        FileWatchMonitor& monitor_;
    };
    // Calls `use` with the process's monitor, which is not destroyed meanwhile; without one nothing
    // happens. One call at a time: the others wait.
    static void WithInstance(const std::function<void(FileWatchMonitor&)>& use);

    // Changes each file entity in turn, each under the lock. Ends when the monitor is to stop.
    void ForEachFile(const std::function<void(WatchedEntity&)>& change);
    // What the lists say of a file entry; the defaults where nobody can say.
    FileWatchParams ParamsOf(const std::wstring& entry) const;

    // FileWatchMonitorAdd.cpp. The wildcard and virtual forms give the number of entities; with
    // `skipSource` the source has the entry already. `stop` may be null.
    std::size_t AddWildCardFile(const std::wstring& path, FileWatchParams params, bool skipSource,
                                Event* stop);
    std::size_t AddVirtualFile(const std::wstring& path, FileWatchParams params, bool skipSource,
                               Event* stop);
    void AddPlainLogFile(const std::wstring& entry, const LogFileProperties& properties,
                         std::int32_t startOffset);
    std::size_t AddWildCardLogFile(const LogFileProperties& properties);
    std::size_t AddVirtualLogFile(const LogFileProperties& properties);
    static FileWatchParams LogParams();  // all that the source is told about a log's entry
    static WatchRequest RequestOf(const std::wstring& path, const FileWatchParams& params,
                                  std::int32_t mapIndex, const std::wstring& virtualEntry);
    // Asks the source to watch an entry, and takes it into the configured ones if it does.
    bool AcceptEntry(const std::wstring& entry, const FileWatchParams& params,
                     std::int32_t mapIndex, DebugFormat refusal);
    bool AcceptFiles(const std::wstring& path, FileWatchParams& params, bool skipSource);
    // A walk over the files of one entry.
    struct AddWalk {
        AddWalk(const std::wstring& configured, std::int32_t index,
                const EntityProperties& settings, std::int32_t recursionLevel, Event* stopEvent);
        const std::wstring& entry;
        const std::wstring mask;
        const std::int32_t mapIndex;
        const EntityProperties properties;
        const std::int32_t level;
        WalkProgress progress;
        std::size_t added = 0;  // paths with an entity
    };
    void AddMatches(AddWalk& walk, const std::wstring& directory, const std::wstring& virtualName);
    void AddInstances(AddWalk& walk);  // of a virtual entry
    // Adds an entity and its row; false without an entity.
    bool AddEntityOf(const std::wstring& path, const std::wstring& entry, std::int32_t mapIndex,
                     const EntityProperties& properties, const std::wstring& virtualName);
    // The entity of the path, made if there is none; null for a path that does not exist. The table
    // owns it. Made outside the lock, unless the caller holds that already.
    WatchedEntity* AddWatchedEntity(const std::wstring& path, std::int32_t mapIndex,
                                    bool readFromStart, const EntityProperties& properties,
                                    const std::wstring& virtualName);
    // How deep an entry reaches: with polling alone, on a volume that is no fixed disk, a mask
    // with letters in it reaches its own folder only.
    std::int32_t RecursionLevelOf(const std::wstring& directory, const std::wstring& mask,
                                  std::int32_t level) const;

    // The same for an entry of either table. A log's has one level, and so has a virtual one
    // without a wildcard in its mask.
    std::int32_t LevelOf(const WatchedPathSpec& entry, std::int32_t mapIndex,
                         std::int32_t level) const;

    // FileWatchMonitorRemove.cpp
    std::size_t RemoveEntry(const std::wstring& path, const FileWatchParams& params,
                            std::int32_t mapIndex);
    bool ForgetEntry(const std::wstring& entry, std::int32_t mapIndex);  // a configured one
    // The rows of an entry with wildcards.
    std::vector<EntityTable::Row> RowsOf(const WatchedPathSpec& spec, const std::wstring& entry,
                                         std::int32_t mapIndex);
    void RemoveWatchedEntity(const std::wstring& path, std::int32_t mapIndex);  // of one table
    void UnlinkPath(const std::wstring& path, const std::wstring& entry, std::int32_t mapIndex);

    // FileWatchMonitorMounts.cpp
    void ExMount(const std::wstring& path, std::int32_t processId, std::span<const std::byte> user,
                 const std::wstring& process);
    void ExUnMount(const std::wstring& path, std::int32_t processId,
                   std::span<const std::byte> user, const std::wstring& process);
    void RefreshMounts();
    std::vector<std::wstring> EntriesBelow(const std::wstring& path);  // of files, a copy
    std::size_t MountEntry(const std::wstring& entry, const std::wstring& mount, Event& stop);
    void MountVirtualEntry(AddWalk& walk, const FileWatchParams& params, const std::wstring& mount);
    std::size_t UnmountEntry(const std::wstring& entry, const std::wstring& mount, Event& stop);
    void ProcessUnmount(const std::wstring& path, Event& stop);
    void HandlePolledMount(WatchedEntity* entity, FileNotificationInfo& note) REQUIRES(*lock_);
    // What the entry of a mounted path says, as far as notification and entity know.
    static FileWatchParams ParamsOf(const WatchedEntity* entity, const FileNotificationInfo& note);
    void RefreshEntities(const std::wstring& entry, std::int32_t recursionLevel) REQUIRES(*lock_);

    // FileWatchMonitorEvents.cpp: the monitor's thread, with the lock held.
    struct Association {
        bool isCovered = false;
        bool isOnItsWayOut = false;  // an entry may cover it that is to be removed
        FileWatchParams params;      // of a file: those of the last entry that covers it
    };
    // Of a file that the filter saw being made; nothing for one that has rows already.
    std::optional<Association> AssociateCreated(FileNotificationInfo& note) REQUIRES(*lock_);
    void Dispatch(WatchedEntity* entity, FileNotificationInfo& note) REQUIRES(*lock_);
    // The entity that the notification concerns, made if its path is watched; null for a path that
    // is not there. May change the action into what it comes to. `known` is what was associated
    // with the path before.
    WatchedEntity* ResolveEntity(FileNotificationInfo& note,
                                 const std::optional<Association>& known) REQUIRES(*lock_);
    bool IsBesideInstances(const std::wstring& path, std::int32_t listId) REQUIRES(*lock_);
    bool IsOfLogsAlone(const FileNotificationInfo& note);
    // AddWatchedEntity with what the lists say of the path. Without an entity its rows go.
    WatchedEntity* AddFoundEntity(const std::wstring& path, std::int32_t mapIndex,
                                  bool readFromStart, const FileWatchParams& params,
                                  const std::wstring& virtualName) REQUIRES(*lock_);
    void ForgetRows(const std::wstring& path, std::int32_t mapIndex) REQUIRES(*lock_);
    // Hands the notification to the entity and its events on. Null does nothing. The entity need
    // not be in a table.
    void Deliver(WatchedEntity* entity, FileNotificationInfo& note) REQUIRES(*lock_);
    void DeliverAs(FileAction action, WatchedEntity* entity, FileNotificationInfo& note)
        REQUIRES(*lock_);
    void Drain() REQUIRES(*lock_);  // the pending events
    // The configured file entry that is not less than the path; no prefix of it need be.
    std::wstring ConfiguredEntryFor(const std::wstring& path) REQUIRES(*lock_);

    // FileWatchMonitorRename.cpp: likewise. `entity` is that of the old path, or null.
    void HandleRename(WatchedEntity* entity, std::int32_t mapIndex, FileNotificationInfo& note)
        REQUIRES(*lock_);
    void LeaveOldPath(WatchedEntity* entity, std::int32_t mapIndex, FileNotificationInfo& note)
        REQUIRES(*lock_);

    // FileWatchMonitorVirtual.cpp: likewise.
    //
    // Makes a row for each configured entry that covers the path. A folder that a virtual entry's
    // token stands for is taken into the watch with its files; `note`, if given, tells their
    // entities of it.
    Association AssociateEntry(const std::wstring& path, std::int32_t mapIndex,
                               FileNotificationInfo* note) REQUIRES(*lock_);
    bool IsCoveredBy(const std::wstring& entry, const FileWatchParams& params,
                     const std::wstring& path, std::int32_t mapIndex, FileNotificationInfo* note)
        REQUIRES(*lock_);
    bool IsStillListed(const std::wstring& entry, std::int32_t mapIndex) const;
    FileWatchParams EntryParams(const std::wstring& entry, std::int32_t mapIndex) const;
    bool AddInstance(const VirtualPathSpec& spec, const FileWatchParams& params,
                     const std::wstring& instance, std::int32_t mapIndex,
                     FileNotificationInfo* note) REQUIRES(*lock_);
    // The path has gone: so has its entity, and where it was an instance of virtual entries, what
    // they have asked for below it.
    void EntityGone(const std::wstring& path, std::int32_t mapIndex, FileNotificationInfo& note)
        REQUIRES(*lock_);
    // The folders of a removed entry's instances go. Takes the lock.
    void ForgetInstances(const VirtualPathSpec& spec, std::int32_t mapIndex);
    // False if the entry's token does not stand for the path. `note` tells the files.
    bool VirtualDirectoryGone(const std::wstring& entry, std::int32_t mapIndex,
                              const std::wstring& path, FileNotificationInfo& note)
        REQUIRES(*lock_);
    void DeletedDirectoryWalk(const std::wstring& directory, std::int32_t mapIndex,
                              FileNotificationInfo& note, const WatchedPathSpec& spec)
        REQUIRES(*lock_);

    // FileWatchMonitorFilter.cpp: the filter's thread, under the gate that WithInstance holds.
    void TakeFilterEvent(const IPSFilterEvent& event);

    void OpenConfiguration();

    // FileWatchMonitorState.cpp
    class Restore;
    // Both give whether the file holds the whole state.
    bool Save(StateFileOutput& output);
    bool WriteState(StateFileOutput& output);
    void WriteEntities(std::ostream& stream, std::int32_t mapIndex) REQUIRES(*lock_);

    const std::unique_ptr<Lock> lock_;
    EventStore& events_;
    WatchLists* const lists_;
    std::atomic<bool> stop_{false};                  // ends the wait for the configuration
    const std::unique_ptr<Lock> configurationLock_;  // held over nothing else
    std::atomic<bool> configurationPending_{false};  // changed under that lock
    // Configurations of which an item is queued and the last one not yet done, and whether items
    // that are queued now belong to the newest of them.
    std::uint32_t openConfigurations_ GUARDED_BY(*configurationLock_) = 0;
    bool isQueueingConfiguration_ GUARDED_BY(*configurationLock_) = false;
    std::atomic<bool> isRestorePending_{false};
    std::array<Md5Digest, watchFiles::kWatchLists.size()> digests_ GUARDED_BY(*lock_){};
    std::array<bool, 2> hasDigests_ GUARDED_BY(*lock_){};  // for each index
    std::uint32_t defaultRecursionLevel_ GUARDED_BY(*lock_) = 0;
    std::array<EntityTable, 2> tables_ GUARDED_BY(*lock_);
    EventList pending_ GUARDED_BY(*lock_);  // filled by entities, drained at once
    DirectEventRecorder recorder_ GUARDED_BY(*lock_);
    std::unique_ptr<MountManager> mounts_;
    std::unique_ptr<FileEventSource> source_;
    std::unique_ptr<FileWatchInit> workItems_;
    std::unique_ptr<FilterEventDecoder> decoder_;
    std::unique_ptr<RealTimeFilter> filter_;
    std::atomic<bool> isFilterAsked_{false};  // to start, by Start
    std::atomic<std::uint32_t> driverEvents_{0};
    std::unique_ptr<Thread> thread_ GUARDED_BY(*lock_);
    const Registration registration_;
};

}  // namespace lathwind
