#pragma once

#include <ctime>
#include <sys/stat.h>

#include "utils/platform/Files.h"

namespace lathwind::posix {

// The attribute bits that a mode stands for:
//   Directory   a folder
//   Archive     a regular file
//   ReadOnly    nobody may write
//   Normal      none of the others (devices, pipes, sockets)
// A leading dot does not make a file Hidden: each bit here is one that setAttributes can put back.
std::uint32_t attributesOfMode(mode_t mode) noexcept;

// The mode with the read-only bit of `attributes` carried over: no write bit, or at least the
// owner's. Other attributes have no counterpart.
mode_t modeWithAttributes(mode_t mode, std::uint32_t attributes) noexcept;

// Units of 100 ns since 1601-01-01; 0 for a time before.
std::uint64_t fileTime(std::int64_t seconds, std::uint32_t nanoseconds) noexcept;

// The stamp is made of the change time, which no program can set, and of what tells one object from
// another that has taken its name: device and inode, owner, group and mode.
//
// The creation time is the birth time where the file system keeps one, otherwise the earliest of
// the others: the file was there by then.
platform::FileFacts factsOf(const struct statx& status) noexcept;

// Did the object last change well before `now`, so that a later change has another change time? The
// coarsest file systems count in steps of two seconds. A change time in the future is of a clock
// other than ours, and no.
bool isSettled(const struct statx& status, const struct timespec& now) noexcept;

}  // namespace lathwind::posix
