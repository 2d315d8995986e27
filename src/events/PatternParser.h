#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lathwind {

struct PatternToken {
    enum class Kind : std::int32_t { Literal = 0, Tag = 1 };
    Kind kind = Kind::Literal;
    std::wstring text;  // a literal with its wildcards, or a tag's name without braces
    // Where a match found the token in the subject, in UTF-16 units.
    std::uint32_t start = 0;
    std::uint32_t end = 0;
};

// Matches one text, usually a log record, against a pattern that mixes literal text, wildcards and
// named tags, and hands back what stood at the tags. Made for one subject and one pattern.
//
//   pattern "user {USER_NAME} denied*"   on "user ann denied at 9"   USER_NAME = "ann"
//   pattern "a{X}b"                      on "a1b2b"                  X = "1"
//   pattern "{X}"                        on "abc"                    X = "abc"
//
// A literal may hold "*" (any run of characters up to the next one of the pattern), "?" (one
// character) and a line feed (any line end: CR LF, CR or LF); the two characters "\n" in a pattern
// are a line feed. Matching is case-sensitive, starts at the subject's first character and needs
// not reach its last one. A tag takes the shortest value that lets what follows it begin; a tag
// at the pattern's end takes all the rest.
//
// A "}" is a tag's end wherever it stands. Without a "{" of its own the tag's name is what stands
// in front of it, back to the last "{" or to the literal's beginning, and a literal around it goes
// on: "a}b" is a tag "a" in front of the literal "a}b".
//
// A pattern of one token, be it a literal or a tag, accepts every subject.
//
// Invalid are: the empty pattern, a tag directly behind "*" or in front of "*" or "?" (its value
// would have no defined end), two wildcards in a row, an unfinished tag.
class PatternParser {
public:
    using Captures = std::map<std::wstring, std::wstring>;

    PatternParser(std::wstring_view subject, std::wstring_view pattern);

    // False for an invalid pattern, which Match treats as one that does not match.
    bool Parse();
    // `matched` becomes the text that matched, with each line end that a line feed of the pattern
    // stands for as a line feed; it is empty when nothing matched. Each tag adds its name and value
    // to `captures` (may be null; left alone when nothing matched); of two tags of one name the
    // first one counts.
    void Match(std::wstring& matched, Captures* captures);

    // Is the subject a path that `patternPath` describes? Both are compared part by part, from the
    // end; "*" and "?" stand for characters of one part. In a folder's name they are not allowed,
    // save a run of "*" at its end, which is ignored; `wildcardFolders` allows them everywhere.
    bool MatchPath(std::wstring_view patternPath, bool wildcardFolders = false) const;

    // The parsed tokens; of an invalid pattern those in front of the error.
    const std::vector<PatternToken>& tokens() const { return tokens_; }
    void PrintTokens() const;  // as debug lines

private:
    void addToken(PatternToken::Kind kind, std::size_t begin, std::size_t end);
    bool split();
    bool matchTokens(std::wstring& matched);
    bool matchLiteral(std::wstring_view literal, std::wstring& matched);
    bool matchRun(std::wstring_view behindStar, std::wstring& matched);
    bool matchLineEnd(std::size_t& position) const;
    bool matchFixedAt(std::wstring_view fixed, std::size_t position) const;
    std::size_t findValueEnd(std::wstring_view literal) const;
    void closeValue(PatternToken& tag, std::size_t end, std::wstring& matched);

    std::wstring subject_;
    std::wstring pattern_;  // with line feeds for "\n", once parsed
    std::vector<PatternToken> tokens_;
    bool parsed_ = false;
    bool valid_ = false;
    std::size_t position_ = 0;  // of a match, in the subject
};

}  // namespace lathwind
