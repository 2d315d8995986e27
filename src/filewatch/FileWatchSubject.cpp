#include "filewatch/FileWatchSubject.h"

#include <algorithm>
#include <utility>

#include "filewatch/EntryKind.h"
#include "filewatch/StateFile.h"
#include "plugins/DiffModule.h"
#include "utils/AgentInfo.h"
#include "utils/Logging.h"
#include "utils/StatisticsReport.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr std::size_t kFileDigests = 2;  // of the digests the first belong to the file lists
constexpr int kReadingsAgain = 5;        // of a list that cannot be read at the start
constexpr std::int32_t kReadAgainMs = 1000;

namespace row {
constexpr int EventsCollectedBy = 175;
constexpr int EventsDropped = 212;
constexpr int PathsInvalid = 287;   // FWC_0018
constexpr int PathsTooLong = 344;   // FWC_0020
constexpr int EntriesTooDeep = 42;  // FWC_0032
}  // namespace row

std::wstring join(const std::vector<RefusedEntry>& entries, RefusalReason reason) {
    std::wstring text;
    for (const RefusedEntry& entry : entries) {
        if (entry.reason == reason) {
            text.append(text.empty() ? L"" : L"\n").append(entry.path);
        }
    }
    return text;
}

// One message for each reason.
void warnOf(const std::vector<RefusedEntry>& refused) {
    if (const std::wstring paths = join(refused, RefusalReason::TooLong); !paths.empty()) {
        logCataloguedList(Severity::Warning, kModule, row::PathsTooLong,
                          WatchListReader::kMaxPathUnits, paths);
    }
    if (const std::wstring paths = join(refused, RefusalReason::Invalid); !paths.empty()) {
        logCatalogued(Severity::Warning, kModule, row::PathsInvalid, paths);
    }
    if (const std::wstring paths = join(refused, RefusalReason::TooDeep); !paths.empty()) {
        logCatalogued(Severity::Warning, kModule, row::EntriesTooDeep,
                      WatchListReader::kMaxRecursionLevel, paths);
    }
}

// The label takes no part: it goes to events, and a change of it is not worth a new look at every
// file of the list.
bool isWatchedTheSame(const FileWatchParams& first, const FileWatchParams& second) {
    return first.listId == second.listId && first.recursionLevel == second.recursionLevel &&
           first.checksum == second.checksum && first.monitorAccessTime == second.monitorAccessTime;
}

// A log entry covers the files that its mask matches in its own folder, or, if it is a virtual one,
// in that of each instance.
std::unique_ptr<WatchedPathSpec> specOf(const std::wstring& entry) {
    return kindOfEntry(entry) == EntryKind::Plain ? nullptr : makeEntrySpec(entry, 1);
}

}  // namespace

FileWatchSubject::FileWatchSubject()
    : EventSourceSubject(L"File Collector"),
      loadLock_(platformFactory.createLock()),
      lock_(platformFactory.createLock()),
      stopReading_(platformFactory.createEvent(std::wstring())),
      lateLock_(platformFactory.createLock()) {}

FileWatchSubject::~FileWatchSubject() {
    Stop();
    monitor_.reset();
    if (diffModule() == &fileDiff_) {
        setDiffModule(nullptr);
    }
}

bool FileWatchSubject::Initialize(FileWatchMonitor::Parts parts) {
    CreateMonitor(std::move(parts));
    startThread(L"FileWatchSubject");
    return true;
}

void FileWatchSubject::CreateMonitor(FileWatchMonitor::Parts parts) {
    const AgentInfoRef settings;
    settings->collectors().setState(collectorBit::File, collectorState::Starting);
    setLimit(settings->fileEventsLimit());
    setDiffModule(&fileDiff_);
    monitor_ = std::make_unique<FileWatchMonitor>(*this, this, std::vector<std::wstring>(),
                                                  std::move(parts));
}

void FileWatchSubject::Stop() {
    const bool wasRunning = isRunning();
    {
        const ScopedLock guard(*lateLock_);
        stop_.store(true);
    }
    stopReading_->set();
    stopThread();
    if (monitor_ != nullptr) {
        monitor_->Stop();  // a thread that died has left it running
    }
    if (wasRunning) {
        Drain();
    }
}

void FileWatchSubject::run() {
    {
        Lists lists = ReadLists();
        const ScopedLock guard(*loadLock_);
        TakeLists(std::move(lists));
        monitor_->EnQueueDeserialize();
        monitor_->EnQueueFinalizeConfig();
    }
    monitor_->Start();
    AgentInfoRef()->collectors().setState(collectorBit::File, collectorState::Started);
    while (step(kWaitForever)) {
    }
    monitor_->Stop();
    debugLog(kModule, L"Exiting TermEvent Set");
}

