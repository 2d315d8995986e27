#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace lathwind {

// Configured paths that hold the marker "{VIRTUAL_TAG}", which stands for the one folder level that
// names an instance. The case of its letters does not count.

// Where the first marker begins; npos without one.
std::size_t FindVirtualTag(std::wstring_view path);
bool PathHasVirtualTag(std::wstring_view path);
// The same, as entities ask it.
inline bool HasVirtualTag(std::wstring_view path) {
    return PathHasVirtualTag(path);
}
// The form that matches real files: "*" in place of each marker.
std::wstring VirtualTagToWildcard(std::wstring_view path);
// The name under which files matched by the path are reported: what stands behind the first marker
// and the one character that follows it. Without a marker the path itself.
std::wstring VirtualNameOf(std::wstring_view path);

// Does `first` agree with `second`, each marker of which stands for the rest of one folder level?
// Without `exact` the case of letters does not count.
bool SameVirtualPath(const std::wstring& first, const std::wstring& second, bool exact);

}  // namespace lathwind
