#include "utils/ByteArray.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <string_view>

#include "utils/Exceptions.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::int64_t kGrowthStep = 500;

}  // namespace

ByteArray::~ByteArray() {
    std::free(data_);
}

ByteArray& ByteArray::operator=(const ByteArray& other) {
    if (this != &other) {
        Append(other.data_, other.length_);
    }
    return *this;
}

std::int32_t ByteArray::Append(const void* pointer, std::int32_t count) {
    if (count <= 0 || !valid_) {
        return length_;
    }
    // Growing moves the bytes, and with them a source inside this object.
    const auto* source = static_cast<const std::uint8_t*>(pointer);
    const std::less<> before;
    const bool isOwn =
        data_ != nullptr && !before(source, data_) && before(source, data_ + length_);
    const std::ptrdiff_t offset = isOwn ? source - data_ : 0;
    if (Reserve(count) && data_ != nullptr) {
        const auto size = static_cast<std::size_t>(count);
        std::memmove(data_ + length_, isOwn ? data_ + offset : source, size);
        length_ += count;
        data_[length_] = 0;
    }
    return length_;
}

std::int32_t ByteArray::AppendUInt32(std::uint32_t value) {
    const std::array<std::uint8_t, 4> bytes = {
        static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
        static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
    return Append(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}

bool ByteArray::Reserve(std::int32_t count) {
    const std::int64_t need = std::int64_t{length_} + count + 1;  // with the NUL
    if (count <= 0 || !valid_ || need <= capacity_) {
        return valid_;
    }
    const std::int64_t size = (need + kGrowthStep - 1) / kGrowthStep * kGrowthStep;
    void* grown = size <= std::numeric_limits<std::int32_t>::max()
                      ? std::realloc(data_, static_cast<std::size_t>(size))
                      : nullptr;
    if (grown == nullptr) {
        discard();
        return false;
    }
    data_ = static_cast<std::uint8_t*>(grown);
    capacity_ = static_cast<std::int32_t>(size);
    data_[length_] = 0;
    return true;
}

void ByteArray::discard() noexcept {
    std::free(data_);
    data_ = nullptr;
    length_ = 0;
    capacity_ = 0;
    valid_ = false;
}

std::uint8_t ByteArray::GetByte(std::int32_t index) const {
    if (index < 0 || index > length_) {
        throw IDSException(L"Call to ByteArray::GetByte exceeded the byte array size.", __LINE__,
                           L"ByteArray");
    }
    return index == length_ ? std::uint8_t{0} : data_[index];
}

void ByteArray::ToLines(std::list<std::wstring>& lines) const {
    std::string collected;
    for (std::int32_t i = 0; i < length_; ++i) {
        const auto byte = static_cast<char>(data_[i]);
        if (byte == '\n') {
            lines.push_back(widen(collected));
            collected.clear();
        } else if (byte != '\r' && byte != '\0') {
            collected += byte;
        }
    }
    if (!collected.empty()) {
        lines.push_back(widen(collected));
    }
}

void ByteArray::TakeLines(std::list<std::wstring>& lines) {
    if (data_ == nullptr) {
        return;
    }
    constexpr std::size_t kShortestLine = 2;
    const std::string_view text(reinterpret_cast<const char*>(data_));
    std::size_t begin = 0;
    for (std::size_t feed; (feed = text.find('\n', begin)) != std::string_view::npos;
         begin = feed + 1) {
        if (feed - begin >= kShortestLine) {
            lines.push_back(widen(text.substr(begin, feed - begin)));
        }
    }
    // A text cut by a NUL loses what stands behind it, as a terminated text does.
    const std::size_t rest = text.size() - begin;
    std::memmove(data_, data_ + begin, rest);
    data_[rest] = 0;
    length_ = static_cast<std::int32_t>(rest);
}

}  // namespace lathwind
