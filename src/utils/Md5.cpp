#include "utils/Md5.h"

#include <bit>

// The four kinds of step, RFC 1321, 3.4. A step waits for the one before it through `b` alone, so
// the forms below keep the way from `b` to the result short: what does not depend on it is added
// first. G's two halves have no bit in common, which lets an addition stand in for the "or".
namespace lathwind {
namespace {

std::uint32_t littleEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

template <int Shift>
inline void stepF(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                  std::uint32_t x, std::uint32_t constant) {
    a = b + std::rotl(a + x + constant + (d ^ (b & (c ^ d))), Shift);
}

template <int Shift>
inline void stepG(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                  std::uint32_t x, std::uint32_t constant) {
    a = b + std::rotl(a + x + constant + (c & ~d) + (b & d), Shift);
}

template <int Shift>
inline void stepH(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                  std::uint32_t x, std::uint32_t constant) {
    a = b + std::rotl(a + x + constant + (b ^ (c ^ d)), Shift);
}

template <int Shift>
inline void stepI(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                  std::uint32_t x, std::uint32_t constant) {
    a = b + std::rotl(a + x + constant + (c ^ (b | ~d)), Shift);
}

}  // namespace

void Md5::transform(const std::uint8_t* blocks, std::size_t count) noexcept {
    std::uint32_t a = state_[0], b = state_[1], c = state_[2], d = state_[3];
    for (; count != 0; --count, blocks += BlockFeeder::kBlockBytes) {
        std::uint32_t x[16];
        for (std::size_t i = 0; i < 16; ++i) {
            x[i] = littleEndian(blocks + 4 * i);
        }
        const std::uint32_t before[4] = {a, b, c, d};
        stepF<7>(a, b, c, d, x[0], 0xd76aa478);
        stepF<12>(d, a, b, c, x[1], 0xe8c7b756);
        stepF<17>(c, d, a, b, x[2], 0x242070db);
        stepF<22>(b, c, d, a, x[3], 0xc1bdceee);
        stepF<7>(a, b, c, d, x[4], 0xf57c0faf);
        stepF<12>(d, a, b, c, x[5], 0x4787c62a);
        stepF<17>(c, d, a, b, x[6], 0xa8304613);
        stepF<22>(b, c, d, a, x[7], 0xfd469501);
        stepF<7>(a, b, c, d, x[8], 0x698098d8);
        stepF<12>(d, a, b, c, x[9], 0x8b44f7af);
        stepF<17>(c, d, a, b, x[10], 0xffff5bb1);
        stepF<22>(b, c, d, a, x[11], 0x895cd7be);
        stepF<7>(a, b, c, d, x[12], 0x6b901122);
        stepF<12>(d, a, b, c, x[13], 0xfd987193);
        stepF<17>(c, d, a, b, x[14], 0xa679438e);
        stepF<22>(b, c, d, a, x[15], 0x49b40821);
        stepG<5>(a, b, c, d, x[1], 0xf61e2562);
        stepG<9>(d, a, b, c, x[6], 0xc040b340);
        stepG<14>(c, d, a, b, x[11], 0x265e5a51);
        stepG<20>(b, c, d, a, x[0], 0xe9b6c7aa);
        stepG<5>(a, b, c, d, x[5], 0xd62f105d);
        stepG<9>(d, a, b, c, x[10], 0x02441453);
        stepG<14>(c, d, a, b, x[15], 0xd8a1e681);
        stepG<20>(b, c, d, a, x[4], 0xe7d3fbc8);
        stepG<5>(a, b, c, d, x[9], 0x21e1cde6);
        stepG<9>(d, a, b, c, x[14], 0xc33707d6);
        stepG<14>(c, d, a, b, x[3], 0xf4d50d87);
        stepG<20>(b, c, d, a, x[8], 0x455a14ed);
        stepG<5>(a, b, c, d, x[13], 0xa9e3e905);
        stepG<9>(d, a, b, c, x[2], 0xfcefa3f8);
        stepG<14>(c, d, a, b, x[7], 0x676f02d9);
        stepG<20>(b, c, d, a, x[12], 0x8d2a4c8a);
        stepH<4>(a, b, c, d, x[5], 0xfffa3942);
        stepH<11>(d, a, b, c, x[8], 0x8771f681);
        stepH<16>(c, d, a, b, x[11], 0x6d9d6122);
        stepH<23>(b, c, d, a, x[14], 0xfde5380c);
        stepH<4>(a, b, c, d, x[1], 0xa4beea44);
        stepH<11>(d, a, b, c, x[4], 0x4bdecfa9);
        stepH<16>(c, d, a, b, x[7], 0xf6bb4b60);
        stepH<23>(b, c, d, a, x[10], 0xbebfbc70);
        stepH<4>(a, b, c, d, x[13], 0x289b7ec6);
        stepH<11>(d, a, b, c, x[0], 0xeaa127fa);
        stepH<16>(c, d, a, b, x[3], 0xd4ef3085);
        stepH<23>(b, c, d, a, x[6], 0x04881d05);
        stepH<4>(a, b, c, d, x[9], 0xd9d4d039);
        stepH<11>(d, a, b, c, x[12], 0xe6db99e5);
        stepH<16>(c, d, a, b, x[15], 0x1fa27cf8);
        stepH<23>(b, c, d, a, x[2], 0xc4ac5665);
        stepI<6>(a, b, c, d, x[0], 0xf4292244);
        stepI<10>(d, a, b, c, x[7], 0x432aff97);
        stepI<15>(c, d, a, b, x[14], 0xab9423a7);
        stepI<21>(b, c, d, a, x[5], 0xfc93a039);
        stepI<6>(a, b, c, d, x[12], 0x655b59c3);
        stepI<10>(d, a, b, c, x[3], 0x8f0ccc92);
        stepI<15>(c, d, a, b, x[10], 0xffeff47d);
        stepI<21>(b, c, d, a, x[1], 0x85845dd1);
        stepI<6>(a, b, c, d, x[8], 0x6fa87e4f);
        stepI<10>(d, a, b, c, x[15], 0xfe2ce6e0);
        stepI<15>(c, d, a, b, x[6], 0xa3014314);
        stepI<21>(b, c, d, a, x[13], 0x4e0811a1);
        stepI<6>(a, b, c, d, x[4], 0xf7537e82);
        stepI<10>(d, a, b, c, x[11], 0xbd3af235);
        stepI<15>(c, d, a, b, x[2], 0x2ad7d2bb);
        stepI<21>(b, c, d, a, x[9], 0xeb86d391);
        a += before[0];
        b += before[1];
        c += before[2];
        d += before[3];
    }
    state_ = {a, b, c, d};
}

void Md5::update(const void* data, std::size_t size) noexcept {
    feeder_.feed(data, size, [this](const std::uint8_t* blocks, std::size_t count) {
        transform(blocks, count);
    });
}

void Md5::finish(std::uint8_t* digest) noexcept {
    feeder_.finish(
        BlockFeeder::Length::LittleEndian,
        [this](const std::uint8_t* blocks, std::size_t count) { transform(blocks, count); });
    for (std::size_t i = 0; i < kDigestBytes; ++i) {
        digest[i] = static_cast<std::uint8_t>(state_[i / 4] >> (8 * (i % 4)));
    }
}

}  // namespace lathwind
