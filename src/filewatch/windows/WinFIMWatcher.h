#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>

#include "utils/platform/Threading.h"

namespace lathwind {

class IPSFilterInterface;  // filewatch/IPSFilterInterface.h

// Tells the real-time filter which paths to watch. Without a filter, and for what the filter does
// not take, the answer is false and the path goes to polling.
//
// Called by the threads that change what is watched. The lock guards the set alone: the library is
// called without it.
class WinFIMWatcher {
public:
    WinFIMWatcher();

    // Not owned; null until the filter has started. Any thread.
    void SetInterface(IPSFilterInterface* filter) noexcept { filter_.store(filter); }
    bool IsActive() const noexcept { return filter_.load() != nullptr; }

    // False for a path of a network, one that the system code page cannot express, one that is
    // watched already with the same level and flag, and one that the filter refuses. What is
    // watched already is counted: the filter forgets it with the last of the removals.
    bool AddFileToWatch(const std::wstring& path, std::int32_t recursionLevel,
                        bool monitorAccessTime);
    bool RemoveFileToWatch(const std::wstring& path, std::int32_t recursionLevel,
                           bool monitorAccessTime);

private:
    // Path, recursion level, and whether the access time is monitored.
    using Watched = std::tuple<std::wstring, std::int32_t, bool>;

    // Counts one more who watches the entry; false when there is nobody yet.
    bool JoinWatched(const Watched& entry);
    // Counts one less; false when that is the last one, or nobody.
    bool LeaveWatched(const Watched& entry);

    std::atomic<IPSFilterInterface*> filter_{nullptr};
    const std::unique_ptr<Lock> lock_;
    std::map<Watched, std::uint32_t> watched_ GUARDED_BY(*lock_);  // and how often it was added
};

}  // namespace lathwind
