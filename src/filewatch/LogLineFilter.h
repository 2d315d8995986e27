#pragma once

#include <string>
#include <string_view>

#include "events/LogRecordEvents.h"

namespace lathwind {

// Which lines of a log become events: those that hold a piece of text, or those that match a
// pattern with tags (events/PatternParser.h), or all. Made once for many lines; any thread may use
// a const one.
class LogLineFilter {
public:
    // `parseString` as it stands in the entry: empty for every line, a pattern if it has a "{".
    LogLineFilter(const std::wstring& parseString, bool inWideLog);

    // False only if no line with these bytes can match: most lines of a log need no decoding.
    bool MayMatch(std::string_view bytes) const;
    // `captures` gets the values at the tags, and is emptied first.
    bool Matches(const std::wstring& line, FieldMap& captures) const;

private:
    enum class Kind { Everything, Nothing, Text, Pattern };

    void Require(std::wstring_view text, bool inWideLog);
    void RequireOfPattern(bool inWideLog);

    Kind kind_;
    std::wstring text_;       // or the pattern
    std::string required_;    // bytes that every matching line holds; empty when there are none
    std::size_t rarest_ = 0;  // the index among them to look for
};

}  // namespace lathwind
