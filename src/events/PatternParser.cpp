// How a match works
//
// The pattern is a list of tokens. A match walks them from left to right with one position in the
// subject that only moves forward; nothing is ever tried a second time.
//
// A literal in front of any tag must stand where the position is. A tag by itself decides nothing:
// it notes where its value begins. The literal behind it ends the value, at the first place where
// its fixed part - all up to its first wildcard - stands in the subject. This is the shortest value
// that is possible for the tag given the tags before it, and the choice is final: if what follows
// does not match there, the whole match fails. Two rules keep that sound. A literal behind a tag
// begins with a fixed character, so the value has a defined end; and a tag never stands behind "*",
// so it has a defined beginning. Of two tags in a row the first one is therefore empty, and so is
// one that a stray brace has put in front of a wildcard.
//
// A line feed that directly follows a tag ends the value at the first line end, whatever comes
// after it: a value in front of a line end lies within one line.
//
// "*" skips to the first occurrence of the pattern's next character, and is as final.
//
// Each search begins where the last one ended, so a match costs at most the subject's length times
// that of the longest literal.

#include "events/PatternParser.h"

#include <algorithm>

#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::size_t kNone = std::wstring_view::npos;
constexpr std::wstring_view kWildcards = L"*?";
constexpr std::wstring_view kLineEnds = L"\r\n";

bool isWildcard(wchar_t unit) {
    return unit == L'*' || unit == L'?';
}

}  // namespace

PatternParser::PatternParser(std::wstring_view subject, std::wstring_view pattern)
    : subject_(subject), pattern_(pattern) {}

bool PatternParser::Parse() {
    if (!parsed_) {
        parsed_ = true;
        replaceAll(pattern_, L"\\n", L"\n");
        valid_ = split();
    }
    return valid_;
}

void PatternParser::addToken(PatternToken::Kind kind, std::size_t begin, std::size_t end) {
    tokens_.push_back({.kind = kind, .text = pattern_.substr(begin, end - begin)});
}

bool PatternParser::split() {
    bool inTag = false;
    bool inLiteral = false;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < pattern_.size(); ++i) {
        const wchar_t unit = pattern_[i];
        if (unit == L'{') {
            if (inLiteral) {
                if (pattern_[i - 1] == L'*') {
                    return false;
                }
                addToken(PatternToken::Kind::Literal, begin, i);
            }
            inLiteral = false;
            inTag = true;
            begin = i + 1;
        } else if (unit == L'}') {
            // Also where no tag is open: rules are written against this reading of stray braces.
            addToken(PatternToken::Kind::Tag, begin, i);
            inTag = false;
        } else if (inLiteral) {
            if (isWildcard(unit) && isWildcard(pattern_[i - 1])) {
                return false;
            }
        } else if (!inTag) {
            if (!tokens_.empty() && isWildcard(unit)) {
                return false;
            }
            inLiteral = true;
            begin = i;
        }
    }
    if (inLiteral) {
        addToken(PatternToken::Kind::Literal, begin, pattern_.size());
    }
    return !inTag && !tokens_.empty();
}

void PatternParser::Match(std::wstring& matched, Captures* captures) {
    matched.clear();
    if (!Parse() || !matchTokens(matched)) {
        matched.clear();
        return;
    }
    if (captures == nullptr) {
        return;
    }
    for (const PatternToken& token : tokens_) {
        if (token.kind == PatternToken::Kind::Tag) {
            captures->emplace(token.text, subject_.substr(token.start, token.end - token.start));
        }
    }
}

bool PatternParser::matchTokens(std::wstring& matched) {
    position_ = 0;
    if (tokens_.size() == 1) {
        // Callers select with tags or wildcards; plain text they search for by themselves.
        closeValue(tokens_.front(), subject_.size(), matched);
        return true;
    }
    PatternToken* openTag = nullptr;
    for (PatternToken& token : tokens_) {
        if (token.kind == PatternToken::Kind::Tag) {
            if (openTag != nullptr) {
                closeValue(*openTag, position_, matched);
            }
            token.start = static_cast<std::uint32_t>(position_);
            openTag = &token;
            continue;
        }
        if (openTag != nullptr) {
            const std::size_t end = findValueEnd(token.text);
            if (end == kNone) {
                return false;
            }
            closeValue(*openTag, end, matched);
            openTag = nullptr;
        }
        token.start = static_cast<std::uint32_t>(position_);
        if (!matchLiteral(token.text, matched)) {
            return false;
        }
        token.end = static_cast<std::uint32_t>(position_);
    }
    if (openTag != nullptr) {
        closeValue(*openTag, subject_.size(), matched);
    }
    return true;
}

