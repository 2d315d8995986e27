#include "utils/InstallLayout.h"

#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

std::wstring binFolderOf(const std::wstring& root) {
    return root + L"\\IDS\\bin";
}

std::wstring systemFolderOf(const std::wstring& root) {
    return root + L"\\IDS\\system";
}

std::wstring ipsFolderOf(const std::wstring& root) {
    return root + L"\\IPS";
}

platform::ErrorCode enterBinFolder(const std::wstring& root, std::string& folder) {
    folder = narrow(binFolderOf(root));
    return platform::files().setCurrentDirectory(folder);
}

}  // namespace lathwind
