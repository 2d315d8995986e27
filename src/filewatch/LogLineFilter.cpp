#include "filewatch/LogLineFilter.h"

#include <algorithm>
#include <cstring>

#include "events/PatternParser.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kNotFixed = L"*?\r\n";
constexpr wchar_t kAsciiEnd = 0x80;

// The bytes of running text from the most frequent one on. What is missing is rarer.
constexpr std::string_view kFrequent = " etaoinsrhldcumfpgwybvk0123456789.:-/,";

std::size_t rarestOf(std::string_view bytes) {
    const auto rank = [](char byte) { return std::min(kFrequent.find(byte), kFrequent.size()); };
    const auto rarer = [&](char a, char b) { return rank(a) < rank(b); };
    return static_cast<std::size_t>(std::max_element(bytes.begin(), bytes.end(), rarer) -
                                    bytes.begin());
}

}  // namespace

LogLineFilter::LogLineFilter(const std::wstring& parseString, bool inWideLog)
    : kind_(Kind::Everything), text_(parseString) {
    if (text_.find(L'{') != std::wstring::npos) {
        kind_ = Kind::Pattern;
        RequireOfPattern(inWideLog);
    } else if (!text_.empty()) {
        kind_ = Kind::Text;
        Require(text_, inWideLog);
    }
}

// Every literal of a pattern with more than one token stands in a line that matches, with nothing
// between two of its characters other than its wildcards.
void LogLineFilter::RequireOfPattern(bool inWideLog) {
    PatternParser pattern({}, text_);
    if (!pattern.Parse()) {
        kind_ = Kind::Nothing;
        return;
    }
    if (pattern.tokens().size() == 1) {
        return;
    }
    for (const PatternToken& token : pattern.tokens()) {
        if (token.kind == PatternToken::Kind::Literal) {
            Require(token.text, inWideLog);
        }
    }
}

// Takes the longest run of characters whose bytes are certain: of a log of text, whose code page
// may be any, those of ASCII.
void LogLineFilter::Require(std::wstring_view text, bool inWideLog) {
    const bool isPattern = kind_ == Kind::Pattern;
    std::string run;
    for (const wchar_t unit : text) {
        const bool isFixed = isPattern ? kNotFixed.find(unit) == std::wstring_view::npos
                                       : unit != L'\r' && unit != L'\n';
        if (!isFixed || (!inWideLog && unit >= kAsciiEnd)) {
            run.clear();
            continue;
        }
        run += static_cast<char>(unit & 0xFF);
        if (inWideLog) {
            run += static_cast<char>(unit >> 8 & 0xFF);
        }
        if (run.size() > required_.size()) {
            required_ = run;
            rarest_ = rarestOf(required_);
        }
    }
}

bool LogLineFilter::MayMatch(std::string_view bytes) const {
    if (required_.empty()) {
        return kind_ != Kind::Nothing;
    }
    if (bytes.size() < required_.size()) {
        return false;
    }
    const char* place = bytes.data() + rarest_;
    const char* const end = bytes.data() + (bytes.size() - required_.size()) + rarest_ + 1;
    for (; place < end; ++place) {
        const void* found = std::memchr(place, static_cast<unsigned char>(required_[rarest_]),
                                        static_cast<std::size_t>(end - place));
        if (found == nullptr) {
            return false;
        }
        place = static_cast<const char*>(found);
        if (std::memcmp(place - rarest_, required_.data(), required_.size()) == 0) {
            return true;
        }
    }
    return false;
}

bool LogLineFilter::Matches(const std::wstring& line, FieldMap& captures) const {
    captures.clear();
    if (kind_ == Kind::Text) {
        return line.find(text_) != std::wstring::npos;
    }
    if (kind_ == Kind::Pattern) {
        std::wstring matched;
        PatternParser(line, text_).Match(matched, &captures);
        return !matched.empty();
    }
    return kind_ == Kind::Everything;
}

}  // namespace lathwind
