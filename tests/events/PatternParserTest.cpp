#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <utility>

#include "events/PatternParser.h"

namespace lathwind {
namespace {

using Captures = PatternParser::Captures;

// "matched" followed by "|name=value" for each tag; nothing for no match.
std::wstring match(std::wstring_view subject, std::wstring_view pattern) {
    PatternParser parser(subject, pattern);
    std::wstring matched;
    Captures captures;
    parser.Match(matched, &captures);
    if (matched.empty()) {
        EXPECT_TRUE(captures.empty() || subject.empty());
        return {};
    }
    for (const auto& [name, value] : captures) {
        matched += L"|" + name + L"=" + value;
    }
    return matched;
}

TEST(PatternParser, Matches) {
    struct Case {
        std::wstring_view pattern;
        std::wstring_view subject;
        std::wstring_view result;
    };
    const Case cases[] = {
        {L"a{X}b", L"a1b2b", L"a1b|X=1"},
        {L"{X}", L"abc", L"abc|X=abc"},
        {L"{X}{Y}", L"abc", L"abc|X=|Y=abc"},
        {L"{X}{Y}c", L"abc", L"abc|X=|Y=ab"},
        {L"user {U} denied*", L"user ann denied at 9", L"user ann denied at 9|U=ann"},
        {L"user {U} denied", L"user ann denied at 9", L"user ann denied|U=ann"},
        {L"anything", L"a single literal takes all", L"a single literal takes all"},
        {L"a{X}", L"a", L"a|X="},
        {L"a{X}", L"b", L""},
        {L"a{X}", L"ba", L""},
        {L"A{X}", L"a1", L""},
        {L"{X}aab", L"aaab", L"aaab|X=a"},
        {L"{X}b*", L"1b", L"1b|X=1"},
        {L"{X}b*d", L"1bcccd", L"1bcccd|X=1"},
        {L"{X}b*d", L"1bccc", L""},
        {L"{X}b*de", L"1bd de", L""},  // "*" stops at the first "d" for good
        {L"{X}b?d", L"1bcd", L"1bcd|X=1"},
        {L"{X}b?", L"1b", L""},
        {L"?{X}", L"abc", L"abc|X=bc"},
        {L"{X}1{X}2", L"a1b2", L"a1b2|X=a"},
        {L"{}=", L"v=", L"v=|=v"},
        {L"{a{b}c", L"1c", L"1c|b=1"},
        {L"a}{X}", L"ba}1", L"ba}1|X=1|a=b"},
        {L"*}b{X}", L"1}b2", L"1}b2|*=|X=2"},
        {L"{X}}", L"abc", L"abc|X=|X}=abc"},
        {L"a}b", L"ab", L""},
        {L"}", L"abc", L"abc|=abc"},
        {L"a\\nb{X}", L"a\r\nb1", L"a\nb1|X=1"},
        {L"a\\nb{X}", L"a\nb1", L"a\nb1|X=1"},
        {L"a\\nb{X}", L"a\rb1", L"a\nb1|X=1"},
        {L"a\\nb{X}", L"a\r\rb1", L""},
        {L"{X}\\n", L"ab\r", L"ab\n|X=ab"},
        {L"{X}\\nb", L"1\r\nb", L"1\nb|X=1"},
        {L"{X}\\nb", L"\nb", L"\nb|X="},
        {L"{X}\\nb", L"1\nc\nb", L""},  // a value in front of a line end is one line
        {L"{X}a\\nb", L"aa\r\nb", L"aa\nb|X=a"},
        {L"{X}a*\\nb", L"1a..\r\nb", L"1a..\nb|X=1"},
        {L"a\\t{X}", L"a\\t1", L"a\\t1|X=1"},
        {L"a{X}", L"", L""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(match(c.subject, c.pattern), c.result)
            << ::testing::PrintToString(std::wstring(c.pattern)) << " on "
            << ::testing::PrintToString(std::wstring(c.subject));
    }
}

TEST(PatternParser, RefusesPatternsWithoutADefinedEnd) {
    for (const auto* pattern : {L"", L"a*{X}", L"{X}*a", L"{X}?a", L"a**b", L"a*?b", L"a??b", L"{X",
                                L"a{X}b{", L"{X}{", L"*{X}", L"}*"}) {
        PatternParser parser(L"a1b", pattern);
        std::wstring matched = L"old";
        EXPECT_FALSE(parser.Parse());
        parser.Match(matched, nullptr);
        EXPECT_EQ(matched, L"");
        EXPECT_FALSE(parser.Parse()) << "the answer is kept";
    }
}

TEST(PatternParser, SplitsIntoTokens) {
    const std::pair<std::wstring_view, std::wstring_view> cases[] = {
        {L"a?{X}\\nb{}", L"L:a?;T:X;L:\nb;T:;"},
        {L"a}b", L"T:a;L:a}b;"},
        {L"a}b}{X}}c", L"T:a;T:a}b;L:a}b};T:X;T:X};L:c;"},
        {L"}a", L"T:;L:a;"},
    };
    for (const auto& [pattern, expected] : cases) {
        PatternParser parser({}, pattern);
        ASSERT_TRUE(parser.Parse());
        std::wstring tokens;
        for (const PatternToken& token : parser.tokens()) {
            tokens += (token.kind == PatternToken::Kind::Tag ? L"T:" : L"L:") + token.text + L";";
        }
        EXPECT_EQ(tokens, expected);
    }
}

// The definition in its plainest form: one element a character, every question asked again from
// the beginning. It only knows patterns of two tokens and more.
class SlowMatch {
public:
    SlowMatch(std::wstring_view subject, std::wstring_view pattern) : subject_(subject) {
        // Each stray brace of a stretch between tags is a tag ahead of the stretch's literal.
        while (!pattern.empty()) {
            const std::wstring_view stretch = pattern.substr(0, pattern.find(L'{'));
            const auto strays = std::count(stretch.begin(), stretch.end(), L'}');
            elements_.append(static_cast<std::size_t>(strays), L'X');
            elements_ += stretch.substr(std::min(stretch.find_first_not_of(L'}'), stretch.size()));
            pattern.remove_prefix(stretch.size());
            if (!pattern.empty()) {
                elements_ += L'X';
                pattern.remove_prefix(pattern.find(L'}') + 1);
            }
        }
    }

    // The values of the tags, "|"-separated, or nothing.
    std::optional<std::wstring> run() const {
        std::wstring values;
        std::size_t at = 0;
        for (std::size_t i = 0; i < elements_.size(); ++i) {
            std::size_t end = at;
            const bool isTag = elements_[i] == L'X';
            if (isTag || elements_[i] == L'*') {
                while (!canGoOn(i + 1, end, isTag)) {
                    if (++end > subject_.size()) {
                        return std::nullopt;
                    }
                }
                if (isTag) {
                    values += subject_.substr(at, end - at);
                    values += L'|';
                }
                at = end;
            } else if (const std::size_t length = lengthAt(i, at)) {
                at += length;
            } else {
                return std::nullopt;
            }
        }
        return values;
    }

private:
    // Units that one element takes; 0 if it does not stand there.
    std::size_t lengthAt(std::size_t element, std::size_t at) const {
        const std::wstring_view rest = subject_.substr(std::min(at, subject_.size()));
        if (elements_[element] == L'\n') {
            return rest.starts_with(L"\r\n") ? 2
                                             : rest.starts_with(L'\r') || rest.starts_with(L'\n');
        }
        return !rest.empty() && (elements_[element] == L'?' || elements_[element] == rest[0]);
    }
    // May what is in front of `element` end at `at`? Behind a tag the whole fixed part must stand
    // there, behind "*" or in front of a line end one element.
    bool canGoOn(std::size_t element, std::size_t at, bool behindTag) const {
        if (element == elements_.size()) {
            return at == subject_.size();
        }
        if (elements_[element] == L'X') {
            return true;
        }
        const bool oneIsEnough = !behindTag || elements_[element] == L'\n';
        for (; element < elements_.size(); ++element) {
            if (std::wstring_view(L"X*?").find(elements_[element]) != std::wstring_view::npos) {
                return true;
            }
            const std::size_t length = lengthAt(element, at);
            if (length == 0 || oneIsEnough) {
                return length != 0;
            }
            at += length;
        }
        return true;
    }

    std::wstring_view subject_;
    std::wstring elements_;
};

// Every text of up to `length` pieces.
std::vector<std::wstring> allTexts(const std::vector<std::wstring>& pieces, std::size_t length) {
    std::vector<std::wstring> texts = {{}};
    for (std::size_t begin = 0; length > 0; --length) {
        const std::size_t end = texts.size();
        for (; begin < end; ++begin) {
            for (const std::wstring& piece : pieces) {
                texts.push_back(texts[begin] + piece);
            }
        }
    }
    return texts;
}

void compareWithSlowMatch(const std::vector<std::wstring>& patterns,
                          const std::vector<std::wstring>& subjects) {
    std::size_t matches = 0;
    for (const std::wstring& pattern : patterns) {
        PatternParser first({}, pattern);
        if (!first.Parse() || first.tokens().size() < 2) {
            continue;
        }
        for (const std::wstring& subject : subjects) {
            PatternParser parser(subject, pattern);
            std::wstring matched;
            Captures unused;
            parser.Match(matched, &unused);
            const auto expected = SlowMatch(subject, pattern).run();
            std::wstring values;
            for (const PatternToken& token : parser.tokens()) {
                if (token.kind == PatternToken::Kind::Tag) {
                    values += subject.substr(token.start, token.end - token.start) + L"|";
                }
            }
            ASSERT_EQ(!matched.empty(), expected.has_value() && !subject.empty())
                << ::testing::PrintToString(pattern) << ::testing::PrintToString(subject);
            if (!matched.empty()) {
                ++matches;
                ASSERT_EQ(values, *expected)
                    << ::testing::PrintToString(pattern) << ::testing::PrintToString(subject);
            }
        }
    }
    EXPECT_GT(matches, 1000u);
}

TEST(PatternParser, AgreesWithASlowMatch) {
    compareWithSlowMatch(allTexts({L"a", L"b", L"*", L"?", L"{X}"}, 6), allTexts({L"a", L"b"}, 6));
    compareWithSlowMatch(allTexts({L"a", L"\n", L"*", L"{X}"}, 5),
                         allTexts({L"a", L"\r", L"\n"}, 5));
    compareWithSlowMatch(allTexts({L"a", L"}", L"*", L"?", L"{X}"}, 5), allTexts({L"a", L"}"}, 6));
}

TEST(PatternParser, LongSubjectsCostNoMoreThanTheirLength) {
    const std::wstring subject = std::wstring(200'000, L'a') + L"b";
    std::wstring pattern;
    for (int i = 0; i < 1000; ++i) {
        pattern += L"{X}a";
    }
    PatternParser parser(subject, pattern + L"{Y}b");
    std::wstring matched;
    parser.Match(matched, nullptr);
    EXPECT_EQ(matched.size(), subject.size());
}

TEST(PatternParser, Paths) {
    struct Case {
        std::wstring_view pattern;
        std::wstring_view path;
        bool narrow;  // wildcards in the last part only
        bool wide;    // wildcards in folders too
    };
    const Case cases[] = {
        {L"c:\\logs\\app.log", L"c:\\logs\\app.log", true, true},
        {L"c:\\logs\\*.log", L"c:\\logs\\app.old.log", true, true},
        {L"c:\\logs\\a?p.*", L"c:\\logs\\app.log", true, true},
        {L"c:\\logs\\*.log", L"c:\\logs\\sub\\app.log", false, false},
        {L"c:\\logs\\*.log", L"c:\\other\\app.log", false, false},
        {L"c:\\Logs\\*.log", L"c:\\logs\\app.log", false, false},
        {L"c:\\l*s\\app.log", L"c:\\logs\\app.log", false, true},
        {L"c:\\*\\app.log", L"c:\\logs\\app.log", false, true},
        {L"c:\\logs**\\app.log", L"c:\\logs\\app.log", true, true},
        {L"c:\\log*\\app.log", L"c:\\logs\\app.log", false, true},
        {L"*.log", L"app.log", true, true},
        {L"*.log", L"c:\\logs\\app.log", false, false},
        {L"c:\\logs\\app.log", L"app.log", false, false},
        {L"", L"", true, true},
    };
    for (const Case& c : cases) {
        const PatternParser parser(c.path, {});
        EXPECT_EQ(parser.MatchPath(c.pattern), c.narrow)
            << std::string(c.pattern.begin(), c.pattern.end());
        EXPECT_EQ(parser.MatchPath(c.pattern, true), c.wide);
    }
}

}  // namespace
}  // namespace lathwind
