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

// A folder, lower case, with the long names of its parts where it has short ones ("progra~1"). As
// it is, with a debug line, where the system cannot say or would say 260 characters or more.
std::wstring longFolder(const std::wstring& folder);
// An entry, lower case, whose folder has long names, of a virtual one the folder ahead of the
// token: the names under which its files are found and notified of. A folder that is not there yet
// is spelled as far as it is. Only names with a tilde are asked for, so that a folder on a slow
// volume is left in peace.
std::wstring withLongFolder(const std::wstring& entry);

}  // namespace lathwind
