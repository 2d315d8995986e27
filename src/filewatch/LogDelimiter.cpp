#include "filewatch/LogDelimiter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
// The second byte of a double-byte character is never below this in any code page of a system.
constexpr unsigned char kLowestTrailByte = 0x30;
constexpr unsigned char kAsciiEnd = 0x80;

std::string wideBytes(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t unit : text) {
        const auto value = static_cast<std::uint32_t>(unit);
        bytes += static_cast<char>(value & 0xFF);
        bytes += static_cast<char>(value >> 8 & 0xFF);
    }
    return bytes;
}

unsigned char byteAt(std::string_view bytes, std::size_t i) {
    return static_cast<unsigned char>(bytes[i]);
}

// The index of the byte from `from` on, or kNone.
std::size_t findByte(std::string_view bytes, char byte, std::size_t from) {
    if (from >= bytes.size()) {
        return kNone;
    }
    const void* found =
        std::memchr(bytes.data() + from, static_cast<unsigned char>(byte), bytes.size() - from);
    return found == nullptr
               ? kNone
               : static_cast<std::size_t>(static_cast<const char*>(found) - bytes.data());
}

}  // namespace

std::size_t textCharacterSize(std::string_view bytes) {
    if (bytes.starts_with("\r\n")) {
        return 2;
    }
    for (std::size_t size = std::min(kLongestTextCharacter, bytes.size()); size > 1; --size) {
        const std::wstring text = widen(bytes.substr(0, size));
        if (text.size() == 1 || (text.size() == 2 && (text[0] & 0xFC00) == 0xD800)) {
            return size;
        }
    }
    return 1;
}

LogDelimiter::LogDelimiter(std::wstring_view delimiter, bool inWideLog)
    : isWide_(inWideLog), text_(delimiter) {
    if (isWide_) {
        bytes_ = wideBytes(text_);
        mostBytes_ = bytes_.size();
        return;
    }
    replaceAll(text_, L"\r\n", L"\n");
    bytes_ = narrow(text_);
    const auto lineFeeds = std::count(bytes_.begin(), bytes_.end(), '\n');
    mostBytes_ = bytes_.size() + static_cast<std::size_t>(lineFeeds);
    isExpressible_ = widen(bytes_) == text_;
    mayHideInCharacters_ = !bytes_.empty() && byteAt(bytes_, 0) >= kLowestTrailByte;
}

// Every end is looked for by its last byte, and the rest backwards from there: ends come in their
// order, and of ends that overlap the first one counts.
bool LogDelimiter::Find(std::string_view line, bool isLast, std::size_t& searched,
                        Place& place) const {
    if (isWide_) {
        return FindWide(line, searched, place);
    }
    if (bytes_.empty() || !isExpressible_) {
        searched = line.size();
        return false;
    }
    const char last = bytes_.back();
    std::size_t boundary = 0;
    for (;; ++searched) {
        const std::size_t found = findByte(line, last, searched);
        if (found == kNone) {
            searched = line.size();
            return false;
        }
        searched = found;
        if (last == '\r' && found + 1 == line.size() && !isLast) {
            return false;  // the next byte tells whether this is half of a line end
        }
        place = {BeginOfMatch(line, found + 1), found + 1};
        if (place.begin != kNone &&
            (!mayHideInCharacters_ || IsAtCharacter(line, place, boundary))) {
            return true;
        }
    }
}

bool LogDelimiter::FindWide(std::string_view line, std::size_t& searched, Place& place) const {
    if (bytes_.empty()) {
        searched = line.size();
        return false;
    }
    const char low = bytes_[bytes_.size() - 2];
    for (;; ++searched) {
        const std::size_t found = findByte(line, low, searched);
        if (found == kNone || found + 1 == line.size()) {
            searched = std::min(found, line.size());
            return false;
        }
        searched = found;
        place = {found + 2 - bytes_.size(), found + 2};
        if (found % 2 == 0 && place.end >= bytes_.size() &&
            line.compare(place.begin, bytes_.size(), bytes_) == 0) {
            return true;
        }
    }
}

// Where the delimiter begins that ends at `end`, or kNone.
std::size_t LogDelimiter::BeginOfMatch(std::string_view line, std::size_t end) const {
    std::size_t begin = end;
    for (std::size_t i = bytes_.size(); i-- > 0;) {
        if (begin == 0 || line[begin - 1] != bytes_[i]) {
            return kNone;
        }
        --begin;
        if (bytes_[i] == '\n' && begin > 0 && line[begin - 1] == '\r') {
            --begin;
        } else if (bytes_[i] == '\r' && begin + 1 < line.size() && line[begin + 1] == '\n') {
            return kNone;  // half of a line end
        }
    }
    return begin;
}

// In a double-byte code page the byte of a letter may also be the second half of a character.
// Whatever stands in front, a byte of ASCII ends a character: decoding from there tells.
//
// `boundary` is a place at which a character is known to begin, and moves on with each delimiter
// that turns out to be none. So a line of such places alone is decoded once, and not up to each.
bool LogDelimiter::IsAtCharacter(std::string_view line, const Place& place,
                                 std::size_t& boundary) const {
    if (place.begin < boundary) {
        return false;
    }
    std::size_t begin = place.begin;
    while (begin > boundary && byteAt(line, begin - 1) >= kAsciiEnd) {
        --begin;
    }
    std::wstring text = widen(line.substr(begin, place.end - begin));
    replaceAll(text, L"\r\n", L"\n");
    if (text.ends_with(text_)) {
        return true;
    }
    for (boundary = begin; boundary <= place.begin;) {
        boundary += textCharacterSize(line.substr(boundary));
    }
    return false;
}

}  // namespace lathwind
