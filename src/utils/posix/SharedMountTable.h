#pragma once

#include <chrono>
#include <memory>

#include "utils/ThreadAnnotations.h"
#include "utils/posix/Descriptor.h"
#include "utils/posix/MountTable.h"
#include "utils/posix/Mutex.h"

namespace lathwind::posix {

// The mounts of this process, read once for many questions: a look at all of them asks several
// about each. Any thread; who has a table may keep it.
class SharedMountTable {
public:
    using Clock = std::chrono::steady_clock;
    using Pointer = std::shared_ptr<const MountTable>;
    // Where the kernel does not tell of changes, a table is no older than this.
    static constexpr std::chrono::seconds kLongestAge{1};

    // The mounts as they are now.
    Pointer read(Clock::time_point now = Clock::now());
    // The table that was read last, unless the kernel tells that something was mounted or
    // unmounted since (proc(5)), or it has come of age.
    Pointer get(Clock::time_point now = Clock::now());

private:
    bool askChanged() REQUIRES(mutex_);
    Pointer readNow(Clock::time_point now) REQUIRES(mutex_);

    Mutex mutex_;
    Descriptor watch_ GUARDED_BY(mutex_);  // on mountinfo; polled, never read
    Pointer table_ GUARDED_BY(mutex_);     // null until it was read
    Clock::time_point readAt_ GUARDED_BY(mutex_);
};

}  // namespace lathwind::posix
