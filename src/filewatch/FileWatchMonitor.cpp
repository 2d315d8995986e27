#include "filewatch/FileWatchMonitor.h"

#include <algorithm>
#include <utility>

#include "filewatch/FilterEventDecoder.h"
#include "filewatch/RealTimeFilter.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/windows/WinFileWatcher.h"
#include "filewatch/windows/WinMountManager.h"
#include "plugins/FileDiffState.h"
#include "utils/AgentInfo.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;
constexpr int kConfigurationFinalMessage = 47;
// Of the five digests the first two belong to the file lists.
constexpr std::size_t kFileLists = 2;
constexpr std::int32_t kHighProtectionList = 1;

// The filter's callback may come at any time, also after the last static object has gone.
Lock& instanceGate() {
    static Lock* const gate = platformFactory.createLock().release();
    return *gate;
}
FileWatchMonitor* instance = nullptr;  // under the gate

}  // namespace

FileWatchMonitor::Registration::Registration(FileWatchMonitor& monitor) : monitor_(monitor) {
    const ScopedLock guard(instanceGate());
    instance = &monitor_;
}

FileWatchMonitor::Registration::~Registration() {
    const ScopedLock guard(instanceGate());
    if (instance == &monitor_) {
        instance = nullptr;
    }
}

void FileWatchMonitor::WithInstance(const std::function<void(FileWatchMonitor&)>& use) {
    const ScopedLock guard(instanceGate());
    if (instance != nullptr) {
        use(*instance);
    }
}

FileWatchMonitor::Parts FileWatchMonitor::MakeParts() {
    return {CreateFileEventSource(), std::make_unique<WinMountManager>()};
}

FileWatchMonitor::FileWatchMonitor(EventStore& events, WatchLists* lists,
                                   const std::vector<std::wstring>& paths, Parts parts)
    : lock_(platformFactory.createLock()),
      events_(events),
      lists_(lists),
      configurationLock_(platformFactory.createLock()),
      mounts_(std::move(parts.mounts)),
      source_(std::move(parts.source)),
      workItems_(std::make_unique<FileWatchInit>(this)),
      decoder_(std::make_unique<FilterEventDecoder>()),
      filter_(std::make_unique<RealTimeFilter>()),
      registration_(*this) {
    source_->SetMonitor(this);
    source_->SetMountManager(mounts_.get());
    if (mounts_ != nullptr) {
        mounts_->SetSpecFinder(source_.get());
    }
    const auto neverStopped = platformFactory.createEvent(std::wstring());
    FileWatchParams params;
    params.listId = kHighProtectionList;
    if (!paths.empty()) {
        source_->SetPollingIntervals({params.listId});  // no path comes on a list that is not there
    }
    for (const std::wstring& path : paths) {
        FileWatchMonitor::AddFile(path, params, *neverStopped);
    }
}

FileWatchMonitor::~FileWatchMonitor() {
    Stop();
}

void FileWatchMonitor::Start() {
    stop_.store(false);
    isFilterAsked_.store(true);
    StartIPSFilter();
    {
        const ScopedLock guard(*lock_);
        if (thread_ == nullptr) {
            thread_ = platformFactory.createThread(*this);
            thread_->start(L"FileMonitorThread");
        }
    }
    source_->Start();
    workItems_->Start();
}

// The thread is waited for without the lock, which it needs for its last notification.
void FileWatchMonitor::Stop() {
    // Once for each start: a library need not take a second stop well. One that refused is asked
    // again.
    if (isFilterAsked_.exchange(false) || filter_->GetStarted() != nullptr) {
        StopIPSFilter();
    }
    stop_.store(true);
    workItems_->Stop();
    {
        // The items that would have ended them are gone. The flag stays: so does what was lost.
        const ScopedLock guard(*configurationLock_);
        openConfigurations_ = 0;
        isQueueingConfiguration_ = false;
    }
    Thread* thread = nullptr;
    {
        const ScopedLock guard(*lock_);
        thread = thread_.get();
    }
    source_->Stop();
    if (thread == nullptr) {
        return;
    }
    thread->wait();
    {
        const ScopedLock guard(*lock_);
        thread_.reset();
    }
    Serialize();
}

bool FileWatchMonitor::IsRunning() const {
    const ScopedLock guard(*lock_);
    return thread_ != nullptr && thread_->isRunning();
}

void FileWatchMonitor::SetDigests(std::span<const Md5Digest> digests, std::int32_t index) {
    const AgentInfoRef settings;
    const ScopedLock guard(*lock_);
    const std::size_t first = index == 0 ? 0 : kFileLists;
    const std::size_t most = index == 0 ? kFileLists : digests_.size() - kFileLists;
    digests = digests.first(std::min(digests.size(), most));
    const std::span<Md5Digest> present = std::span(digests_).subspan(first, digests.size());
    const bool isChange =
        std::exchange(hasDigests_[static_cast<std::size_t>(index == 0 ? kFileIndex : kLogIndex)],
                      true) &&
        !std::ranges::equal(digests, present);
    std::ranges::copy(digests, present.begin());
    if (isChange) {
        WinFileWatcher::SetDirty(true);  // the saved state is of lists that are not in force
    }
    if (index == 0) {
        defaultRecursionLevel_ = settings->recursionLevel();
    }
}

