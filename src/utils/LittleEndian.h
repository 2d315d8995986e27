#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>

// Integers of a fixed width at a place in memory, lowest byte first, whatever the processor's own
// order is. The caller has checked that the bytes are there. Compilers make one move of a loop.
namespace lathwind {

template <std::integral T>
constexpr T loadLittleEndian(const std::byte* from) noexcept {
    using Bits = std::make_unsigned_t<T>;
    Bits value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        value =
            static_cast<Bits>(value | static_cast<Bits>(std::to_integer<Bits>(from[i]) << (8 * i)));
    }
    return static_cast<T>(value);
}

template <std::integral T>
constexpr void storeLittleEndian(std::byte* to, T value) noexcept {
    const auto bits = static_cast<std::make_unsigned_t<T>>(value);
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        to[i] = static_cast<std::byte>(bits >> (8 * i) & 0xFF);
    }
}

}  // namespace lathwind
