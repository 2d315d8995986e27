#include "utils/OsIdentity.h"

#include <utility>

namespace lathwind {
namespace {

constexpr int kVersion3Row = 22;
constexpr int kUnknownMinorVersionRow = 23;
constexpr int kUnknownMajorVersionRow = 24;
constexpr int kUnknownPlatformRow = 25;

// The one Linux bit in use: the range is shared by systems of several kernels.
constexpr std::uint32_t kLinuxFlag = 0x20000;

OsIdentity minorVersion5(std::uint32_t minor, bool isWow64) noexcept {
    switch (minor) {
        case 0:
            return {2};
        case 1:
            return {4};
        case 2:
            return {isWow64 ? 8u : 16u};
        default:
            return {0, kUnknownMinorVersionRow};
    }
}

}  // namespace

std::wstring_view osNameOf(std::uint32_t flags) noexcept {
    static constexpr std::pair<std::uint32_t, std::wstring_view> kNames[] = {
        {osFlag::Windows, L"windows"}, {osFlag::Solaris, L"solaris"}, {osFlag::Aix, L"aix"},
        {osFlag::Linux, L"linux"},     {osFlag::HpUx, L"hpux"},       {osFlag::Tru64, L"tru64"}};
    for (const auto& [range, name] : kNames) {
        if ((flags & range) != 0) {
            return name;
        }
    }
    return {};
}

wchar_t osLetterOf(std::uint32_t flags) noexcept {
    static constexpr std::pair<std::uint32_t, wchar_t> kLetters[] = {
        {osFlag::Windows, L'W'}, {osFlag::Solaris, L'S'}, {osFlag::Linux, L'L'},
        {osFlag::Aix, L'A'},     {osFlag::HpUx, L'H'},    {osFlag::Tru64, L'T'}};
    for (const auto& [range, letter] : kLetters) {
        if ((flags & range) != 0) {
            return letter;
        }
    }
    return L'O';
}

OsIdentity identifyOs(const platform::OsVersion& version, bool isWow64Process) noexcept {
    if (version.platform == platform::osPlatform::Linux) {
        return {kLinuxFlag};
    }
    if (version.platform != platform::osPlatform::WindowsNt) {
        return {0, kUnknownPlatformRow};
    }
    switch (version.major) {
        case 3:
            return {0, kVersion3Row};
        case 4:
            return {1};
        case 5:
            return minorVersion5(version.minor, isWow64Process);
        case 6:
            return version.minor <= 2 ? OsIdentity{32u << version.minor}
                                      : OsIdentity{0, kUnknownMinorVersionRow};
        default:
            return {0, kUnknownMajorVersionRow};
    }
}

}  // namespace lathwind
