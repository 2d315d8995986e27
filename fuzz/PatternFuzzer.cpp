// A pattern, a NUL, and a subject. What a match says it found must lie in the subject, token behind
// token, and be what the tokens ask for.

#include <algorithm>

#include "events/PatternParser.h"
#include "utils/Text.h"

namespace {

using lathwind::PatternParser;
using lathwind::PatternToken;

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

// May `piece` stand at a literal without "*" and line feeds?
bool isAt(const std::wstring& literal, std::wstring_view piece) {
    return std::equal(literal.begin(), literal.end(), piece.begin(), piece.end(),
                      [](wchar_t asked, wchar_t found) { return asked == L'?' || asked == found; });
}

void checkTokens(const PatternParser& parser, std::wstring_view subject,
                 const PatternParser::Captures& captures) {
    PatternParser::Captures values;
    std::size_t position = 0;
    for (const PatternToken& token : parser.tokens()) {
        require(token.start == position && token.end >= token.start && token.end <= subject.size());
        position = token.end;
        const std::wstring_view piece = subject.substr(token.start, token.end - token.start);
        if (token.kind == PatternToken::Kind::Tag) {
            values.emplace(token.text, piece);
        } else if (parser.tokens().size() > 1 &&
                   token.text.find_first_of(L"*\n") == std::wstring::npos) {
            require(isAt(token.text, piece));
        }
    }
    require(values == captures);
}

void checkPath(const std::wstring& pattern, const std::wstring& subject) {
    const PatternParser parser(subject, {});
    const bool narrow = parser.MatchPath(pattern, false);
    const bool wide = parser.MatchPath(pattern, true);
    require(wide || !narrow);
    if (pattern.find_first_of(L"*?") == std::wstring::npos) {
        require(narrow == (pattern == subject) && wide == narrow);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = std::min(bytes.find('\0'), size);
    const std::wstring pattern = utf16FromUtf8(bytes.substr(0, cut));
    const std::wstring subject = utf16FromUtf8(bytes.substr(std::min(cut + 1, size)));

    PatternParser parser(subject, pattern);
    PatternParser::Captures captures;
    std::wstring matched;
    parser.Match(matched, &captures);
    if (!matched.empty()) {
        require(parser.Parse());
        checkTokens(parser, subject, captures);
    }
    checkPath(pattern, subject);
    return 0;
}
