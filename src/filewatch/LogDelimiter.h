#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace lathwind {

// Bytes of the character at the start of `bytes`, which is text of the system code page and not
// empty: the most that are a single one. CR LF is one.
std::size_t textCharacterSize(std::string_view bytes);
inline constexpr std::size_t kLongestTextCharacter = 4;  // bytes, of UTF-8

// What ends a line of a log, found in the log's bytes as they stand in the file: nothing has to be
// decoded to know where a line ends.
//
// A log of text holds characters of the system code page. In it CR LF is one character, a line
// feed, on every platform; a CR by itself stays one. The same goes for the delimiter, so that
// "END\r\n" ends lines of logs with either line end. A wide log has two bytes a character,
// little-endian, and nothing in it is changed.
//
// A delimiter that the system code page cannot express never occurs in a log of text.
class LogDelimiter {
public:
    LogDelimiter(std::wstring_view delimiter, bool inWideLog);

    // A delimiter's place in a line: bytes from the line's start.
    struct Place {
        std::size_t begin = 0;
        std::size_t end = 0;
    };
    // The place that ends first. `line` begins where the line does; bytes in front of `searched`
    // hold no end, which is what an earlier call left there. `isLast` says that no byte will
    // follow: only then does a CR at the very end count as a character of its own.
    // False, with `searched` moved on, if there is none yet.
    bool Find(std::string_view line, bool isLast, std::size_t& searched, Place& place) const;

    bool IsEmpty() const noexcept { return text_.empty(); }
    // As characters of a decoded line.
    const std::wstring& GetText() const noexcept { return text_; }
    // Bytes that it takes at most.
    std::size_t GetMostBytes() const noexcept { return mostBytes_; }

private:
    bool FindWide(std::string_view line, std::size_t& searched, Place& place) const;
    std::size_t BeginOfMatch(std::string_view line, std::size_t end) const;
    bool IsAtCharacter(std::string_view line, const Place& place, std::size_t& boundary) const;

    bool isWide_;
    std::wstring text_;
    std::string bytes_;  // of text: with LF where the log may have CR LF
    std::size_t mostBytes_ = 0;
    bool isExpressible_ = true;
    bool mayHideInCharacters_ = false;
};

}  // namespace lathwind
