#pragma once

#include <cstdint>
#include <string_view>

#include "utils/platform/Host.h"

namespace lathwind {

// Bits of the OS flag word. The ranges decide name and letter.
namespace osFlag {
inline constexpr std::uint32_t Windows = 0xFF;
inline constexpr std::uint32_t Solaris = 0xF00;
inline constexpr std::uint32_t Aix = 0xE000;
inline constexpr std::uint32_t Linux = 0xE0000;
inline constexpr std::uint32_t HpUx = 0x700000;
inline constexpr std::uint32_t Tru64 = 0x3F000000;
}  // namespace osFlag

// "windows", "solaris", "aix", "linux", "hpux" or "tru64"; empty for a word of none of them.
std::wstring_view osNameOf(std::uint32_t flags) noexcept;
// 'W', 'S', 'L', 'A', 'H', 'T', else 'O'.
wchar_t osLetterOf(std::uint32_t flags) noexcept;

struct OsIdentity {
    std::uint32_t flags = 0;  // one bit of the word, 0 for an unknown system
    int problemRow = 0;       // the row of the message catalogue that says what is unknown, or 0
};

OsIdentity identifyOs(const platform::OsVersion& version, bool isWow64Process) noexcept;

}  // namespace lathwind
