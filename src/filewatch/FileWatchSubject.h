#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "events/EventSourceSubject.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/LogFileProperties.h"
#include "filewatch/WatchListReader.h"
#include "filewatch/WatchLists.h"
#include "filewatch/WatchedPathSpec.h"
#include "plugins/FileDiff.h"

namespace lathwind {

// The collector of the file-watch engine: reads the five watch lists, queues what differs from
// what is configured, owns the monitor, and hands finished events on to its destination.
// docs/formats/file-watch-lists.md and log-watch-lists.md tell what the lists hold.
class FileWatchSubject : public EventSourceSubject, public WatchLists, public EventStore {
public:
    // Bits of Reconfigure.
    static constexpr std::uint32_t kFileLists = 1;
    static constexpr std::uint32_t kLogLists = 2;

    FileWatchSubject();
    ~FileWatchSubject() override;  // Stop()

    // Makes the monitor of the parts given and starts the thread, which reads the lists first.
    // Always true.
    bool Initialize(FileWatchMonitor::Parts parts = FileWatchMonitor::MakeParts());
    // What Initialize does without the thread, for those who go step by step.
    void CreateMonitor(FileWatchMonitor::Parts parts);
    // Reads all lists, queues what is to be watched, and tells the monitor the lists' digests. One
    // that is there and cannot be read is read again, a few times within seconds.
    void LoadConfiguration();
    // Ends the thread, which stops the monitor and thereby saves the state. Events that the
    // destination has not taken are handed on as far as it takes them, the rest is destroyed.
    void Stop();
    void run() override;

    // Reads lists anew and queues what changed. After Initialize; any thread: a reading waits for
    // the one that is under way.
    //
    // False if nothing was done, and is to be asked for again: the state has not been restored yet,
    // which belongs to the lists of the start, or one of the lists is there and cannot be read, and
    // then what it held stays watched.
    bool Reconfigure(std::uint32_t lists);
    // The bits of the lists that LoadConfiguration found and could not read, once.
    std::uint32_t TakeUnreadLists() noexcept { return unreadLists_.exchange(0); }

    bool FindLogProperties(const std::wstring& path, LogFileProperties* properties) override;
    bool GetFileParams(const std::wstring& entry, FileWatchParams* params) override;
    PushResult Offer(std::unique_ptr<IDSEvent> event) override;
    bool HasRoomFor(std::size_t events) const override;

    // The collector's line of the statistics report.
    std::wstring GetStatistics() const;
    FileWatchMonitor* GetMonitor() noexcept { return monitor_.get(); }  // null before Initialize

protected:
    std::unique_ptr<IDSEvent> nextEvent() override;

private:
    // A log entry, and what of it covers other paths: of a plain one nothing.
    struct ConfiguredLog {
        LogFileProperties properties;
        std::unique_ptr<WatchedPathSpec> spec;
    };

    struct Lists {
        LogWatchLists logs;
        FileWatchLists files;
    };
    Lists ReadLists() const;
    void TakeLists(Lists lists) REQUIRES(*loadLock_);
    void TakeFileLists(FileWatchLists lists) REQUIRES(*loadLock_);
    void TakeLogLists(const LogWatchLists& lists) REQUIRES(*loadLock_);
    void ApplyFileLists(FileEntries entries, const std::vector<DiffRule>& rules);
    void ApplyLogLists(const LogEntries& entries);
    void SetDigests(std::uint32_t lists);

    // Held until what lists change is queued, before any other.
    const std::unique_ptr<Lock> loadLock_;
    const std::unique_ptr<Lock> lock_;  // of the two maps, held over nothing else
    FileEntries fileEntries_ GUARDED_BY(*lock_);
    std::map<std::wstring, ConfiguredLog> logEntries_ GUARDED_BY(*lock_);
    std::vector<const ConfiguredLog*> logMasks_ GUARDED_BY(*lock_);  // those with a spec
    bool isLoaded_ GUARDED_BY(*loadLock_) = false;
    std::atomic<std::uint32_t> unreadLists_{0};
    const std::unique_ptr<Event> stopReading_;
    const std::unique_ptr<Lock> lateLock_;  // held over the offer of an event, before the store's
    std::atomic<bool> stop_{false};         // set under that lock
    // What the monitor's thread still made after the store had closed.
    std::deque<std::unique_ptr<IDSEvent>> lateEvents_ GUARDED_BY(*lateLock_);
    FileDiff fileDiff_;  // outlives the monitor, whose entities point into it
    std::unique_ptr<FileWatchMonitor> monitor_;
};

}  // namespace lathwind
