#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "utils/Format.h"

namespace lathwind {
namespace {

TEST(Format, WritesTheFormsOfTheMessages) {
    EXPECT_EQ(format(L"%ls|%s|%s", std::wstring(L"wide"), "narrow", L"wide"), L"wide|narrow|wide");
    EXPECT_EQ(format(L"%-12.12s %s", L"Log File", L"x"), L"Log File     x");
    EXPECT_EQ(format(L"%-12.12s|", L"A longer text than that"), L"A longer tex|");
    EXPECT_EQ(format(L"%5s|%-5s|", L"ab", "cd"), L"   ab|cd   |");
    EXPECT_EQ(format(L"%X %x %02.2x %02x", 0xABCE, 255, 7, 7), L"ABCE ff 07 07");
    EXPECT_EQ(format(L"%.2d %3.3d %04d %4d %-4d|", 7, 7, 7, 7, 7), L"07 007 0007    7 7   |");
    EXPECT_EQ(format(L"%+d % d %+d", 5, 5, -5), L"+5  5 -5");
    EXPECT_EQ(format(L"%c%c", L'x', '-'), L"x-");
    EXPECT_EQ(format(L"100%% of %d", 3), L"100% of 3");
    EXPECT_EQ(format(L"%*d|%-*d|%.*s", 4, 1, 4, 2, 2, L"abc"), L"   1|2   |ab");
}

TEST(Format, TakesEachArgumentByItsOwnType) {
    EXPECT_EQ(format(L"%d", std::numeric_limits<std::int64_t>::min()), L"-9223372036854775808");
    EXPECT_EQ(format(L"%u", std::numeric_limits<std::uint64_t>::max()), L"18446744073709551615");
    EXPECT_EQ(format(L"%d", std::uint32_t{4294967295u}), L"4294967295");
    EXPECT_EQ(format(L"%ld %I64d %hd", 1, 2, 3), L"1 2 3");
    EXPECT_EQ(format(L"%X", std::int16_t{-1}), L"FFFF");
    EXPECT_EQ(format(L"%d", L"text"), L"text");
    EXPECT_EQ(format(L"%s", 12), L"12");
    EXPECT_EQ(format(L"%s", static_cast<const wchar_t*>(nullptr)), L"(null)");
}

TEST(Format, ReadsNothingThatWasNotPassed) {
    EXPECT_EQ(format(L"%s and %d"), L"%s and %d");
    EXPECT_EQ(format(L"%s and %-5.3d", L"one"), L"one and %-5.3d");
    EXPECT_EQ(format(L"%*d", 1), L"%*d");
    EXPECT_EQ(format(L"%q%"), L"%q%");
    EXPECT_EQ(format(L"%5", 1), L"%5");
    EXPECT_EQ(format(L"%n%d", 1), L"%n1");
    EXPECT_EQ(format(L"x", 1, 2), L"x");
    EXPECT_EQ(format(L"%99999999999d", 1).size(), 4096u);
}

}  // namespace
}  // namespace lathwind
