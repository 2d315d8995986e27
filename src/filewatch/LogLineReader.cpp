// A block is read behind what is left of the one before it, so that a line always lies in one
// piece, and its end is searched for in the bytes. Decoding comes after that, for those lines that
// somebody wants to see.

#include "filewatch/LogLineReader.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "utils/Text.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lathwind {
namespace {

constexpr unsigned char kAsciiEnd = 0x80;

// Decodes a chunk if all its bytes are ASCII.
constexpr std::size_t kChunk = 16;

#ifdef __SSE2__
bool decodeAsciiChunk(const char* bytes, wchar_t* target) {
    __m128i chunk;
    std::memcpy(&chunk, bytes, kChunk);
    if (_mm_movemask_epi8(chunk) != 0) {
        return false;
    }
    const __m128i zero = _mm_setzero_si128();
    const __m128i halves[] = {_mm_unpacklo_epi8(chunk, zero), _mm_unpackhi_epi8(chunk, zero)};
    if constexpr (sizeof(wchar_t) == 2) {
        std::memcpy(target, halves, sizeof halves);
    } else {
        const __m128i quarters[] = {
            _mm_unpacklo_epi16(halves[0], zero), _mm_unpackhi_epi16(halves[0], zero),
            _mm_unpacklo_epi16(halves[1], zero), _mm_unpackhi_epi16(halves[1], zero)};
        std::memcpy(target, quarters, sizeof quarters);
    }
    return true;
}
#else
bool decodeAsciiChunk(const char* bytes, wchar_t* target) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    std::array<std::uint64_t, 2> words{};
    std::memcpy(words.data(), bytes, sizeof words);
    if (((words[0] | words[1]) & kHighBits) != 0) {
        return false;
    }
    std::copy_n(bytes, kChunk, target);
    return true;
}
#endif

// Decodes the bytes of ASCII at the start into `target`, which has room for all bytes, and gives
// their number.
std::size_t decodeAscii(std::string_view bytes, wchar_t* target) {
    std::size_t done = 0;
    while (done + kChunk <= bytes.size() && decodeAsciiChunk(bytes.data() + done, target + done)) {
        done += kChunk;
    }
    for (; done < bytes.size() && static_cast<unsigned char>(bytes[done]) < kAsciiEnd; ++done) {
        target[done] = static_cast<wchar_t>(bytes[done]);
    }
    return done;
}

void decodeText(std::string_view bytes, std::wstring& text) {
    text.resize(bytes.size());
    const std::size_t plain = decodeAscii(bytes, text.data());
    if (plain < bytes.size()) {
        text.resize(plain);
        text += widen(bytes.substr(plain));
    }
    if (bytes.find('\n') != std::string_view::npos) {
        replaceAll(text, L"\r\n", L"\n");
    }
}

void decodeWide(std::string_view bytes, std::wstring& text) {
    text.resize(bytes.size() / 2);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto low = static_cast<unsigned char>(bytes[2 * i]);
        const auto high = static_cast<unsigned char>(bytes[2 * i + 1]);
        text[i] = static_cast<wchar_t>(low | high << 8);
    }
}

// Does the byte at `place` belong to the character of one in front of it? In a double-byte code
// page this may be wrong where letters follow each other.
bool isInsideOfText(std::string_view bytes, std::size_t place) {
    for (std::size_t back = 1; back < kLongestTextCharacter && back <= place; ++back) {
        if (textCharacterSize(bytes.substr(place - back)) > back) {
            return true;
        }
    }
    return false;
}

bool isInsideOfWide(std::string_view bytes, std::size_t place) {
    const auto isHalf = [&](std::size_t unit, unsigned kind) {
        return (static_cast<unsigned char>(bytes[unit + 1]) & 0xFCu) == kind;
    };
    return place % 2 != 0 || (place >= 2 && place + 1 < bytes.size() && isHalf(place - 2, 0xD8) &&
                              isHalf(place, 0xDC));
}

}  // namespace

