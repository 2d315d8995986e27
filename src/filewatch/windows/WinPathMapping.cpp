#include "filewatch/windows/WinPathMapping.h"

#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

namespace {

constexpr std::wstring_view kRealFolder = L"\\sysnative";
constexpr std::wstring_view kShownFolder = L"\\system32";

std::wstring mapFolder(const std::wstring& path, const SystemFolders& folders,
                       std::wstring_view from, std::wstring_view to) {
    std::wstring mapped = path;
    if (folders.isWow64 &&
        path.find(std::wstring(folders.windowsDirectory).append(from)) != std::wstring::npos) {
        replaceAll(mapped, from, to);
    }
    return mapped;
}

}  // namespace

const SystemFolders& systemFolders() {
    static const SystemFolders folders{platform::host().isWow64Process(),
                                       toLower(platform::host().windowsDirectory())};
    return folders;
}

std::wstring MapToRealPath(const std::wstring& path, const SystemFolders& folders) {
    return mapFolder(path, folders, kShownFolder, kRealFolder);
}

std::wstring MapToWatchedPath(const std::wstring& path, const SystemFolders& folders) {
    return mapFolder(path, folders, kRealFolder, kShownFolder);
}

void DisableFsRedirection(FsRedirection& redirection, const std::wstring& path,
                          const SystemFolders& folders) {
    redirection.isDisabled = false;
    if (!folders.isWow64 ||
        !(path.empty() ||
          path.starts_with(std::wstring(folders.windowsDirectory).append(kShownFolder)))) {
        return;
    }
    const auto code = platform::host().disableFsRedirection(redirection.cookie);
    redirection.isDisabled = code == platform::error::Success;
    if (!redirection.isDisabled && code != platform::error::CallNotImplemented) {
        debugLog(ModuleId::Utils, L"Wow64DisableWow64FsRedirection() failed: %ls",
                 platform::host().errorText(code));
    }
}

void RevertFsRedirection(FsRedirection& redirection) {
    if (!redirection.isDisabled) {
        return;
    }
    redirection.isDisabled = false;
    const auto code = platform::host().revertFsRedirection(redirection.cookie);
    if (code != platform::error::Success && code != platform::error::CallNotImplemented) {
        debugLog(ModuleId::Utils, L"Wow64RevertWow64FsRedirection() failed: %ls",
                 platform::host().errorText(code));
    }
}

}  // namespace lathwind
