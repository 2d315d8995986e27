#include "filewatch/WatchedFolders.h"

#include <algorithm>
#include <utility>

#include "filewatch/VirtualPath.h"
#include "filewatch/WatchedPathSpec.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

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

// Gives an error, and leaves `longForm` alone, for what is no use as a folder.
platform::ErrorCode askLongForm(const std::wstring& folder, std::wstring& longForm) {
    constexpr std::size_t kPathLimit = 260;  // with the terminating zero
    std::wstring answer;
    const auto code = platform::files().longPath(MapToRealPath(folder), answer);
    if (code != platform::error::Success) {
        return code;
    }
    if (answer.size() >= kPathLimit) {
        return platform::error::FilenameTooLong;
    }
    longForm = MapToWatchedPath(toLower(answer));
    return code;
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

std::wstring longFolder(const std::wstring& folder) {
    std::wstring longForm = folder;
    if (const auto code = askLongForm(folder, longForm); code != platform::error::Success) {
        debugLog(ModuleId::FilewatchCollector, L"GetLongPathName failed for %ls: %ls", folder,
                 platform::host().errorText(code));
    }
    return longForm;
}

std::wstring withLongFolder(const std::wstring& entry) {
    const std::wstring_view whole = entry;
    std::wstring_view folder =
        splitAtLastBackslash(whole.substr(0, FindVirtualTag(whole))).directory;
    for (; folder.find(L'~') != std::wstring_view::npos; folder = parentDirectory(folder)) {
        std::wstring longForm;
        if (askLongForm(std::wstring(folder), longForm) == platform::error::Success) {
            return longForm.append(whole.substr(folder.size()));
        }
    }
    return entry;
}

}  // namespace lathwind
