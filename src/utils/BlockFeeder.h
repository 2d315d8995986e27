#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lathwind {

// Cuts a message that arrives in pieces into blocks of 64 bytes, and writes the ending that MD5 and
// SHA-256 share: a byte 0x80, zeros, and the 64-bit length of the message in bits, in the byte
// order of the digest. `transform(blocks, count)` takes `count` whole blocks in a row.
class BlockFeeder {
public:
    static constexpr std::size_t kBlockBytes = 64;
    enum class Length { LittleEndian, BigEndian };

    template <class Transform>
    void feed(const void* data, std::size_t size, Transform&& transform) {
        if (size == 0) {
            return;
        }
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        total_ += size;
        if (used_ != 0) {
            const std::size_t taken = std::min(size, kBlockBytes - used_);
            std::memcpy(partial_.data() + used_, bytes, taken);
            used_ += taken;
            bytes += taken;
            size -= taken;
            if (used_ < kBlockBytes) {
                return;
            }
            transform(partial_.data(), std::size_t{1});
        }
        transform(bytes, size / kBlockBytes);
        used_ = size % kBlockBytes;
        std::memcpy(partial_.data(), bytes + (size - used_), used_);
    }

    template <class Transform>
    void finish(Length order, Transform&& transform) {
        const std::uint64_t bits = total_ * 8;
        partial_[used_++] = 0x80;
        if (used_ > kLengthAt) {
            std::memset(partial_.data() + used_, 0, kBlockBytes - used_);
            transform(partial_.data(), std::size_t{1});
            used_ = 0;
        }
        std::memset(partial_.data() + used_, 0, kLengthAt - used_);
        for (std::size_t i = 0; i < 8; ++i) {
            const std::size_t shift = 8 * (order == Length::LittleEndian ? i : 7 - i);
            partial_[kLengthAt + i] = static_cast<std::uint8_t>(bits >> shift);
        }
        transform(partial_.data(), std::size_t{1});
    }

private:
    static constexpr std::size_t kLengthAt = kBlockBytes - 8;

    std::array<std::uint8_t, kBlockBytes> partial_;
    std::size_t used_ = 0;
    std::uint64_t total_ = 0;
};

}  // namespace lathwind
