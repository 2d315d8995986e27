#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace lathwind::testing {

// Bytes written out by hand, field by field, little-endian: what a reader is given and what a
// writer is compared with. It shares no code with the product.
class Bytes {
public:
    Bytes& u8(std::uint64_t value) { return number(value, 1); }
    Bytes& u16(std::uint64_t value) { return number(value, 2); }
    Bytes& u32(std::uint64_t value) { return number(value, 4); }
    Bytes& u64(std::uint64_t value) { return number(value, 8); }
    // A counted string of 16-bit units, and the units alone.
    Bytes& string(std::wstring_view text) { return u32(text.size()).units(text); }
    Bytes& units(std::wstring_view text) {
        for (const wchar_t unit : text) {
            u16(static_cast<std::uint16_t>(unit));
        }
        return *this;
    }
    Bytes& raw(std::string_view bytes) {
        bytes_ += bytes;
        return *this;
    }
    Bytes& padTo(std::size_t size) {
        bytes_.resize(size);
        return *this;
    }

    const std::string& str() const { return bytes_; }
    std::span<const std::byte> span() const {
        return std::as_bytes(std::span(bytes_.data(), bytes_.size()));
    }

private:
    Bytes& number(std::uint64_t value, int width) {
        for (int i = 0; i < width; ++i) {
            bytes_ += static_cast<char>(value >> (8 * i) & 0xFF);
        }
        return *this;
    }

    std::string bytes_;
};

}  // namespace lathwind::testing
