#include "utils/SidText.h"

#include <cstdint>

#include "utils/Format.h"
#include "utils/LittleEndian.h"

namespace lathwind {
namespace {

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

std::size_t sidLengthOfHead(std::span<const std::byte, kSidHeadBytes> head) {
    const auto count = std::to_integer<std::size_t>(head[1]);
    const bool isSid =
        std::to_integer<unsigned>(head[0]) == kRevision && count <= kMostSubAuthorities;
    return isSid ? kSidHeadBytes + count * kSubAuthorityBytes : 0;
}

std::wstring sidTextOfBytes(std::span<const std::byte> sid) {
    if (sid.size() < kSidHeadBytes) {
        return {};
    }
    const std::size_t length = sidLengthOfHead(sid.first<kSidHeadBytes>());
    if (length == 0 || sid.size() < length) {
        return {};
    }
    std::wstring text = L"S-1-";
    text.append(authorityText(sid.subspan<2, 6>()));
    for (std::size_t at = kSidHeadBytes; at < length; at += kSubAuthorityBytes) {
        text.append(L"-").append(std::to_wstring(loadLittleEndian<std::uint32_t>(&sid[at])));
    }
    return text;
}

}  // namespace lathwind
