#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>

#include "support/TempDir.h"
#include "utils/Serializable.h"

namespace lathwind {
namespace {

using testing::TempDir;

// Runs `action` and gives the text of its SerializeException without the line number.
template <class Action>
std::wstring failureOf(Action action) {
    try {
        action();
    } catch (const SerializeException& failure) {
        const std::size_t line = failure.message.find(L" at line ");
        const std::size_t file = failure.message.find(L" in file Serializable");
        EXPECT_LT(line, file);
        EXPECT_EQ(file + 21, failure.message.size());
        return failure.message.substr(0, line);
    }
    return L"(no exception)";
}

std::string bytesOf(const std::wstring& text) {
    std::ostringstream stream;
    Serializable::WriteTString(stream, text);
    return stream.str();
}

std::string count(std::uint32_t value) {
    std::ostringstream stream;
    Serializable::Write(stream, value);
    return stream.str();
}

const std::wstring kReadFailed = L"Exception: Serializable::Read - Read failed";
const std::wstring kStringFailed = L"Exception: Serializable::ReadTString - String write failed";
const std::wstring kReadTooLong =
    L"Exception: Serializable::ReadTString - String size exceeds sanity check";
const std::wstring kListTooLong =
    L"Exception: Size of string list exceeds serialization sanity check";

TEST(Serializable, LaysIntegersOutLittleEndianByWidth) {
    std::stringstream stream;
    Serializable::Write(stream, true);
    Serializable::Write(stream, std::uint8_t{0xFE});
    Serializable::Write(stream, std::int16_t{-2});
    Serializable::Write(stream, std::uint32_t{0x01020304});
    Serializable::Write(stream, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(stream.str(), std::string("\x01\xFE\xFE\xFF\x04\x03\x02\x01\0\0\0\0\0\0\0\x80", 16));
    bool flag = false;
    std::uint8_t byte = 0;
    std::int16_t word = 0;
    std::uint32_t number = 0;
    std::int64_t wide = 0;
    Serializable::Read(stream, flag);
    Serializable::Read(stream, byte);
    Serializable::Read(stream, word);
    Serializable::Read(stream, number);
    Serializable::Read(stream, wide);
    EXPECT_TRUE(flag);
    EXPECT_EQ(byte, 0xFE);
    EXPECT_EQ(word, -2);
    EXPECT_EQ(number, 0x01020304u);
    EXPECT_EQ(wide, std::numeric_limits<std::int64_t>::min());
    EXPECT_TRUE(stream.good()) << "an exact end is no failure";
    EXPECT_EQ(failureOf([&] { Serializable::Read(stream, byte); }), kReadFailed);
}

TEST(Serializable, StringsHaveTheirExactBytes) {
    EXPECT_EQ(bytesOf(L""), std::string(4, '\0'));
    EXPECT_EQ(bytesOf(L"ab"), std::string("\2\0\0\0a\0b\0", 8));
    const std::wstring pair = {wchar_t{0xD83D}, wchar_t{0xDE00}, wchar_t{0xFFFF}};
    EXPECT_EQ(bytesOf(pair), std::string("\3\0\0\0\x3D\xD8\x00\xDE\xFF\xFF", 10));
    std::istringstream stream(bytesOf(pair));
    std::wstring text;
    Serializable::ReadTString(stream, text);
    EXPECT_EQ(text, pair);
}

TEST(Serializable, LimitsHoldOnBothSides) {
    const std::wstring longest(2048, L'x');
    std::istringstream stream(bytesOf(longest) + count(2049) + std::string(4098, 'x') +
                              count(0xFFFFFFFF));
    std::wstring text;
    Serializable::ReadTString(stream, text);
    EXPECT_EQ(text, longest);
    EXPECT_EQ(failureOf([&] { Serializable::ReadTString(stream, text); }), kReadTooLong);
    EXPECT_EQ(text, longest) << "kept on failure";
    stream.seekg(4098, std::ios::cur);
    EXPECT_EQ(failureOf([&] { Serializable::ReadTString(stream, text); }), kReadTooLong);

    std::ostringstream out;
    EXPECT_EQ(failureOf([&] { Serializable::WriteTString(out, longest + L'x'); }),
              L"Exception: Serializable::WriteTString - String size exceeds sanity check");
    EXPECT_TRUE(out.str().empty());

    std::list<std::wstring> list(1000, L"a");
    std::stringstream lists;
    Serializable::WriteStringList(lists, list);
    std::list<std::wstring> back = {L"first"};
    Serializable::ReadStringList(lists, back);
    EXPECT_EQ(back.size(), 1001u);
    EXPECT_EQ(failureOf([&] { Serializable::WriteStringList(lists, back); }), kListTooLong);
    std::istringstream forged(count(1001));
    EXPECT_EQ(failureOf([&] { Serializable::ReadStringList(forged, back); }), kListTooLong);
}

TEST(Serializable, StringReadsConsumeAllAndCutAtZero) {
    std::istringstream stream(std::string("\3\0\0\0a\0\0\0b\0", 10) + count(0) + bytesOf(L"z"));
    std::wstring text = L"old";
    Serializable::ReadTString(stream, text);
    EXPECT_EQ(text, L"a");
    EXPECT_EQ(stream.tellg(), 10);
    Serializable::ReadTString(stream, text);
    EXPECT_EQ(text, L"");
    EXPECT_EQ(stream.tellg(), 14);
    Serializable::ReadTString(stream, text);
    EXPECT_EQ(text, L"z");
}

TEST(Serializable, EveryTruncationThrowsTheRightText) {
    const std::string whole = bytesOf(L"abc");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::istringstream stream(whole.substr(0, size));
        std::wstring text = L"kept";
        EXPECT_EQ(failureOf([&] { Serializable::ReadTString(stream, text); }),
                  size < 4 ? kReadFailed : kStringFailed)
            << size;
        EXPECT_EQ(text, L"kept");
        EXPECT_TRUE(stream.eof() && stream.fail());
    }
}

TEST(Serializable, FailedStreamsThrow) {
    std::ostringstream out;
    out.setstate(std::ios::failbit);
    EXPECT_EQ(failureOf([&] { Serializable::Write(out, 1); }),
              L"Exception: Serializable::Write - Write failed");
    std::istringstream in("abcd");
    in.setstate(std::ios::eofbit);
    int value = 0;
    EXPECT_EQ(failureOf([&] { Serializable::Read(in, value); }), kReadFailed);
    EXPECT_EQ(failureOf([&] { Serializable::Read(in, nullptr, 0); }), kReadFailed);
}

// Fields and strings that straddle the ends of a file stream's buffer, at every offset.
TEST(Serializable, FileStreamsCrossTheirBuffers) {
    const TempDir folder;
    const std::wstring texts[] = {L"", std::wstring(2048, L'm'), L"c:\\some\\path\\of\\a.file"};
    for (const std::size_t shift : {0u, 1u, 2u, 3u, 5u, 7u}) {
        std::ofstream out(folder.native("state"), std::ios::binary);
        Serializable::Write(out, "1234567", shift);
        for (std::uint32_t i = 0; i < 2000; ++i) {
            Serializable::Write(out, std::uint64_t{i} << 24);
            Serializable::WriteTString(out, texts[i % 97 == 0 ? 1 : i % 2 * 2]);
            Serializable::Write(out, static_cast<std::uint8_t>(i));
        }
        out.close();
        ASSERT_TRUE(out.good());
        std::ifstream in(folder.native("state"), std::ios::binary);
        char head[8];
        Serializable::Read(in, head, shift);
        std::wstring text;
        for (std::uint32_t i = 0; i < 2000; ++i) {
            std::uint64_t number = 0;
            std::uint8_t byte = 0;
            Serializable::Read(in, number);
            Serializable::ReadTString(in, text);
            Serializable::Read(in, byte);
            ASSERT_EQ(number, std::uint64_t{i} << 24);
            ASSERT_EQ(text, texts[i % 97 == 0 ? 1 : i % 2 * 2]);
            ASSERT_EQ(byte, static_cast<std::uint8_t>(i));
        }
        EXPECT_EQ(failureOf([&] { Serializable::ReadTString(in, text); }), kReadFailed);
    }
}

}  // namespace
}  // namespace lathwind
