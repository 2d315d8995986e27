#pragma once

#include <string_view>

#include "utils/Format.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

// Formatted text for standard output.
template <class... Args>
void print(std::wstring_view text, const Args&... args) {
    platform::host().writeOutput(format(text, args...));
}

}  // namespace lathwind
