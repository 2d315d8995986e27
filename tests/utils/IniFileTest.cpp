#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "utils/IniFile.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::TempDir;

IniFile parsed(std::wstring text) {
    IniFile file;
    file.parse(std::move(text));
    return file;
}

TEST(IniFile, FindsWithoutCaseAndTrims) {
    const IniFile file = parsed(
        L"\r\n; a comment\r\n[Log Files] tail\r\n \tFiles \t=  2 \r\nEmpty=\nno equals\n=nameless\n"
        L"  [Open\nKey=a=b\n[\x0416]\n\x00C4=\x20AC");
    EXPECT_TRUE(file.isLoaded());
    EXPECT_EQ(file.getText(L"LOG files", L"fileS"), L"2");
    EXPECT_EQ(file.getText(L"Log Files", L"Empty", L"fallback"), L"fallback");
    EXPECT_EQ(file.getText(L"Log Files", L"no equals", L"?"), L"?");
    EXPECT_EQ(file.getText(L"open", L"key"), L"a=b") << "a header without its end";
    EXPECT_EQ(file.getText(L"\x0436", L"\x00E4"), L"\x20AC");
    EXPECT_EQ(file.getText(L"missing", L"key", L"?"), L"?");
    EXPECT_TRUE(file.hasSection(L"OPEN"));
    EXPECT_FALSE(file.hasSection(L"missing"));
}

TEST(IniFile, FirstOneCounts) {
    const IniFile file = parsed(L"[a]\nk=1\nK=2\nl=\n[b]\nk=3\n[A]\nk=4\nm=5\n");
    EXPECT_EQ(file.getText(L"A", L"k"), L"1");
    EXPECT_EQ(file.getText(L"a", L"m", L"?"), L"?");
    EXPECT_EQ(file.getText(L"b", L"k"), L"3");
    std::wstring order;
    for (std::size_t section = 0; section < file.sectionCount(); ++section) {
        order += L"[" + std::wstring(file.sectionName(section)) + L"]";
        for (std::size_t i = 0; i < file.valueCount(section); ++i) {
            const IniFile::Value value = file.value(section, i);
            order += std::wstring(value.key) + L"=" + std::wstring(value.value) + L";";
        }
    }
    EXPECT_EQ(order, L"[a]k=1;l=;[b]k=3;[A]k=4;m=5;");
}

TEST(IniFile, EmptySectionNameIsTheFirst) {
    EXPECT_EQ(parsed(L"\n[x]\nk=1\n[y]\nk=2").getText(L"", L"K"), L"1");
    const IniFile unnamed = parsed(L"; note=1\nk=0\n[x]\nk=1\nl=2\n[y]\nm=3");
    EXPECT_EQ(unnamed.getText(L"", L"k"), L"0");
    EXPECT_EQ(unnamed.getText(L"", L"l"), L"2") << "lines ahead of it do not hide the section";
    EXPECT_EQ(unnamed.getText(L"", L"m", L"?"), L"?");
    EXPECT_EQ(parsed(L"").getText(L"", L"k", L"?"), L"?");
}

TEST(IniFile, Integers) {
    const auto value = [](std::wstring_view text) {
        return parsed(L"[s]\nk=" + std::wstring(text));
    };
    const struct {
        const wchar_t* text;
        std::uint32_t u32;
        std::int32_t i32;
        std::int64_t i64;
    } kCases[] = {
        {L"", 7, 7, 7},
        {L"0", 0, 0, 0},
        {L"+12x", 12, 12, 12},
        {L"-5", 0xFFFFFFFB, -5, -5},
        {L"- 5", 0, 0, 0},
        {L"abc", 0, 0, 0},
        {L"4294967295", 0xFFFFFFFF, -1, 4294967295},
        {L"4294967296", 0xFFFFFFFF, -1, 4294967296},
        {L"-2147483649", 0x80000000, std::numeric_limits<std::int32_t>::min(), -2147483649},
        {L"99999999999999999999", 0xFFFFFFFF, -1, -1},
        {L"-99999999999999999999", 0x80000000, std::numeric_limits<std::int32_t>::min(),
         std::numeric_limits<std::int64_t>::min()},
    };
    for (const auto& each : kCases) {
        const IniFile file = value(each.text);
        EXPECT_EQ(file.getInteger<std::uint32_t>(L"s", L"k", 7), each.u32) << each.text;
        EXPECT_EQ(file.getInteger<std::int32_t>(L"s", L"k", 7), each.i32) << each.text;
        EXPECT_EQ(file.getInteger<std::int64_t>(L"s", L"k", 7), each.i64) << each.text;
    }
}

