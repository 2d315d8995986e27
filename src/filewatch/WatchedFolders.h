#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lathwind {

// What lies in a folder, as it is watched: in lower case, and under the names that are not
// redirected (windows/WinPathMapping.h), sorted. `level` 1 is the folder alone; below that nothing
// is listed. What cannot be listed is empty.
std::vector<std::wstring> listWatchedFiles(const std::wstring& folder, const std::wstring& mask,
                                           std::int32_t level);  // folders too, where they match
std::vector<std::wstring> listWatchedFolders(const std::wstring& folder, std::int32_t level);

}  // namespace lathwind
