#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "filewatch/LogDelimiter.h"

namespace lathwind {

// Cuts the bytes of a log into lines, by blocks. docs/log-following.md tells how logs are decoded.
//
//   LogLineReader reader({.isWide = false, .delimiter = L"\n"});
//   reader.Restart(offset);
//   while (reader.Find(source) != LogLineReader::Found::Nothing) {
//       reader.GetText(line);
//       offset = reader.GetPosition();
//   }
//
// A line is handed on once its delimiter is there. What stands behind the last delimiter is not:
// it is read again, from the position behind the last line.
//
// Memory is bounded by the limit of a line and a block. One thread uses an object. Nothing throws
// but for lack of memory.
class LogLineReader {
public:
    // How the log is read.
    struct Format {
        // Two bytes a character, little-endian; otherwise text of the system code page.
        bool isWide = false;
        std::wstring delimiter = L"\n";
        bool includeDelimiter = false;
    };
    // In bytes, both at least 4.
    struct Sizes {
        std::size_t block = 128 * 1024;       // of one reading
        std::size_t lineLimit = 1024 * 1024;  // of a line without its delimiter
    };
    // Fills `target` with the bytes that follow those it gave before, and gives their number;
    // 0 at the end of what there is, and after an error.
    using Source = std::function<std::size_t(char* target, std::size_t count)>;

    enum class Found {
        Nothing,
        Line,
        Piece,  // of a line that is longer than the limit; the rest follows as lines of their own
    };

    explicit LogLineReader(const Format& format) : LogLineReader(format, Sizes()) {}
    LogLineReader(const Format& format, const Sizes& sizes);

    // Forgets what was read: the next byte of the source is the one at `position`, and begins a
    // line.
    void Restart(std::uint64_t position) noexcept;

    // The next line. The first form takes it from what was read already.
    Found Find();
    Found Find(const Source& source);

    // Of the line that was found last, until the next call of another operation than these. With
    // the delimiter if the format includes it.
    std::string_view GetBytes() const noexcept;  // as in the file
    void GetText(std::wstring& text) const;      // decoded
    std::uint64_t GetPosition() const noexcept;  // of the byte behind it and its delimiter

private:
    Found Search(bool isLast);
    Found Take(const LogDelimiter::Place& end, Found found);
    Found TakeCharacter(bool isLast);
    std::size_t PieceSize() const;
    bool Fill(const Source& source);
    std::string_view Rest() const noexcept;

    const bool isWide_;
    const bool includeDelimiter_;
    const Sizes sizes_;
    const LogDelimiter delimiter_;

    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t line_ = 0;      // begin of the line found last, in the buffer
    std::size_t lineSize_ = 0;  // without its delimiter
    std::size_t delimiterSize_ = 0;
    std::size_t begin_ = 0;     // of the next line
    std::size_t end_ = 0;       // of what was read
    std::size_t searched_ = 0;  // bytes of the next line that hold no delimiter's end
    std::uint64_t base_ = 0;    // position of the buffer's first byte
};

}  // namespace lathwind
