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
    return facts;
}

}  // namespace lathwind::posix