// The monitor is stopped behind the store, and its last notifications have changed what will be
// saved: their events would be missing for good.
PushResult FileWatchSubject::Offer(std::unique_ptr<IDSEvent> event) {
    const ScopedLock guard(*lateLock_);
    if (!stop_.load()) {
        return offer(std::move(event));
    }
    if (lateEvents_.size() >= queueState().limit) {
        return PushResult::Full;
    }
    lateEvents_.push_back(std::move(event));
    return PushResult::Stored;
}

bool FileWatchSubject::HasRoomFor(std::size_t events) const {
    const QueueState state = queueState();
    return state.count <= state.limit &&
           std::min<std::size_t>(events, state.limit) <= state.limit - state.count;
}

std::unique_ptr<IDSEvent> FileWatchSubject::nextEvent() {
    if (auto event = EventSourceSubject::nextEvent()) {
        return event;
    }
    const ScopedLock guard(*lateLock_);
    if (lateEvents_.empty()) {
        return nullptr;
    }
    auto event = std::move(lateEvents_.front());
    lateEvents_.pop_front();
    return event;
}

void FileWatchSubject::LoadConfiguration() {
    Lists lists = ReadLists();
    const ScopedLock guard(*loadLock_);
    TakeLists(std::move(lists));
}

// Without one of its lists the configuration is not the one of the saved state, and the history of
// all that is watched would be lost. Who holds a file (whoever writes it, a scanner) does so for a
// moment as a rule.
FileWatchSubject::Lists FileWatchSubject::ReadLists() const {
    const WatchListReader reader(&stop_);
    Lists lists{reader.LoadLogLists(), reader.LoadFileLists()};
    for (int again = kReadingsAgain; again > 0 && (lists.logs.isUnread || lists.files.isUnread) &&
                                     stopReading_->wait(kReadAgainMs, false) == WaitResult::TimeOut;
         --again) {
        lists = {reader.LoadLogLists(), reader.LoadFileLists()};
    }
    return lists;
}

// Logs first: their items then stand before those of the files.
void FileWatchSubject::TakeLists(Lists lists) {
    isLoaded_ = true;
    // A reading that was stopped is not applied: what it has not seen is still there.
    if (monitor_ == nullptr || stop_.load()) {
        return;
    }
    unreadLists_.store((lists.logs.isUnread ? kLogLists : 0) |
                       (lists.files.isUnread ? kFileLists : 0));
    TakeLogLists(lists.logs);
    TakeFileLists(std::move(lists.files));
    SetDigests(kFileLists | kLogLists);
}

// Everything is read before anything is applied.
bool FileWatchSubject::Reconfigure(std::uint32_t lists) {
    const ScopedLock guard(*loadLock_);
    if (!isLoaded_ || monitor_ == nullptr || monitor_->IsRestorePending()) {
        return false;
    }
    const WatchListReader reader(&stop_);
    const bool hasLogs = (lists & kLogLists) != 0;
    const bool hasFiles = (lists & kFileLists) != 0;
    const LogWatchLists logs = hasLogs ? reader.LoadLogLists() : LogWatchLists();
    FileWatchLists files = hasFiles ? reader.LoadFileLists() : FileWatchLists();
    if (logs.isUnread || files.isUnread || stop_.load()) {
        return false;
    }
    if (hasLogs) {
        TakeLogLists(logs);
    }
    if (hasFiles) {
        TakeFileLists(std::move(files));
    }
    // Behind the lists: what they change has made the configuration pending by now, and a state
    // saved in between does not claim to belong to lists that are not in force yet.
    SetDigests(lists);
    monitor_->EnQueueFinalizeConfig();
    return true;
}

void FileWatchSubject::SetDigests(std::uint32_t lists) {
    const auto digests = digestWatchLists();
    const std::span<const Md5Digest> all(digests);
    if ((lists & kFileLists) != 0) {
        monitor_->SetDigests(all.first(kFileDigests), FileWatchMonitor::kFileIndex);
    }
    if ((lists & kLogLists) != 0) {
        monitor_->SetDigests(all.subspan(kFileDigests), FileWatchMonitor::kLogIndex);
    }
}

void FileWatchSubject::TakeFileLists(FileWatchLists lists) {
    for (const WatchListReport& report : lists.reports) {
        warnOf(report.refused);
    }
    monitor_->GetSource().SetPollingIntervals(lists.listIds);
    ApplyFileLists(std::move(lists.entries), lists.diffRules);
}

void FileWatchSubject::TakeLogLists(const LogWatchLists& lists) {
    std::vector<RefusedEntry> refused;
    for (const WatchListReport& report : lists.reports) {
        refused.insert(refused.end(), report.refused.begin(), report.refused.end());
    }
    warnOf(refused);
    ApplyLogLists(lists.entries);
}

