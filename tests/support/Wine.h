#pragma once

#include "utils/platform/PlatformFactory.h"

namespace lathwind::testing {

// Does this program run under Wine? A test asks only where Wine is known to answer otherwise than
// Windows does.
inline bool runsUnderWine() {
    void* library = nullptr;
    if (platform::libraries().load(L"ntdll.dll", library) != platform::error::Success) {
        return false;
    }
    const bool found = platform::libraries().symbol(library, "wine_get_version") != nullptr;
    platform::libraries().unload(library);
    return found;
}

}  // namespace lathwind::testing
