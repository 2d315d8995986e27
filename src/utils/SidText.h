#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace lathwind {

// The text form "S-1-5-18" of a security identifier in its binary form: revision, count of
// sub-authorities (at most 15), six bytes of authority, highest first, then the sub-authorities, 32
// bits each, lowest byte first ([MS-DTYP] 2.4.2). Bytes behind the last one do not count. Empty for
// bytes that are no identifier: too few of them, another revision than 1, or too high a count.
std::wstring sidTextOfBytes(std::span<const std::byte> sid);
// The length in bytes of the identifier that begins with `head`; 0 for one that cannot be. For an
// identifier that comes as an address alone.
inline constexpr std::size_t kSidHeadBytes = 8;
std::size_t sidLengthOfHead(std::span<const std::byte, kSidHeadBytes> head);

}  // namespace lathwind
