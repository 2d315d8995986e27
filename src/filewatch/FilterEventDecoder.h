#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "filewatch/FileNotificationInfo.h"
#include "filewatch/RecentKeys.h"

namespace lathwind {

struct IPSFilterEvent;  // filewatch/IPSFilterInterface.h

// What one event of the real-time filter comes to.
struct DecodedFilterEvent {
    enum class Mount { None, Mounted, Unmounted };

    std::unique_ptr<FileNotificationInfo> notification;  // null: nothing to be said
    // A volume's coming or going, to be queued as a work item. The notification, which is there
    // then, knows who did it.
    Mount mount = Mount::None;
    std::wstring path;     // of the event, as the filter spelled it
    std::wstring process;  // image of the acting process, empty when unknown
    std::wstring label;    // of the operation, for log lines
};

// Turns the filter's events into notifications, and keeps a process that accesses or deletes the
// same file again and again from being told each time: repeats within 15 seconds are dropped, and
// each repeat starts the 15 seconds anew.
//
// What the filter hands over is foreign: pointers may be null, texts endless, and the user may be
// no identifier. Nothing is kept of it and no more of a text is read than a path can be long.
// Memory is bounded (RecentKeys). One thread at a time.
class FilterEventDecoder {
public:
    static constexpr std::int64_t kRepeatSeconds = 15;
    static constexpr std::size_t kMostPathUnits = 32767;  // the system's own limit

    // Clock, process table and own process id are the platform's. Throws std::bad_alloc only.
    DecodedFilterEvent Decode(const IPSFilterEvent& event);

private:
    bool IsRepeat(const IPSFilterEvent& event, const std::wstring& path);

    RecentKeys recentAccesses_{kRepeatSeconds * 1000};
    RecentKeys recentDeletes_{kRepeatSeconds * 1000};
};

}  // namespace lathwind
