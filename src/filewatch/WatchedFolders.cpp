#include "filewatch/WatchedFolders.h"

#include <algorithm>
#include <utility>

#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

std::vector<std::wstring> asWatched(std::vector<std::wstring> paths) {
    const bool isRedirected = systemFolders().isWow64;
    for (std::wstring& path : paths) {
        makeLower(path);
        if (isRedirected) {
            path = MapToWatchedPath(path);
        }
    }
    if (!std::is_sorted(paths.begin(), paths.end())) {  // folding seldom changes the order
        std::sort(paths.begin(), paths.end());
    }
    return paths;
}

std::uint32_t depthOf(std::int32_t level) {
    return static_cast<std::uint32_t>(std::max(level, 0));
}

}  // namespace

std::vector<std::wstring> listWatchedFiles(const std::wstring& folder, const std::wstring& mask,
                                           std::int32_t level) {
    std::vector<std::wstring> files;
    FileIO::ListFiles(files, MapToRealPath(folder), mask, true, depthOf(level));
    return asWatched(std::move(files));
}

std::vector<std::wstring> listWatchedFolders(const std::wstring& folder, std::int32_t level) {
    std::vector<std::wstring> folders;
    FileIO::ListDirectories(folders, MapToRealPath(folder), depthOf(level));
    return asWatched(std::move(folders));
}

}  // namespace lathwind
