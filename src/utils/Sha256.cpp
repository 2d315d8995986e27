#include "utils/Sha256.h"

#include <algorithm>
#include <bit>
#include <iterator>

#if defined(__i386__) || defined(__x86_64__)
#define LATHWIND_SHA_INSTRUCTIONS 1
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace lathwind {
namespace {

constexpr std::uint32_t kInitial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

constexpr std::uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// ---- Plain C++, in the terms of FIPS 180-4, 4.1.2 and 6.2.2.

std::uint32_t bigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
}

std::uint32_t choose(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return z ^ (x & (y ^ z));
}
std::uint32_t majority(std::uint32_t x, std::uint32_t y, std::uint32_t z) {
    return (x & y) | (z & (x | y));
}
std::uint32_t bigSigma0(std::uint32_t x) {
    return std::rotr(x, 2) ^ std::rotr(x, 13) ^ std::rotr(x, 22);
}
std::uint32_t bigSigma1(std::uint32_t x) {
    return std::rotr(x, 6) ^ std::rotr(x, 11) ^ std::rotr(x, 25);
}
std::uint32_t smallSigma0(std::uint32_t x) {
    return std::rotr(x, 7) ^ std::rotr(x, 18) ^ (x >> 3);
}
std::uint32_t smallSigma1(std::uint32_t x) {
    return std::rotr(x, 17) ^ std::rotr(x, 19) ^ (x >> 10);
}

void transformPortable(std::uint32_t* state, const std::uint8_t* blocks,
                       std::size_t count) noexcept {
    for (; count != 0; --count, blocks += BlockFeeder::kBlockBytes) {
        std::uint32_t w[64];
        for (std::size_t t = 0; t < 16; ++t) {
            w[t] = bigEndian(blocks + 4 * t);
        }
        for (std::size_t t = 16; t < 64; ++t) {
            w[t] = smallSigma1(w[t - 2]) + w[t - 7] + smallSigma0(w[t - 15]) + w[t - 16];
        }
        std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
        std::uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
        for (std::size_t t = 0; t < 64; ++t) {
            const std::uint32_t t1 = h + bigSigma1(e) + choose(e, f, g) + kRound[t] + w[t];
            const std::uint32_t t2 = bigSigma0(a) + majority(a, b, c);
            h = g;
            g = f;
            f = e;
            e = d + t1;
            d = c;
            c = b;
            b = a;
            a = t1 + t2;
        }
        state[0] += a;
        state[1] += b;
        state[2] += c;
        state[3] += d;
        state[4] += e;
        state[5] += f;
        state[6] += g;
        state[7] += h;
    }
}

// ---- The SHA instructions. They keep the state as the word pairs (a, b, e, f) and (c, d, g, h),
// ---- highest word first, do two rounds each and extend the message schedule four words at a time.

#if LATHWIND_SHA_INSTRUCTIONS
#define LATHWIND_SHA_TARGET target("sha,sse4.1,ssse3")

// Rounds 4 * Group to 4 * Group + 3. `words` is a ring of the last 16 words of the schedule; the
// group's own four are replaced by those that group + 4 needs.
template <std::size_t Group>
__attribute__((LATHWIND_SHA_TARGET, always_inline)) inline void fourRounds(__m128i& abef,
                                                                           __m128i& cdgh,
                                                                           __m128i (&words)[4]) {
    __m128i& own = words[Group % 4];
    const __m128i constants = _mm_loadu_si128(reinterpret_cast<const __m128i*>(kRound + 4 * Group));
    const __m128i sum = _mm_add_epi32(own, constants);
    cdgh = _mm_sha256rnds2_epu32(cdgh, abef, sum);
    abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_shuffle_epi32(sum, 0x0E));
    if constexpr (Group < 12) {
        const __m128i last = words[(Group + 3) % 4];
        own = _mm_sha256msg1_epu32(own, words[(Group + 1) % 4]);
        own = _mm_add_epi32(own, _mm_alignr_epi8(last, words[(Group + 2) % 4], 4));
        own = _mm_sha256msg2_epu32(own, last);
    }
}

