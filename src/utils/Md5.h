#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/BlockFeeder.h"

namespace lathwind {

// MD5 as RFC 1321 defines it, over a message that arrives in pieces.
class Md5 {
public:
    static constexpr std::size_t kDigestBytes = 16;

    void update(const void* data, std::size_t size) noexcept;
    // Writes 16 bytes. The object is used up.
    void finish(std::uint8_t* digest) noexcept;

private:
    void transform(const std::uint8_t* blocks, std::size_t count) noexcept;

    std::array<std::uint32_t, 4> state_ = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
    BlockFeeder feeder_;
};

}  // namespace lathwind
