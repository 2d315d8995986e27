#include "utils/Serializable.h"

#include <algorithm>
#include <array>
#include <ios>
#include <utility>

namespace lathwind {
namespace {

constexpr std::wstring_view kSource = L"Serializable";

using UnitBytes = std::array<char, 2 * Serializable::kMaxStringUnits>;

// What std::istream::read does, without its sentry: the same state bits come out, and an exception
// of the buffer (a failed system read) becomes the bad bit.
bool readInto(std::istream& stream, void* block, std::size_t bytes) {
    if (!stream.good()) {
        stream.setstate(std::ios_base::failbit);
        return false;
    }
    std::streamsize got = 0;
    try {
        got = stream.rdbuf()->sgetn(static_cast<char*>(block), static_cast<std::streamsize>(bytes));
    } catch (...) {
        stream.setstate(std::ios_base::badbit);
        return false;
    }
    if (static_cast<std::size_t>(got) != bytes) {
        stream.setstate(std::ios_base::eofbit | std::ios_base::failbit);
    }
    return !stream.fail();
}

bool writeFrom(std::ostream& stream, const void* block, std::size_t bytes) {
    if (!stream.good()) {
        stream.setstate(std::ios_base::badbit);
        return false;
    }
    std::streamsize put = 0;
    try {
        put = stream.rdbuf()->sputn(static_cast<const char*>(block),
                                    static_cast<std::streamsize>(bytes));
    } catch (...) {
        stream.setstate(std::ios_base::badbit);
        return false;
    }
    if (static_cast<std::size_t>(put) != bytes) {
        stream.setstate(std::ios_base::badbit);
    }
    return !stream.fail();
}

// The one allocation of a string read. A zero unit ends the text.
void decodeUnits(const char* bytes, std::size_t units, std::wstring& text) {
    text.resize(units);
    wchar_t* const begin = text.data();
    wchar_t* out = begin;
    for (const char* const end = bytes + 2 * units; bytes != end; bytes += 2) {
        const auto low = static_cast<unsigned char>(bytes[0]);
        const auto high = static_cast<unsigned char>(bytes[1]);
        const auto unit = static_cast<wchar_t>(low | high << 8);
        if (unit == L'\0') {
            break;
        }
        *out++ = unit;
    }
    text.resize(static_cast<std::size_t>(out - begin));
}

void encodeUnits(const std::wstring& text, char* bytes) {
    const std::size_t length = text.size();
    for (std::size_t i = 0; i < length; ++i) {
        bytes[2 * i] = static_cast<char>(text[i] & 0xFF);
        bytes[2 * i + 1] = static_cast<char>(text[i] >> 8 & 0xFF);
    }
}

}  // namespace

void Serializable::writeSlowly(std::ostream& stream, const void* block, std::size_t bytes) {
    if (!writeFrom(stream, block, bytes)) {
        throw SerializeException(L"Exception: Serializable::Write - Write failed", __LINE__,
                                 kSource);
    }
}

void Serializable::readSlowly(std::istream& stream, void* block, std::size_t bytes) {
    if (!readInto(stream, block, bytes)) {
        throw SerializeException(L"Exception: Serializable::Read - Read failed", __LINE__, kSource);
    }
}

void Serializable::WriteTString(std::ostream& stream, const std::wstring& text) {
    if (text.size() > kMaxStringUnits) {
        throw SerializeException(
            L"Exception: Serializable::WriteTString - String size exceeds sanity check", __LINE__,
            kSource);
    }
    Write(stream, static_cast<std::uint32_t>(text.size()));
    UnitBytes bytes;
    encodeUnits(text, bytes.data());
    if (!text.empty() && !writeFrom(stream, bytes.data(), 2 * text.size())) {
        throw SerializeException(L"Exception: Serializable::WriteTString - String write failed",
                                 __LINE__, kSource);
    }
}

void Serializable::ReadTString(std::istream& stream, std::wstring& text) {
    std::uint32_t count = 0;
    Read(stream, count);
    if (!stream.good() || count == 0) {
        text.clear();
        return;
    }
    if (count > kMaxStringUnits) {
        throw SerializeException(
            L"Exception: Serializable::ReadTString - String size exceeds sanity check", __LINE__,
            kSource);
    }
    const std::size_t size = std::size_t{2} * count;
    std::streambuf& buffer = *stream.rdbuf();
    if (size <= detail::StreamArea::readable(buffer)) {
        decodeUnits(detail::StreamArea::next(buffer), count, text);
        detail::StreamArea::consume(buffer, size);
        return;
    }
    UnitBytes bytes;
    if (!readInto(stream, bytes.data(), size)) {
        // Readers of the log know this text from both directions.
        throw SerializeException(L"Exception: Serializable::ReadTString - String write failed",
                                 __LINE__, kSource);
    }
    decodeUnits(bytes.data(), count, text);
}

void Serializable::WriteStringList(std::ostream& stream, const std::list<std::wstring>& list) {
    if (list.size() > kMaxListItems) {
        throw SerializeException(
            L"Exception: Size of string list exceeds serialization sanity check", __LINE__,
            kSource);
    }
    Write(stream, static_cast<std::uint32_t>(list.size()));
    for (const std::wstring& text : list) {
        WriteTString(stream, text);
    }
}

void Serializable::ReadStringList(std::istream& stream, std::list<std::wstring>& list) {
    std::uint32_t count = 0;
    Read(stream, count);
    if (count > kMaxListItems) {
        throw SerializeException(
            L"Exception: Size of string list exceeds serialization sanity check", __LINE__,
            kSource);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        std::wstring text;
        ReadTString(stream, text);
        list.push_back(std::move(text));
    }
}

}  // namespace lathwind