void PatternParser::closeValue(PatternToken& tag, std::size_t end, std::wstring& matched) {
    tag.end = static_cast<std::uint32_t>(end);
    matched.append(subject_, position_, end - position_);
    position_ = end;
}

// Where the value of an open tag ends: the first place where the literal behind it can begin.
std::size_t PatternParser::findValueEnd(std::wstring_view literal) const {
    const std::wstring_view fixed = literal.substr(0, literal.find_first_of(kWildcards));
    if (fixed.starts_with(L'\n')) {
        return subject_.find_first_of(kLineEnds, position_);
    }
    if (fixed.find(L'\n') == kNone) {
        return subject_.find(fixed, position_);
    }
    std::size_t place = subject_.find(fixed.front(), position_);
    while (place != kNone && !matchFixedAt(fixed, place)) {
        place = subject_.find(fixed.front(), place + 1);
    }
    return place;
}

bool PatternParser::matchFixedAt(std::wstring_view fixed, std::size_t position) const {
    return std::all_of(fixed.begin(), fixed.end(), [&](wchar_t unit) {
        return unit == L'\n' ? matchLineEnd(position)
                             : position < subject_.size() && subject_[position++] == unit;
    });
}

bool PatternParser::matchLineEnd(std::size_t& position) const {
    if (position >= subject_.size() || kLineEnds.find(subject_[position]) == kNone) {
        return false;
    }
    const bool pair = subject_.compare(position, 2, kLineEnds) == 0;
    position += pair ? 2 : 1;
    return true;
}

bool PatternParser::matchLiteral(std::wstring_view literal, std::wstring& matched) {
    for (std::size_t i = 0; i < literal.size(); ++i) {
        const wchar_t unit = literal[i];
        if (unit == L'*') {
            if (!matchRun(literal.substr(i + 1), matched)) {
                return false;
            }
        } else if (unit == L'\n') {
            if (!matchLineEnd(position_)) {
                return false;
            }
            matched += L'\n';
        } else {
            if (position_ >= subject_.size() || (unit != L'?' && unit != subject_[position_])) {
                return false;
            }
            matched += subject_[position_++];
        }
    }
    return true;
}

bool PatternParser::matchRun(std::wstring_view behindStar, std::wstring& matched) {
    std::size_t end = subject_.size();
    if (!behindStar.empty()) {
        end = behindStar.front() == L'\n' ? subject_.find_first_of(kLineEnds, position_)
                                          : subject_.find(behindStar.front(), position_);
    }
    if (end == kNone) {
        return false;
    }
    matched.append(subject_, position_, end - position_);
    position_ = end;
    return true;
}

bool PatternParser::MatchPath(std::wstring_view patternPath, bool wildcardFolders) const {
    std::wstring_view path = subject_;
    bool wildcardsAllowed = true;
    for (;;) {
        const std::size_t pathCut = path.rfind(L'\\');
        const std::size_t patternCut = patternPath.rfind(L'\\');
        const std::wstring_view part = patternPath.substr(patternCut + 1);
        if ((!wildcardsAllowed && part.find_first_of(kWildcards) != kNone) ||
            !FileIO::MatchesMask(path.substr(pathCut + 1), part, true)) {
            return false;
        }
        if (pathCut == kNone || patternCut == kNone) {
            return pathCut == patternCut;
        }
        path = path.substr(0, pathCut);
        patternPath = patternPath.substr(0, patternCut);
        wildcardsAllowed = wildcardFolders;
        if (!wildcardFolders) {
            patternPath = trimRight(patternPath, L"*");
        }
    }
}

void PatternParser::PrintTokens() const {
    for (const PatternToken& token : tokens_) {
        debugLog(ModuleId::ProcessEvent, L"PatternParser::PrintTokens - %s", token.text);
    }
}

}  // namespace lathwind
