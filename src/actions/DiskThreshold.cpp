#include "actions/DiskThreshold.h"

#include <algorithm>

#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr int kLoggingStoppedRow = 243;
constexpr int kLoggingResumedRow = 255;

}  // namespace

void DiskThreshold::setIntervals(std::uint32_t seconds, std::uint32_t events) {
    interval_ = seconds;
    count_ = events;
}

void DiskThreshold::setThresholds(std::uint32_t lower, std::uint32_t upper) {
    lower_ = lower;
    upper_ = upper;
}

void DiskThreshold::reset() {
    lastCheck_ = 0;
    events_ = 0;
}

bool DiskThreshold::enabled() const {
    return lower_ != 0 && upper_ != 0 && (interval_ != 0 || count_ != 0);
}

std::int64_t DiskThreshold::currentTime() {
    return platform::host().currentTimeMs() / 1000;
}

bool DiskThreshold::isDue(std::int64_t now) const {
    // A clock that was set back must not keep the state frozen.
    return (interval_ != 0 && (now < lastCheck_ || now - lastCheck_ >= interval_)) ||
           (count_ != 0 && events_ >= count_);
}

bool DiskThreshold::check(bool force) {
    if (!enabled()) {
        return false;
    }
    ++events_;
    const std::int64_t now = currentTime();
    if (!force && !isDue(now)) {
        return false;
    }
    lastCheck_ = now;
    events_ = 0;
    const std::uint32_t used = usedPercent();
    if (used == 0) {
        return false;
    }
    const bool exceeded = used >= (exceeded_ ? lower_ : upper_);
    if (exceeded == exceeded_) {
        return false;
    }
    exceeded_ = exceeded;
    report();
    return true;
}

std::uint32_t FileDiskThreshold::usedPercent() {
    platform::VolumeSpace space;
    if (!FileIO::Exists(path_) ||
        platform::volumes().space(path_, space) != platform::error::Success || space.total == 0) {
        return 0;
    }
    // An empty volume answers 1: with 0, which says nothing, logging would not go on there.
    const std::uint64_t used = space.total - std::min(space.free, space.total);
    return std::max<std::uint32_t>(static_cast<std::uint32_t>(used * 100 / space.total), 1);
}

bool FileDiskThreshold::enabled() const {
    return !path_.empty() && DiskThreshold::enabled();
}

void ReportingDiskThreshold::report() {
    logCatalogued(Severity::Warning, ModuleId::ProcessEvent,
                  isExceeded() ? kLoggingStoppedRow : kLoggingResumedRow,
                  isExceeded() ? upperPercent() : lowerPercent());
}

}  // namespace lathwind
