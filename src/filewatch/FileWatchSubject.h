#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "events/EventSourceSubject.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/LogFileProperties.h"
#include "filewatch/WatchLists.h"

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

    // Makes the monitor and starts the thread, which reads the lists first. Always true.
    bool Initialize();
    // Ends the thread, which stops the monitor and thereby saves the state. Events that the
    // destination has not taken are handed on as far as it takes them, the rest is destroyed.
    void Stop();
    void run() override;

    // Reads lists anew and queues what changed. One thread at a time; after Initialize.
    void Reconfigure(std::uint32_t lists);

    bool FindLogProperties(const std::wstring& path, LogFileProperties* properties) override;
    bool GetFileParams(const std::wstring& entry, FileWatchParams* params) override;
    PushResult Offer(std::unique_ptr<IDSEvent> event) override;

    // The collector's line of the statistics report.
    std::wstring GetStatistics() const;
    FileWatchMonitor* GetMonitor() noexcept { return monitor_.get(); }  // null before Initialize

private:
    std::unique_ptr<FileWatchMonitor> monitor_;
};

}  // namespace lathwind
