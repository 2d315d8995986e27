#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "events/IDSEvent.h"
#include "utils/HighWaterQueue.h"

namespace lathwind {

class LogFileProperties;  // filewatch/LogFileProperties.h
struct FileWatchParams;   // filewatch/FileWatchParams.h

// What is configured, as the monitor looks it up. Any thread; the implementation's lock is held
// over nothing else.
class WatchLists {
public:
    virtual ~WatchLists() = default;
    // The properties of the log entry that is `path`, or that covers it where `path` has no
    // wildcard of its own. `properties` may be null.
    virtual bool FindLogProperties(const std::wstring& path, LogFileProperties* properties) = 0;
    // The parameters of a file entry. `params` may be null.
    virtual bool GetFileParams(const std::wstring& entry, FileWatchParams* params) = 0;
};

// Where the monitor's events go: the bounded store of the collector that owns it.
class EventStore {
public:
    virtual ~EventStore() = default;
    // The result of the checked push; a refused event is destroyed. Any thread.
    virtual PushResult Offer(std::unique_ptr<IDSEvent> event) = 0;
    // Would so many be taken now? More than the store ever holds count as what it holds, so that
    // who waits for room gets it once the consumer has caught up. Any thread.
    virtual bool HasRoomFor(std::size_t events) const = 0;
};

}  // namespace lathwind
