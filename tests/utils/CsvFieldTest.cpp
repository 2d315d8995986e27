#include <gtest/gtest.h>

#include "utils/CsvField.h"

namespace lathwind {
namespace {

using Fields = std::vector<std::wstring>;

TEST(CsvField, SplitsALine) {
    struct Case {
        std::wstring line;
        bool ok;
        Fields fields;
    };
    const std::vector<Case> cases = {
        {L"", false, {}},
        {L"a", true, {L"a"}},
        {L"a,b", true, {L"a", L"b"}},
        {L",", true, {L"", L""}},
        {L"a,", true, {L"a", L""}},
        {L",,b", true, {L"", L"", L"b"}},
        {L"\"\"", true, {L""}},
        {L"\"a,b\",c", true, {L"a,b", L"c"}},
        {L"\"say \"\"x\"\"\",\"\"\"\"", true, {L"say \"x\"", L"\""}},
        {L" a , b ", true, {L" a ", L" b "}},
        {L"a\"b,c\"", true, {L"a\"b", L"c\""}},
        {L"\"a\" b,c", true, {L"a b", L"c"}},
        {L"\"a\"\r\n,b", true, {L"a\r\n", L"b"}},
        {L"\"", false, {}},
        {L"a,\"b,c", false, {}},
        {L"a,\"b\"\"", false, {}},
    };
    for (const Case& c : cases) {
        Fields fields = {L"old"};
        EXPECT_EQ(SplitFields(c.line, fields), c.ok) << ::testing::PrintToString(c.line);
        EXPECT_EQ(fields, c.fields) << ::testing::PrintToString(c.line);
    }
}

// Every list of up to three fields of up to three units each, over quote, separator and a letter.
TEST(CsvField, SplitsWhatIsJoined) {
    Fields words = {L""};
    for (std::size_t i = 0; words[i].size() < 3; ++i) {
        for (const wchar_t unit : std::wstring_view(L"\",a")) {
            words.push_back(words[i] + unit);
        }
    }
    const auto joined = [](const Fields& list) {
        std::wstring line;
        for (std::size_t i = 0; i < list.size(); ++i) {
            line += i == 0 ? L"" : L",";
            line += csvField(list[i]);
        }
        return line;
    };
    const auto check = [&](const Fields& list) {
        Fields fields;
        const bool isNothing = list.size() == 1 && list[0].empty();
        ASSERT_EQ(SplitFields(joined(list), fields), !isNothing);
        ASSERT_EQ(fields, isNothing ? Fields() : list);
    };
    for (const std::wstring& first : words) {
        ASSERT_NO_FATAL_FAILURE(check({first}));
        for (const std::wstring& second : words) {
            ASSERT_NO_FATAL_FAILURE(check({first, second}));
            ASSERT_NO_FATAL_FAILURE(check({first, second, first}));
        }
    }
}

TEST(CsvField, TakesOtherSignsAndLongLines) {
    Fields fields;
    EXPECT_TRUE(SplitFields(L"'a;b';c,d", fields, L';', L'\''));
    EXPECT_EQ(fields, (Fields{L"a;b", L"c,d"}));

    const std::wstring quotes(4'000'000, L'"');
    EXPECT_TRUE(SplitFields(quotes, fields));
    ASSERT_EQ(fields.size(), 1U);
    EXPECT_EQ(fields[0].size(), quotes.size() / 2 - 1);
}

}  // namespace
}  // namespace lathwind
