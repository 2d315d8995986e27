#include "utils/SidText.h"

#include <cstdint>

#include "utils/Format.h"
#include "utils/LittleEndian.h"

namespace lathwind {
namespace {

constexpr std::size_t kHeadBytes = 8;
constexpr std::size_t kSubAuthorityBytes = 4;
constexpr std::size_t kMostSubAuthorities = 15;
constexpr unsigned kRevision = 1;

// Decimal, or hexadecimal with twelve digits where it needs more than 32 bits.
std::wstring authorityText(std::span<const std::byte, 6> bytes) {
    std::uint64_t authority = 0;
    for (const std::byte byte : bytes) {
        authority = authority << 8 | std::to_integer<std::uint64_t>(byte);
    }
    if (authority >> 32 == 0) {
        return std::to_wstring(authority);
    }
    return format(L"0x%04x%08x", static_cast<std::uint32_t>(authority >> 32),
                  static_cast<std::uint32_t>(authority));
}

}  // namespace

std::wstring sidTextOfBytes(std::span<const std::byte> sid) {
    if (sid.size() < kHeadBytes || std::to_integer<unsigned>(sid[0]) != kRevision) {
        return {};
    }
    const auto count = std::to_integer<std::size_t>(sid[1]);
    if (count > kMostSubAuthorities || sid.size() < kHeadBytes + count * kSubAuthorityBytes) {
        return {};
    }
    std::wstring text = L"S-1-";
    text.append(authorityText(sid.subspan<2, 6>()));
    for (std::size_t i = 0; i < count; ++i) {
        const std::byte* from = &sid[kHeadBytes + i * kSubAuthorityBytes];
        text.append(L"-").append(std::to_wstring(loadLittleEndian<std::uint32_t>(from)));
    }
    return text;
}

}  // namespace lathwind
