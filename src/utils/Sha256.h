#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/BlockFeeder.h"

namespace lathwind {

// SHA-256 as FIPS 180-4 defines it, over a message that arrives in pieces. Where the processor has
// the SHA instructions they are used, found out at run time once in a process.
class Sha256 {
public:
    static constexpr std::size_t kDigestBytes = 32;

    enum class Path {
        Fastest,
        Portable,  // plain C++ whatever the processor has
    };
    explicit Sha256(Path path = Path::Fastest) noexcept;
    static bool hasInstructions() noexcept;

    void update(const void* data, std::size_t size) noexcept;
    // Writes 32 bytes. The object is used up.
    void finish(std::uint8_t* digest) noexcept;

private:
    using State = std::array<std::uint32_t, 8>;
    using Transform = void (*)(std::uint32_t* state, const std::uint8_t* blocks,
                               std::size_t count) noexcept;

    State state_;
    BlockFeeder feeder_;
    Transform transform_;
};

}  // namespace lathwind
