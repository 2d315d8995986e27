#include "utils/InstallRoots.h"

#include <string_view>

#include "utils/Exceptions.h"
#include "utils/RegistryPath.h"

namespace lathwind {
namespace {

std::wstring readRoot(std::wstring_view valueName) {
    // The tool opens the same key as "...\Agent"; the registry does not mind.
    std::wstring path = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Tessarin\\Galdern\\agent";
    path += valueName;
    try {
        return ReadRegistryValue(path);
    } catch (const IDSException&) {
        return L".\\";
    }
}

}  // namespace

std::wstring GetInstallRoot() {
    return readRoot(L"\\InstallRoot");
}

std::wstring GetLogInstallRoot() {
    return readRoot(L"\\LogInstallRoot");
}

std::wstring GetIdsRoot() {
    return GetInstallRoot() + L"\\IDS";
}

std::wstring GetIpsRoot() {
    return GetInstallRoot() + L"\\IPS";
}

}  // namespace lathwind
