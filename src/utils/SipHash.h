#pragma once

#include <bit>
#include <cstdint>

namespace lathwind {

// SipHash by J.-P. Aumasson and D. J. Bernstein ("SipHash: a fast short-input PRF", 2012), with
// `Rounds` rounds a word and `FinalRounds` at the end: for tables whose keys come from outside.
// Whoever does not know the key cannot choose texts that fall into one slot.
//
// Takes words in place of bytes; a text of bytes gives its words in little-endian order, and as the
// last one its last 0 to 7 bytes with its length in the highest byte.
template <int Rounds, int FinalRounds>
class SipHash {
public:
    struct Key {
        std::uint64_t first;
        std::uint64_t second;
    };

    explicit constexpr SipHash(const Key& key) noexcept
        : v0_(key.first ^ 0x736f6d6570736575),
          v1_(key.second ^ 0x646f72616e646f6d),
          v2_(key.first ^ 0x6c7967656e657261),
          v3_(key.second ^ 0x7465646279746573) {}

    constexpr void add(std::uint64_t word) noexcept {
        v3_ ^= word;
        stir(Rounds);
        v0_ ^= word;
    }
    // Nothing may be added behind it.
    constexpr std::uint64_t finish() noexcept {
        v2_ ^= 0xff;
        stir(FinalRounds);
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

private:
    constexpr void stir(int rounds) noexcept {
        for (; rounds > 0; --rounds) {
            v0_ += v1_;
            v2_ += v3_;
            v1_ = std::rotl(v1_, 13) ^ v0_;
            v3_ = std::rotl(v3_, 16) ^ v2_;
            v0_ = std::rotl(v0_, 32);
            v2_ += v1_;
            v0_ += v3_;
            v1_ = std::rotl(v1_, 17) ^ v2_;
            v3_ = std::rotl(v3_, 21) ^ v0_;
            v2_ = std::rotl(v2_, 32);
        }
    }

    std::uint64_t v0_;
    std::uint64_t v1_;
    std::uint64_t v2_;
    std::uint64_t v3_;
};

// The form for tables, with a key that is drawn at random once in a process. Hashes are not for
// disk. Any thread may call.
using TableHash = SipHash<1, 3>;
const TableHash::Key& processHashKey();

}  // namespace lathwind