// A 32-bit caller may come with a stack aligned to 4 bytes only, and the registers are few enough
// there to be spilled.
#if defined(__i386__)
__attribute__((LATHWIND_SHA_TARGET, force_align_arg_pointer))
#else
__attribute__((LATHWIND_SHA_TARGET))
#endif
void transformInstructions(std::uint32_t* state, const std::uint8_t* blocks,
                           std::size_t count) noexcept {
    const __m128i swapBytes = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    auto* stored = reinterpret_cast<__m128i*>(state);
    const __m128i cdab = _mm_shuffle_epi32(_mm_loadu_si128(stored), 0xB1);
    const __m128i efgh = _mm_shuffle_epi32(_mm_loadu_si128(stored + 1), 0x1B);
    __m128i abef = _mm_alignr_epi8(cdab, efgh, 8);
    __m128i cdgh = _mm_blend_epi16(efgh, cdab, 0xF0);

    for (; count != 0; --count, blocks += BlockFeeder::kBlockBytes) {
        const __m128i abefBefore = abef;
        const __m128i cdghBefore = cdgh;
        const auto* block = reinterpret_cast<const __m128i*>(blocks);
        __m128i words[4] = {_mm_shuffle_epi8(_mm_loadu_si128(block), swapBytes),
                            _mm_shuffle_epi8(_mm_loadu_si128(block + 1), swapBytes),
                            _mm_shuffle_epi8(_mm_loadu_si128(block + 2), swapBytes),
                            _mm_shuffle_epi8(_mm_loadu_si128(block + 3), swapBytes)};
        fourRounds<0>(abef, cdgh, words);
        fourRounds<1>(abef, cdgh, words);
        fourRounds<2>(abef, cdgh, words);
        fourRounds<3>(abef, cdgh, words);
        fourRounds<4>(abef, cdgh, words);
        fourRounds<5>(abef, cdgh, words);
        fourRounds<6>(abef, cdgh, words);
        fourRounds<7>(abef, cdgh, words);
        fourRounds<8>(abef, cdgh, words);
        fourRounds<9>(abef, cdgh, words);
        fourRounds<10>(abef, cdgh, words);
        fourRounds<11>(abef, cdgh, words);
        fourRounds<12>(abef, cdgh, words);
        fourRounds<13>(abef, cdgh, words);
        fourRounds<14>(abef, cdgh, words);
        fourRounds<15>(abef, cdgh, words);
        abef = _mm_add_epi32(abef, abefBefore);
        cdgh = _mm_add_epi32(cdgh, cdghBefore);
    }

    const __m128i feba = _mm_shuffle_epi32(abef, 0x1B);
    const __m128i dchg = _mm_shuffle_epi32(cdgh, 0xB1);
    _mm_storeu_si128(stored, _mm_blend_epi16(feba, dchg, 0xF0));
    _mm_storeu_si128(stored + 1, _mm_alignr_epi8(dchg, feba, 8));
}

bool probeInstructions() noexcept {
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & bit_SSSE3) == 0 ||
        (ecx & bit_SSE4_1) == 0) {
        return false;
    }
    return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ebx & bit_SHA) != 0;
}
#endif

}  // namespace

bool Sha256::hasInstructions() noexcept {
#if LATHWIND_SHA_INSTRUCTIONS
    static const bool found = probeInstructions();
    return found;
#else
    return false;
#endif
}

Sha256::Sha256(Path path) noexcept : transform_(transformPortable) {
    std::copy(std::begin(kInitial), std::end(kInitial), state_.begin());
#if LATHWIND_SHA_INSTRUCTIONS
    if (path == Path::Fastest && hasInstructions()) {
        transform_ = transformInstructions;
    }
#else
    static_cast<void>(path);
#endif
}

void Sha256::update(const void* data, std::size_t size) noexcept {
    feeder_.feed(data, size, [this](const std::uint8_t* blocks, std::size_t count) {
        transform_(state_.data(), blocks, count);
    });
}

void Sha256::finish(std::uint8_t* digest) noexcept {
    feeder_.finish(BlockFeeder::Length::BigEndian,
                   [this](const std::uint8_t* blocks, std::size_t count) {
                       transform_(state_.data(), blocks, count);
                   });
    for (std::size_t i = 0; i < kDigestBytes; ++i) {
        digest[i] = static_cast<std::uint8_t>(state_[i / 4] >> (24 - 8 * (i % 4)));
    }
}

}  // namespace lathwind
