#include <gtest/gtest.h>

#include "filewatch/LogLineReader.h"
#include "support/HostDecorator.h"
#include "support/LogLineModel.h"
#include "support/ServiceOverride.h"

namespace lathwind {
namespace {

using testing::LogLineModel;
using testing::readLogLines;
using Format = LogLineReader::Format;
using Sizes = LogLineReader::Sizes;
using Texts = std::vector<std::wstring>;

constexpr Sizes kUsual;

Texts textsOf(std::string_view bytes, const Format& format, const Sizes& sizes = kUsual) {
    Texts texts;
    for (const LogLineModel::Line& line : readLogLines(bytes, format, sizes)) {
        texts.push_back(line.text);
    }
    return texts;
}

std::string wide(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8 & 0xFF);
    }
    return bytes;
}

// Everything that can be written with the alphabet's pieces, up to `most` of them.
void forEachText(const std::vector<std::string>& alphabet, int most,
                 const std::function<void(const std::string&)>& action,
                 const std::string& start = {}) {
    action(start);
    if (most > 0) {
        for (const std::string& piece : alphabet) {
            forEachText(alphabet, most - 1, action, start + piece);
        }
    }
}

void compareAll(const std::vector<std::string>& alphabet, int most, bool isWide,
                const Texts& delimiters) {
    for (const std::wstring& delimiter : delimiters) {
        for (const bool include : {false, true}) {
            const Format format{isWide, delimiter, include};
            for (const Sizes sizes : {Sizes{1, 4}, Sizes{3, 5}, Sizes{64, 100}}) {
                forEachText(alphabet, most, [&](const std::string& bytes) {
                    if (::testing::Test::HasFatalFailure()) {
                        return;
                    }
                    const LogLineModel model(bytes, format, sizes.lineLimit);
                    ASSERT_EQ(readLogLines(bytes, format, sizes), model.lines())
                        << ::testing::PrintToString(bytes) << " "
                        << ::testing::PrintToString(delimiter) << " " << sizes.block;
                });
            }
        }
    }
}

TEST(LogLineReaderTest, ReadsTextLikeTheModel) {
    compareAll({"a", "b", "\r", "\n"}, 6, false,
               {L"\n", L"\r\n", L"\r", L"ab", L"aab", L"b\r\n", L"\n\n", L"\n\r", L"\r\r\n",
                L"a\r\na", L""});
    // "\x82\xAC" behind "\xE2" is one character of UTF-8, alone it is two bytes that are none.
    compareAll({"a", "\n", "\xE2", "\x82\xAC", "\xC3\xA9", "\xF0\x9F\x98\x80"}, 5, false,
               {L"\n", L"a", L"\x20AC", L"\xE9\n", L"\xD83D", L""});
}

TEST(LogLineReaderTest, ReadsWideTextLikeTheModel) {
    compareAll(
        {wide(L"\n"), wide(L"\r"), wide(L"\x0A0A"), std::string(1, '\n'), std::string(1, 'a')}, 6,
        true, {L"\n", L"\r\n", L"\x0A0A", L"\x610A", L"\n\n", L""});
    compareAll({wide(L"\xD83D"), wide(L"\xDE00"), wide(L"\xFFFF"), wide(L"\n")}, 6, true,
               {L"\n", L"\xDE00", L"\xFFFF"});
}

