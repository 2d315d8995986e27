#pragma once

#include <string_view>

namespace lathwind::posix {

// FindFirstFile's masks: "*" is any run of units, "?" one unit, the rest is compared without
// regard to case. "*.*" matches every name, also one without a dot.
bool matchesWildcard(std::wstring_view name, std::wstring_view mask) noexcept;
bool hasWildcard(std::wstring_view mask) noexcept;

}  // namespace lathwind::posix
