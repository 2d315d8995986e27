#include "utils/posix/FileFacts.h"

#include <algorithm>

namespace lathwind::posix {
namespace {

namespace attribute = platform::attribute;

constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr std::int64_t kSecondsTo1970 = 11'644'473'600;  // from 1601-01-01
constexpr std::int64_t kUnitsPerSecond = 10'000'000;

std::uint64_t fileTime(const struct statx_timestamp& time) noexcept {
    return posix::fileTime(time.tv_sec, time.tv_nsec);
}

// A step of the mixing function of the SplitMix64 generator (Steele, Lea, Flood 2014): each bit of
// the value reaches all bits of the stamp.
std::uint64_t mixed(std::uint64_t stamp, std::uint64_t value) noexcept {
    stamp = (stamp ^ value) + 0x9E3779B97F4A7C15u;
    stamp = (stamp ^ (stamp >> 30)) * 0xBF58476D1CE4E5B9u;
    stamp = (stamp ^ (stamp >> 27)) * 0x94D049BB133111EBu;
    return stamp ^ (stamp >> 31);
}

constexpr std::uint64_t joined(std::uint32_t high, std::uint32_t low) noexcept {
    return std::uint64_t{high} << 32 | low;
}

std::uint64_t stampOf(const struct statx& status) noexcept {
    std::uint64_t stamp = mixed(0, static_cast<std::uint64_t>(status.stx_ctime.tv_sec));
    stamp = mixed(stamp, joined(status.stx_ctime.tv_nsec, status.stx_mode));
    stamp = mixed(stamp, joined(status.stx_uid, status.stx_gid));
    stamp = mixed(stamp, joined(status.stx_dev_major, status.stx_dev_minor));
    stamp = mixed(stamp, status.stx_ino);
    return stamp != 0 ? stamp : 1;
}

}  // namespace

std::uint32_t attributesOfMode(mode_t mode) noexcept {
    std::uint32_t attributes = 0;
    if (S_ISDIR(mode)) {
        attributes |= attribute::Directory;
    }
    if (S_ISREG(mode)) {
        attributes |= attribute::Archive;
    }
    if ((mode & kWriteBits) == 0) {
        attributes |= attribute::ReadOnly;
    }
    return attributes != 0 ? attributes : attribute::Normal;
}

mode_t modeWithAttributes(mode_t mode, std::uint32_t attributes) noexcept {
    if ((attributes & attribute::ReadOnly) != 0) {
        return mode & ~kWriteBits;
    }
    return (mode & kWriteBits) != 0 ? mode : mode | S_IWUSR;
}

std::uint64_t fileTime(std::int64_t seconds, std::uint32_t nanoseconds) noexcept {
    // Beyond these bounds there are only broken clocks; the upper one keeps 63 bits.
    seconds = std::clamp(seconds, -kSecondsTo1970, std::int64_t{900'000'000'000});
    return static_cast<std::uint64_t>((seconds + kSecondsTo1970) * kUnitsPerSecond) +
           nanoseconds / 100;
}

platform::FileFacts factsOf(const struct statx& status) noexcept {
    platform::FileFacts facts;
    facts.attributes = attributesOfMode(status.stx_mode);
    facts.accessTime = fileTime(status.stx_atime);
    facts.modifiedTime = fileTime(status.stx_mtime);
    facts.creationTime =
        (status.stx_mask & STATX_BTIME) != 0
            ? fileTime(status.stx_btime)
            : std::min({facts.accessTime, facts.modifiedTime, fileTime(status.stx_ctime)});
    facts.size = status.stx_size;
    facts.changeStamp = (status.stx_mask & STATX_CTIME) != 0 ? stampOf(status) : 0;
    return facts;
}

bool isSettled(const struct statx& status, const struct timespec& now) noexcept {
    constexpr std::int64_t kSettlingSeconds = 3;
    return status.stx_ctime.tv_sec + kSettlingSeconds <= now.tv_sec;
}

}  // namespace lathwind::posix