TEST(LogLineReaderTest, WhatALineIs) {
    struct Case {
        std::string_view bytes;
        std::wstring_view delimiter;
        bool include;
        Texts lines;
    };
    const std::string_view withNul("a\0b\n", 4);
    const Case cases[] = {
        {"one\r\ntwo\nthr", L"\n", false, {L"one", L"two"}},
        {"one\r\ntwo\n", L"\r\n", true, {L"one\n", L"two\n"}},
        {"a\rb\n", L"\n", false, {L"a\rb"}},  // a CR by itself stays
        {"a\r\r\n", L"\n", false, {L"a\r"}},
        {"a\r\nb|c\n|", L"|", false, {L"a\nb", L"c\n"}},  // and a line end is a line feed
        {"1END\r\n2END\n", L"END\r\n", false, {L"1", L"2"}},
        {"aaab", L"aab", false, {L"a"}},
        {"aaaa", L"aa", false, {L"", L""}},
        {"a\x1A"
         "b\n\x1A\n",
         L"\n",
         false,
         {L"a\x1A"
          L"b",
          L"\x1A"}},
        {withNul, L"\n", false, {std::wstring(L"a\0b", 3)}},
        {"abc", L"", false, {L"a", L"b", L"c"}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(textsOf(c.bytes, {false, std::wstring(c.delimiter), c.include}), c.lines)
            << c.bytes;
    }
    const Format format{true, L"\r\n", false};
    EXPECT_EQ(textsOf(wide(L"a\xFFFF\nb\r\nc\r"), format), Texts{L"a\xFFFF\nb"});
    EXPECT_EQ(textsOf("x", format), Texts());
}

TEST(LogLineReaderTest, ALineWithoutAnEndComesInPieces) {
    const Format format{false, L"\n", false};
    const Sizes sizes{16, 10};
    EXPECT_EQ(textsOf("0123456789\r\n", format, sizes), Texts{L"0123456789"});
    EXPECT_EQ(textsOf("0123456789abcdefghijklm\n", format, sizes),
              (Texts{L"0123456789", L"abcdefghij", L"klm"}));
    EXPECT_EQ(textsOf("0123456789abcd", format, sizes), Texts()) << "its end may be there next";
}

// A code page in which a byte from 0x81 on and the one behind it are one character, here the one of
// the basic plane with both as its number.
class DoubleByteHost : public testing::HostDecorator {
public:
    using HostDecorator::HostDecorator;
    std::wstring widen(std::string_view bytes) override {
        widened += bytes.size();
        std::wstring text;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const auto byte = static_cast<unsigned char>(bytes[i]);
            const bool isLead = byte > 0x80 && i + 1 < bytes.size();
            text += static_cast<wchar_t>(isLead ? byte << 8 | static_cast<unsigned char>(bytes[++i])
                                                : byte);
        }
        return text;
    }
    std::string narrow(std::wstring_view text) override {
        std::string bytes;
        for (const wchar_t unit : text) {
            if (unit > 0xFF) {
                bytes += static_cast<char>(unit >> 8);
            }
            bytes += static_cast<char>(unit & 0xFF);
        }
        return bytes;
    }

    std::size_t widened = 0;  // bytes
};

TEST(LogLineReaderTest, ASecondByteIsNoDelimiter) {
    DoubleByteHost host(platform::host());
    const testing::ServiceOverride<platform::Host> answers(platformFactory.host, host);
    // The limit lies beyond every text: a piece may part the two bytes of a character.
    const std::vector<std::string> alphabet = {"|", "a", "\x81\x7C", "\x82\x81", "\x81\x81"};
    for (const wchar_t* delimiter : {L"|", L"a|", L"\x817C", L"\x8181", L"|\x8281"}) {
        const Format format{false, delimiter, false};
        forEachText(alphabet, 6, [&](const std::string& bytes) {
            ASSERT_EQ(readLogLines(bytes, format, Sizes{4, 100}),
                      LogLineModel(bytes, format, 100).lines())
                << ::testing::PrintToString(bytes) << ::testing::PrintToString(delimiter);
        });
    }
    // A place that is none does not have the whole line decoded again.
    std::string bytes;
    for (int i = 0; i < 20000; ++i) {
        bytes += "\x82\x81\x81\x82";
    }
    host.widened = 0;
    EXPECT_TRUE(textsOf(bytes, {false, L"\x8181", false}).empty());
    EXPECT_LT(host.widened, 20 * bytes.size());
}

}  // namespace
}  // namespace lathwind
