#pragma once

#include "utils/platform/Errors.h"

namespace lathwind::posix {

// The Win32 number that the logic above expects for an errno; 0 for 0. The one place where the
// two meet.
platform::ErrorCode errorFromErrno(int number) noexcept;

// The errno whose words describe a Win32 number best, 0 where none does.
int errnoFromError(platform::ErrorCode code) noexcept;

}  // namespace lathwind::posix