LogLineReader::LogLineReader(const Format& format, const Sizes& sizes)
    : isWide_(format.isWide),
      includeDelimiter_(format.includeDelimiter),
      sizes_(sizes),
      delimiter_(format.delimiter, format.isWide) {}

void LogLineReader::Restart(std::uint64_t position) noexcept {
    line_ = lineSize_ = delimiterSize_ = begin_ = end_ = searched_ = 0;
    base_ = position;
}

LogLineReader::Found LogLineReader::Find() {
    return Search(false);
}

LogLineReader::Found LogLineReader::Find(const Source& source) {
    for (;;) {
        const Found found = Search(false);
        if (found != Found::Nothing) {
            return found;
        }
        if (!Fill(source)) {
            return Search(true);
        }
    }
}

LogLineReader::Found LogLineReader::Search(bool isLast) {
    if (delimiter_.IsEmpty()) {
        return TakeCharacter(isLast);
    }
    LogDelimiter::Place end;
    const bool isFound = delimiter_.Find(Rest(), isLast, searched_, end);
    if (isFound && end.begin <= sizes_.lineLimit) {
        return Take(end, Found::Line);
    }
    // A delimiter that begins within the limit would have been found; and a character that does
    // is here as a whole.
    const std::size_t overhang = std::max(delimiter_.GetMostBytes(), kLongestTextCharacter);
    if (isFound || Rest().size() > sizes_.lineLimit + overhang) {
        const std::size_t size = PieceSize();
        return Take({size, size}, Found::Piece);
    }
    return Found::Nothing;
}

LogLineReader::Found LogLineReader::Take(const LogDelimiter::Place& end, Found found) {
    line_ = begin_;
    lineSize_ = end.begin;
    delimiterSize_ = end.end - end.begin;
    begin_ += end.end;
    searched_ = 0;
    return found;
}

// Every character ends where an empty delimiter stands.
LogLineReader::Found LogLineReader::TakeCharacter(bool isLast) {
    const std::string_view rest = Rest();
    if (rest.size() < (isWide_ ? 2 : isLast ? 1 : kLongestTextCharacter)) {
        return Found::Nothing;
    }
    const std::size_t size = isWide_ ? 2 : textCharacterSize(rest);
    return Take({size, size}, Found::Line);
}

// The limit, less what would tear a character.
std::size_t LogLineReader::PieceSize() const {
    std::size_t size = sizes_.lineLimit;
    const auto isInside = isWide_ ? isInsideOfWide : isInsideOfText;
    while (size > sizes_.lineLimit - kLongestTextCharacter + 1 && isInside(Rest(), size)) {
        --size;
    }
    return size;
}

bool LogLineReader::Fill(const Source& source) {
    base_ += begin_;
    end_ -= begin_;
    if (begin_ != 0 && end_ != 0) {
        std::memmove(buffer_.get(), buffer_.get() + begin_, end_);
    }
    line_ = lineSize_ = delimiterSize_ = begin_ = 0;
    if (capacity_ - end_ < sizes_.block) {
        capacity_ = std::max(end_ + sizes_.block, 2 * end_);
        auto larger = std::make_unique_for_overwrite<char[]>(capacity_);
        std::copy_n(buffer_.get(), end_, larger.get());
        buffer_ = std::move(larger);
    }
    const std::size_t count = source(buffer_.get() + end_, sizes_.block);
    end_ += count;
    return count != 0;
}

std::string_view LogLineReader::Rest() const noexcept {
    return {buffer_.get() + begin_, end_ - begin_};
}

std::string_view LogLineReader::GetBytes() const noexcept {
    return {buffer_.get() + line_, lineSize_ + (includeDelimiter_ ? delimiterSize_ : 0)};
}

void LogLineReader::GetText(std::wstring& text) const {
    (isWide_ ? decodeWide : decodeText)({buffer_.get() + line_, lineSize_}, text);
    if (includeDelimiter_ && delimiterSize_ != 0) {
        text += delimiter_.GetText();
    }
}

std::uint64_t LogLineReader::GetPosition() const noexcept {
    return base_ + begin_;
}

}  // namespace lathwind