// The new entries are there before the first item is queued: whoever does it may ask for them.
void FileWatchSubject::ApplyFileLists(FileEntries entries, const std::vector<DiffRule>& rules) {
    fileDiff_.configure(rules);
    FileEntries removed;
    FileEntries added;
    {
        const ScopedLock guard(*lock_);
        removed = fileEntries_;
        for (const auto& [path, params] : entries) {
            const auto present = removed.find(path);
            if (present != removed.end() && isWatchedTheSame(present->second, params)) {
                removed.erase(present);
            } else {
                added.emplace(path, params);
            }
        }
        fileEntries_ = std::move(entries);
    }
    for (const auto& [path, params] : removed) {
        monitor_->EnQueueRemove(path, params, FileWatchMonitor::kFileIndex);
        // The source's row may have been the log's as well.
        if (LogFileProperties log; FindLogProperties(path, &log)) {
            monitor_->EnQueueAddLog(log, WorkItemTarget::kNoOffset);
        }
    }
    for (const auto& [path, params] : added) {
        monitor_->EnQueueAdd(path, params);
    }
    monitor_->EnQueueUpdateFileDiffs();
}

void FileWatchSubject::ApplyLogLists(const LogEntries& entries) {
    struct Change {
        const LogFileProperties* properties;
        bool isThere;
    };
    std::map<std::wstring, ConfiguredLog> present;
    std::map<std::wstring, ConfiguredLog> next;
    std::vector<const ConfiguredLog*> masks;
    for (const auto& [path, properties] : entries) {
        const ConfiguredLog& log = next[path] = {properties, specOf(path)};
        if (log.spec != nullptr) {
            masks.push_back(&log);  // a map's elements stay where they are, also when it moves
        }
    }
    {
        const ScopedLock guard(*lock_);
        present = std::exchange(logEntries_, std::move(next));
        logMasks_ = std::move(masks);
    }
    std::vector<Change> changes;
    for (const auto& [path, properties] : entries) {
        const auto node = present.extract(path);
        if (node.empty() || !(node.mapped().properties == properties)) {
            changes.push_back({&properties, !node.empty()});
        }
    }
    for (const Change& change : changes) {
        if (change.isThere) {
            monitor_->EnQueueRemove(change.properties->GetFileName(), FileWatchParams(),
                                    FileWatchMonitor::kLogIndex);
        }
        monitor_->EnQueueAddLog(*change.properties, WorkItemTarget::kNoOffset);
    }
    for (const auto& [path, log] : present) {
        monitor_->EnQueueRemove(path, FileWatchParams(), FileWatchMonitor::kLogIndex);
    }
}

// The path's own entry comes before those that cover it, which are the few to be walked.
bool FileWatchSubject::FindLogProperties(const std::wstring& path, LogFileProperties* properties) {
    const ScopedLock guard(*lock_);
    const ConfiguredLog* log = nullptr;
    if (const auto own = logEntries_.find(path); own != logEntries_.end()) {
        log = &own->second;
    } else if (!hasWildcard(path)) {
        const auto mask = std::ranges::find_if(
            logMasks_, [&path](const ConfiguredLog* each) { return each->spec->Matches(path); });
        log = mask == logMasks_.end() ? nullptr : *mask;
    }
    if (log != nullptr && properties != nullptr) {
        *properties = log->properties;
    }
    return log != nullptr;
}

bool FileWatchSubject::GetFileParams(const std::wstring& entry, FileWatchParams* params) {
    const ScopedLock guard(*lock_);
    const auto found = fileEntries_.find(entry);
    if (found == fileEntries_.end()) {
        return false;
    }
    if (params != nullptr) {
        *params = found->second;
    }
    return true;
}

std::wstring FileWatchSubject::GetStatistics() const {
    std::wstring line = StatisticsReport::paddedLabel(getMessage(row::EventsCollectedBy) + name());
    line += std::to_wstring(eventCount());
    if (const std::uint32_t dropped = queueState().dropped; dropped != 0) {
        appendFormat(line, L"(%ls%u)", getMessage(row::EventsDropped), dropped);
    }
    if (monitor_ == nullptr) {
        return line;
    }
    std::uint64_t diffKb = 0;
    const std::uint32_t diffs = monitor_->GetDiffEntityCount(&diffKb);
    const FileEventSource& source = monitor_->GetSource();
    appendFormat(
        line, L" (Files : %u Logs : %u Diffs : %u  @ %u KB RT Trig : %u Poll Trig : %u/%u)",
        monitor_->GetWatchedFileCount(), monitor_->GetWatchedLogCount(), diffs, diffKb,
        monitor_->GetDriverEventCount(), source.GetNotificationCount(), source.GetPolledCount());
    return line;
}

}  // namespace lathwind
