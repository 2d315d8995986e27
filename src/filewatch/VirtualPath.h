#pragma once

#include <string>
#include <string_view>

namespace lathwind {

// Paths that hold the marker "{VIRTUAL_TAG}", which stands for the one folder level that names an
// instance. The case of its letters does not count.

bool PathHasVirtualTag(std::wstring_view path);

// Does `first` agree with `second`, each marker of which stands for the rest of one folder level?
// Without `exact` the case of letters does not count.
bool SameVirtualPath(const std::wstring& first, const std::wstring& second, bool exact);

}  // namespace lathwind