void FileWatchMonitor::SetConfigurationPending(bool pending) {
    {
        const ScopedLock guard(*configurationLock_);
        const bool isOneOfSeveral =
            !pending && openConfigurations_ != 0 && --openConfigurations_ != 0;
        if (isOneOfSeveral || configurationPending_.exchange(pending) == pending) {
            return;
        }
    }
    if (pending) {
        debugLog(kModule, L"FileWatch configuration pending flag is set.");
    } else {
        logCatalogued(Severity::Status, kModule, kConfigurationFinalMessage, GetWatchedFileCount(),
                      GetWatchedLogCount());
    }
}

// At once, ahead of the first item: a state saved before that is done belongs to no list in force.
void FileWatchMonitor::OpenConfiguration() {
    {
        const ScopedLock guard(*configurationLock_);
        if (!std::exchange(isQueueingConfiguration_, true)) {
            ++openConfigurations_;
        }
    }
    SetConfigurationPending(true);
}

// Pending from here on: whatever the lists hold, nothing is final before the restore.
void FileWatchMonitor::EnQueueDeserialize() {
    isRestorePending_.store(true);
    OpenConfiguration();
    workItems_->EnQueueDeserialize(std::wstring(watchFiles::kStateFile));
}

void FileWatchMonitor::EnQueueAdd(const std::wstring& path, const FileWatchParams& params) {
    OpenConfiguration();
    workItems_->EnQueueAdd(path, params);
}

void FileWatchMonitor::EnQueueAddLog(const LogFileProperties& properties,
                                     std::int32_t startOffset) {
    OpenConfiguration();
    workItems_->EnQueueAddLog(properties, startOffset);
}

void FileWatchMonitor::EnQueueRemove(const std::wstring& path, const FileWatchParams& params,
                                     std::int32_t mapIndex) {
    OpenConfiguration();
    workItems_->EnQueueRemove(path, params, mapIndex);
}

void FileWatchMonitor::EnQueueUpdate() {
    workItems_->EnQueueUpdate();
}

void FileWatchMonitor::EnQueueUpdateFileDiffs() {
    workItems_->EnQueueUpdateFileDiffs();
}

// One that changes nothing counts too, since its item is done like any other, but sets no flag.
void FileWatchMonitor::EnQueueFinalizeConfig() {
    {
        const ScopedLock guard(*configurationLock_);
        if (!std::exchange(isQueueingConfiguration_, false)) {
            ++openConfigurations_;
        }
    }
    workItems_->EnQueueFinalizeConfig();
}

void FileWatchMonitor::UpdateAll() {
    ForEachFile([](WatchedEntity& entity) { entity.UpdateEntity(false); });
}

void FileWatchMonitor::UpdateFileDiffs() {
    ForEachFile([](WatchedEntity& entity) { entity.PrepareDiff(); });
}

// Entity by entity: notifications go on between two of them.
void FileWatchMonitor::ForEachFile(const std::function<void(WatchedEntity&)>& change) {
    std::vector<InternedText> paths;
    {
        const ScopedLock guard(*lock_);
        paths = TableOf(kFileIndex).GetEntityPaths();
    }
    for (const std::wstring& path : paths) {
        if (stop_.load()) {
            return;
        }
        const ScopedLock guard(*lock_);
        if (WatchedEntity* const entity = TableOf(kFileIndex).Find(path)) {
            change(*entity);
            TableOf(kFileIndex).Publish(path);
        }
    }
}

// Without the lock: what was published has one of its own.
LastKnownState FileWatchMonitor::GetAttributes(const std::wstring& path, std::int32_t listId) {
    return TableOf(mapIndexOfList(listId)).GetLastKnown(path);
}

WatchedEntity* FileWatchMonitor::GetEntity(const std::wstring& path, std::int32_t mapIndex) {
    const ScopedLock guard(*lock_);
    return TableOf(mapIndex).Find(path);
}

std::uint32_t FileWatchMonitor::GetWatchedFileCount() const {
    const ScopedLock guard(*lock_);
    return static_cast<std::uint32_t>(tables_[kFileIndex].CountEntities());
}

std::uint32_t FileWatchMonitor::GetWatchedLogCount() const {
    const ScopedLock guard(*lock_);
    return static_cast<std::uint32_t>(tables_[kLogIndex].CountEntities());
}

std::uint32_t FileWatchMonitor::GetDiffEntityCount(std::uint64_t* totalKb) const {
    constexpr int kBytesToKb = 10;
    std::uint32_t count = 0;
    std::uint64_t kilobytes = 0;
    const ScopedLock guard(*lock_);
    tables_[kFileIndex].ForEachEntity([&](const WatchedEntity& entity) {
        const auto* file = dynamic_cast<const WatchedFile*>(&entity);
        const FileDiffState* const diff = file == nullptr ? nullptr : file->GetDiffState();
        if (diff != nullptr && diff->holdsContents()) {
            ++count;
            kilobytes += static_cast<std::uint64_t>(diff->contents->GetLength()) >> kBytesToKb;
        }
    });
    if (totalKb != nullptr) {
        *totalKb = kilobytes;
    }
    return count;
}

FileWatchParams FileWatchMonitor::ParamsOf(const std::wstring& entry) const {
    FileWatchParams params;
    if (lists_ != nullptr) {
        lists_->GetFileParams(entry, &params);
    }
    return params;
}

}  // namespace lathwind
