#include "utils/posix/SharedMountTable.h"

#include <fcntl.h>
#include <poll.h>

namespace lathwind::posix {

SharedMountTable::Pointer SharedMountTable::read(Clock::time_point now) {
    const MutexHolder guard(mutex_);
    askChanged();  // what has, is in what is read now
    return readNow(now);
}

SharedMountTable::Pointer SharedMountTable::get(Clock::time_point now) {
    const MutexHolder guard(mutex_);
    const bool hasChanged = askChanged();
    return hasChanged || table_ == nullptr || now - readAt_ >= kLongestAge ? readNow(now) : table_;
}

SharedMountTable::Pointer SharedMountTable::readNow(Clock::time_point now) {
    table_ = std::make_shared<const MountTable>(MountTable::ofProcess());
    readAt_ = now;
    return table_;
}

// Asked before the table is read, so that a change which comes meanwhile shows the next time.
bool SharedMountTable::askChanged() {
    if (!watch_) {
        watch_.reset(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
        return true;
    }
    pollfd question{watch_.get(), POLLPRI, 0};
    return ::poll(&question, 1, 0) > 0;
}

}  // namespace lathwind::posix