TEST(IniFile, Booleans) {
    const IniFile file = parsed(L"[s]\na=TRUE\nb=1\nc=-2\nd=0\ne=yes\nf=\n");
    for (const auto& [key, expected] :
         {std::pair(L"a", true), {L"b", true}, {L"c", true}, {L"d", false}, {L"e", false}}) {
        EXPECT_EQ(file.getBoolean(L"s", key, !expected), expected) << key;
    }
    EXPECT_TRUE(file.getBoolean(L"s", L"f", true));
    EXPECT_FALSE(file.getBoolean(L"s", L"g", false));
}

TEST(IniFile, Encodings) {
    const struct {
        std::string_view bytes;
        std::wstring text;
    } kCases[] = {
        {"[s]\nk=v", L"v"},
        {"\xEF\xBB\xBF[s]\nk=\xE2\x82\xAC", L"\x20AC"},
        {{"\xFF\xFE[\0s\0]\0\n\0k\0=\0\xAC\x20\n", 17}, L"\x20AC"},
        {{"[s]\nk=v\0w\nk2=x", 14}, L"v"},
        {{"\xFF\xFE[\0", 4}, L"?"},
        {"\xFF\xFE", L"?"},
    };
    for (const auto& each : kCases) {
        IniFile file;
        file.parseBytes(each.bytes);
        EXPECT_EQ(file.getText(L"s", L"k", L"?"), each.text);
        EXPECT_EQ(file.getText(L"s", L"k2", L"?"), L"?");
    }
}

TEST(IniFile, LoadsReloadsAndCloses) {
    const TempDir folder;
    folder.write("a.ini", "[s]\nk=1\n");
    folder.write("empty.ini", "");
    IniFile file;
    EXPECT_TRUE(file.load(folder.path(L"a.ini")));
    const IniFile copy = file;
    EXPECT_TRUE(file.load(folder.path(L"empty.ini")));
    EXPECT_TRUE(file.isLoaded());
    EXPECT_EQ(file.sectionCount(), 0u);
    EXPECT_EQ(copy.getText(L"s", L"k"), L"1");
    for (const std::wstring& path : {folder.path(L"missing.ini"), folder.path(), std::wstring()}) {
        EXPECT_TRUE(file.load(folder.path(L"a.ini")));
        EXPECT_FALSE(file.load(path));
        EXPECT_FALSE(file.isLoaded());
        EXPECT_EQ(file.getInteger(L"s", L"k", 9), 9);
    }
}

// 400,000 keys, one section with as many equal ones, and lines of a million units. Quadratic work
// would take minutes.
TEST(IniFile, LargeTextsTakeLinearTime) {
    std::wstring text = L"[many]\n";
    for (int i = 0; i < 400000; ++i) {
        text += L"File" + std::to_wstring(i) + L"=" + std::to_wstring(i) + L"\n";
    }
    text += L"[same]\n";
    for (int i = 0; i < 400000; ++i) {
        text += L"k=1\n[same]\n";
    }
    text += std::wstring(1000000, L'K') + L"=" + std::wstring(1000000, L'v') + L"\n" +
            std::wstring(1000000, L'[') + L"\nz=1\n";
    const IniFile file = parsed(std::move(text));
    EXPECT_EQ(file.getInteger(L"Many", L"FILE399999", 0), 399999);
    EXPECT_EQ(file.getInteger(L"same", L"k", 0), 1);
    EXPECT_EQ(file.getText(std::wstring(999999, L'['), L"z"), L"1");
    const std::size_t last = file.sectionCount() - 2;
    EXPECT_EQ(file.value(last, 0).value.size(), 1000000u);
}

}  // namespace
}  // namespace lathwind
