#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <list>
#include <ostream>
#include <span>
#include <string>

#include "utils/Exceptions.h"

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

    static void WriteTString(std::ostream& stream, const std::wstring& text);
    // Replaces `text` on success only. A string with an embedded zero unit comes back cut there.
    static void ReadTString(std::istream& stream, std::wstring& text);
    static void WriteStringList(std::ostream& stream, const std::list<std::wstring>& list);
    static void ReadStringList(std::istream& stream, std::list<std::wstring>& list);  // appends
};

template <std::integral T>
void Serializable::Write(std::ostream& stream, const T& value) {
    unsigned char bytes[sizeof(T)];
    auto rest = static_cast<std::uint64_t>(value);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(rest);
        rest >>= 8;
    }
    Write(stream, bytes, sizeof bytes);
}

template <std::integral T>
void Serializable::Read(std::istream& stream, T& value) {
    unsigned char bytes[sizeof(T)];
    Read(stream, bytes, sizeof bytes);
    std::uint64_t result = 0;
    for (std::size_t i = sizeof bytes; i-- > 0;) {
        result = result << 8 | bytes[i];
    }
    if constexpr (std::same_as<T, bool>) {
        value = result != 0;
    } else {
        value = static_cast<T>(result);
    }
}

}  // namespace lathwind
