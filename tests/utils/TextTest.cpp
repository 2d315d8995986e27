#include <gtest/gtest.h>
#include <string>

#include "utils/Text.h"

namespace lathwind {
namespace {

TEST(Text, LowerCaseCoversTheBasicPlane) {
    const struct {
        int upper;
        int lower;
    } rows[] = {
        {'A', 'a'},       {'Z', 'z'},       {'[', '['},       {'a', 'a'},       {0xC0, 0xE0},
        {0xD7, 0xD7},     {0xDF, 0xDF},     {0x100, 0x101},   {0x101, 0x101},   {0x130, 0x69},
        {0x178, 0xFF},    {0x1C4, 0x1C6},   {0x1C5, 0x1C6},   {0x391, 0x3B1},   {0x3A3, 0x3C3},
        {0x410, 0x430},   {0x10A0, 0x2D00}, {0x13A0, 0xAB70}, {0x1E9E, 0xDF},   {0x2126, 0x3C9},
        {0x212A, 0x6B},   {0x2C62, 0x26B},  {0xA7C5, 0x282},  {0xFF21, 0xFF41}, {0xD800, 0xD800},
        {0xDC00, 0xDC00}, {0xFFFF, 0xFFFF}, {0, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(toLower(static_cast<wchar_t>(row.upper)), static_cast<wchar_t>(row.lower))
            << std::hex << row.upper;
    }
    int changed = 0;
    for (int unit = 0; unit < 0x10000; ++unit) {
        const wchar_t once = toLower(static_cast<wchar_t>(unit));
        changed += once != static_cast<wchar_t>(unit) ? 1 : 0;
        EXPECT_EQ(toLower(once), once) << "folding twice moved " << std::hex << unit;
    }
    EXPECT_EQ(changed, 1173);
}

TEST(Text, TrimsAndCompares) {
    EXPECT_EQ(trim(L" \t a b\r\n"), L"a b");
    EXPECT_EQ(trim(L" \r\n"), L"");
    EXPECT_EQ(trimRight(L" a "), L" a");
    EXPECT_TRUE(equalsNoCase(L"\x00C4pfel", L"\x00E4PFEL"));
    EXPECT_FALSE(equalsNoCase(L"a", L"ab"));
}

TEST(Text, ReplacesFromLeftToRight) {
    std::wstring text = L"aaa";
    replaceAll(text, L"aa", L"aab");
    EXPECT_EQ(text, L"aaba");
    replaceAll(text, L"", L"x");
    EXPECT_EQ(text, L"aaba");
}

TEST(Text, ParsesDecimals) {
    EXPECT_EQ(parseDecimal(L"  -12x"), -12);
    EXPECT_EQ(parseDecimal(L"+7"), 7);
    EXPECT_EQ(parseDecimal(L"-"), 0);
    EXPECT_EQ(parseDecimal(L"9223372036854775808"), 9223372036854775807LL);
    EXPECT_EQ(parseDecimal(L"-99999999999999999999"), -9223372036854775807LL - 1);
}

TEST(Text, Utf8KeepsPairsAndShowsDamage) {
    const std::wstring pair = {static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    EXPECT_EQ(utf8FromUtf16(pair), "\xF0\x9F\x98\x80");
    EXPECT_EQ(utf16FromUtf8("\xF0\x9F\x98\x80"), pair);
    EXPECT_EQ(utf8FromUtf16(pair.substr(1)), "\xEF\xBF\xBD");

    const struct {
        const char* bytes;
        std::size_t replaced;
    } damaged[] = {
        {"\x80", 1},         {"\xC1\xBF", 2},         {"\xE2\x82", 2},     {"\xED\xA0\x80", 3},
        {"\xF5\x80\x80", 3}, {"\xF4\x90\x80\x80", 4}, {"\xE0\x9F\xBF", 3},
    };
    for (const auto& row : damaged) {
        EXPECT_EQ(utf16FromUtf8(row.bytes), std::wstring(row.replaced, L'\xFFFD')) << row.bytes;
    }
    EXPECT_EQ(utf16FromUtf8("a\xFFz"), L"a\xFFFDz");

    for (int unit = 1; unit < 0x10000; ++unit) {
        if (unit < 0xD800 || unit > 0xDFFF) {
            const std::wstring one(1, static_cast<wchar_t>(unit));
            ASSERT_EQ(utf16FromUtf8(utf8FromUtf16(one)), one) << unit;
        }
    }
}

}  // namespace
}  // namespace lathwind
