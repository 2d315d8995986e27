#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "filewatch/FileNotificationInfo.h"

namespace lathwind {

struct IPSFilterEvent;  // filewatch/IPSFilterInterface.h

// What one event of the real-time filter comes to.
struct DecodedFilterEvent {
    enum class Mount { None, Mounted, Unmounted };

    std::unique_ptr<FileNotificationInfo> notification;  // null: nothing to be said
    Mount mount = Mount::None;  // a volume's coming or going, to be queued as a work item
    std::wstring path;          // of the mount
    std::wstring process;
    std::wstring label;  // of the operation, for log lines
};

// Turns the filter's events into notifications, and keeps a process that accesses or deletes the
// same file again and again from being told each time: repeats within 15 seconds are dropped, and
// each repeat starts the 15 seconds anew. Memory is bounded by the keys of the last 15 seconds.
//
// One thread at a time.
class FilterEventDecoder {
public:
    static constexpr std::int64_t kRepeatSeconds = 15;

    // The event's strings are copied. Clock, process table and own process id are the platform's.
    DecodedFilterEvent Decode(const IPSFilterEvent& event);
};

}  // namespace lathwind
