#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <istream>
#include <list>
#include <ostream>
#include <streambuf>
#include <string>
#include <type_traits>

#include "utils/Exceptions.h"
#include "utils/LittleEndian.h"

namespace lathwind {

// Base of everything that is kept in FileWatch.dat, and the primitives that lay values, blocks,
// strings and string lists into a binary stream (docs/formats/filewatch-dat.md).
//
// No primitive reports failure by a result: each looks at the stream behind its own access and
// throws SerializeException when the fail or bad bit is set, so that readers and writers of
// objects are straight lines of fields. Limits on lengths and counts keep a damaged file from
// turning into a huge allocation. Integers are little-endian with the width of their type; a bool
// is one byte, 0 or 1 (any other byte reads as true).
//
// Streams are opened and closed by the caller, in binary mode; one thread at a time uses one.
class Serializable {
public:
    virtual ~Serializable() = default;
    virtual void WriteObject(std::ostream& stream) = 0;
    virtual void ReadObject(std::istream& stream) = 0;  // the newest format only

    static constexpr std::uint32_t kMaxStringUnits = 2048;
    static constexpr std::uint32_t kMaxListItems = 1000;

    template <std::integral T>
    static void Write(std::ostream& stream, const T& value);
    template <std::integral T>
    static void Read(std::istream& stream, T& value);
    static void Write(std::ostream& stream, const void* block, std::size_t bytes);
    static void Read(std::istream& stream, void* block, std::size_t bytes);

    // SerializeException for a text of more than kMaxStringUnits, before anything is written.
    static void WriteTString(std::ostream& stream, const std::wstring& text);
    // Replaces `text` on success only. A string with an embedded zero unit comes back cut there.
    static void ReadTString(std::istream& stream, std::wstring& text);
    static void WriteStringList(std::ostream& stream, const std::list<std::wstring>& list);
    static void ReadStringList(std::istream& stream, std::list<std::wstring>& list);  // appends

private:
    static void writeSlowly(std::ostream& stream, const void* block, std::size_t bytes);
    static void readSlowly(std::istream& stream, void* block, std::size_t bytes);
};

namespace detail {

template <class T>
using Stored = std::conditional_t<std::same_as<T, bool>, std::uint8_t, T>;

// The buffered part of a stream, reached by the names that a stream buffer keeps for its derived
// classes. A state file of a million entities is some forty million small fields: taken straight
// from the buffer a field costs a compare and a copy, through std::istream::read a sentry and two
// virtual calls.
struct StreamArea : std::streambuf {
    static std::size_t readable(const std::streambuf& buffer) {
        return static_cast<std::size_t>((buffer.*(&StreamArea::egptr))() - next(buffer));
    }
    static const char* next(const std::streambuf& buffer) {
        return (buffer.*(&StreamArea::gptr))();
    }
    static void consume(std::streambuf& buffer, std::size_t bytes) {
        (buffer.*(&StreamArea::gbump))(static_cast<int>(bytes));
    }
    static std::size_t writable(const std::streambuf& buffer) {
        return static_cast<std::size_t>((buffer.*(&StreamArea::epptr))() - target(buffer));
    }
    static char* target(const std::streambuf& buffer) { return (buffer.*(&StreamArea::pptr))(); }
    static void produce(std::streambuf& buffer, std::size_t bytes) {
        (buffer.*(&StreamArea::pbump))(static_cast<int>(bytes));
    }
};

}  // namespace detail

inline void Serializable::Write(std::ostream& stream, const void* block, std::size_t bytes) {
    std::streambuf* buffer = stream.rdbuf();
    if (buffer != nullptr && bytes != 0 && stream.good() &&
        bytes <= detail::StreamArea::writable(*buffer)) [[likely]] {
        std::memcpy(detail::StreamArea::target(*buffer), block, bytes);
        detail::StreamArea::produce(*buffer, bytes);
        return;
    }
    writeSlowly(stream, block, bytes);
}

inline void Serializable::Read(std::istream& stream, void* block, std::size_t bytes) {
    std::streambuf* buffer = stream.rdbuf();
    if (buffer != nullptr && bytes != 0 && stream.good() &&
        bytes <= detail::StreamArea::readable(*buffer)) [[likely]] {
        std::memcpy(block, detail::StreamArea::next(*buffer), bytes);
        detail::StreamArea::consume(*buffer, bytes);
        return;
    }
    readSlowly(stream, block, bytes);
}

template <std::integral T>
void Serializable::Write(std::ostream& stream, const T& value) {
    std::byte bytes[sizeof(T)];
    storeLittleEndian(bytes, static_cast<detail::Stored<T>>(value));
    Write(stream, bytes, sizeof bytes);
}

template <std::integral T>
void Serializable::Read(std::istream& stream, T& value) {
    std::byte bytes[sizeof(T)];
    Read(stream, bytes, sizeof bytes);
    value = static_cast<T>(loadLittleEndian<detail::Stored<T>>(bytes));
}

}  // namespace lathwind
