#pragma once

#include <cstdint>
#include <list>
#include <string>

namespace lathwind {

// A growable block of bytes: file contents for the diff, the contents block of a state record.
//
// The bytes are terminated by a NUL behind the last one, which does not count. Sizes are signed
// 32-bit; a block that would outgrow them counts as a failed allocation. A failed allocation frees
// everything and leaves the object empty and invalid for ever: each later Append does nothing and
// reports length 0. Nothing here throws except GetByte (and the lists, for lack of memory).
// One thread at a time uses an object.
class ByteArray {
public:
    ByteArray() = default;
    ByteArray(const void* pointer, std::int32_t count) { Append(pointer, count); }
    ByteArray(const ByteArray& other) { Append(other.data_, other.length_); }
    virtual ~ByteArray();
    // Appends the other's contents: assigning to an object that holds something concatenates.
    // Assigning an object to itself does nothing.
    ByteArray& operator=(const ByteArray& other);

    // Appends `count` bytes (0 or negative: none) and gives the new length. The source may be a
    // part of this object. Capacity grows to the next multiple of 500.
    std::int32_t Append(const void* pointer, std::int32_t count);
    std::int32_t AppendUInt32(std::uint32_t value);  // low byte first

    // Makes room for `count` more bytes at once. False, and the object empty and invalid, without
    // memory for them.
    bool Reserve(std::int32_t count);

    // Null until something was appended or reserved.
    const std::uint8_t* GetData() const noexcept { return data_; }
    std::int32_t GetLength() const noexcept { return length_; }
    std::int32_t GetCapacity() const noexcept { return capacity_; }
    bool IsValid() const noexcept { return valid_; }
    // `index` may equal the length, which gives the NUL; beyond it (or negative) IDSException is
    // thrown.
    std::uint8_t GetByte(std::int32_t index) const;

    // Appends one text for each line, decoded from the system code page. A line feed ends a line,
    // carriage returns and NULs are skipped, an unfinished last line counts.
    void ToLines(std::list<std::wstring>& lines) const;
    // Appends the finished lines and removes them from the front; an unfinished last line stays for
    // the next call. A line keeps its carriage return, and one shorter than two bytes (counted with
    // it) is passed over. The contents count up to the first NUL only.
    void TakeLines(std::list<std::wstring>& lines);

private:
    void discard() noexcept;

    std::uint8_t* data_ = nullptr;
    std::int32_t length_ = 0;
    std::int32_t capacity_ = 0;
    bool valid_ = true;
};

}  // namespace lathwind
