#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>

// Integers of a fixed width at a place in memory, lowest byte first, whatever the processor's own
// order is. The caller has checked that the bytes are there.
namespace lathwind {

namespace detail {

// Written out byte by byte, which compilers turn into one move; a loop they leave a loop.
template <class Bits, std::size_t... I>
constexpr Bits joinBytes(const std::byte* from, std::index_sequence<I...>) noexcept {
    using Wide = std::common_type_t<Bits, unsigned>;  // no shift of a promoted, signed type
    return static_cast<Bits>(((std::to_integer<Wide>(from[I]) << (8 * I)) | ...));
}

template <class Bits, std::size_t... I>
constexpr void splitBytes(std::byte* to, Bits bits, std::index_sequence<I...>) noexcept {
    ((to[I] = static_cast<std::byte>(bits >> (8 * I) & 0xFF)), ...);
}

}  // namespace detail

template <std::integral T>
constexpr T loadLittleEndian(const std::byte* from) noexcept {
    return static_cast<T>(
        detail::joinBytes<std::make_unsigned_t<T>>(from, std::make_index_sequence<sizeof(T)>()));
}

template <std::integral T>
constexpr void storeLittleEndian(std::byte* to, T value) noexcept {
    detail::splitBytes(to, static_cast<std::make_unsigned_t<T>>(value),
                       std::make_index_sequence<sizeof(T)>());
}

}  // namespace lathwind
