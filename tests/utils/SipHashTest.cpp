#include <gtest/gtest.h>

#include "utils/SipHash.h"

namespace lathwind {
namespace {

// From the reference implementation's table for SipHash-2-4: the key 00 to 0f, the texts 00, 01,
// ...
TEST(SipHash, GivesThePublishedValues) {
    using SipHash24 = SipHash<2, 4>;
    const SipHash24 fresh({0x0706050403020100, 0x0f0e0d0c0b0a0908});
    SipHash24 empty = fresh;
    empty.add(0);
    EXPECT_EQ(empty.finish(), 0x726fdb47dd0e0e31U);
    SipHash24 eightBytes = fresh;
    eightBytes.add(0x0706050403020100);
    eightBytes.add(std::uint64_t{8} << 56);
    EXPECT_EQ(eightBytes.finish(), 0x93f5f5799a932462U);
    SipHash24 fifteenBytes = fresh;
    fifteenBytes.add(0x0706050403020100);
    fifteenBytes.add(0x0f0e0d0c0b0a0908);
    EXPECT_EQ(fifteenBytes.finish(), 0xa129ca6149be45e5U);
}

}  // namespace
}  // namespace lathwind
