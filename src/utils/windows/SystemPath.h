#pragma once

#include <string>

namespace lathwind::windows {

// The form in which a path goes to the system. Shorter paths go as they are. An absolute one that
// is too long for the plain form (folders end at 248 units, files at 260) gets the prefix that
// lifts the limit, `\\?\` or `\\?\UNC\`; since the system takes such a path letter by letter, it
// is first made full (slashes turned, "." and ".." resolved) as a plain path would have been.
// Relative paths stay: they cannot carry the prefix.
std::wstring systemPath(const std::wstring& path);

}  // namespace lathwind::windows
