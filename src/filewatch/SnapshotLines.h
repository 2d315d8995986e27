#pragma once

#include <concepts>
#include <cstdint>
#include <istream>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>

#include "utils/Text.h"

// The line form of a snapshot: one value to a line, numbers in decimal, lines end in CR LF, what is
// read is trimmed. Each operation gives false when the stream failed or the line is no number.
namespace lathwind {

inline bool writeLine(std::wostream& stream, std::wstring_view text) {
    stream << text << L"\r\n";
    return stream.good();
}

template <std::unsigned_integral T>
bool writeLine(std::wostream& stream, T value) {
    return writeLine(stream, std::to_wstring(value));
}

inline bool readLine(std::wistream& stream, std::wstring& text) {
    std::wstring line;
    if (!std::getline(stream, line)) {
        return false;
    }
    text = trim(line);
    return true;
}

template <std::unsigned_integral T>
bool readLine(std::wistream& stream, T& value) {
    std::wstring text;
    if (!readLine(stream, text) || text.empty()) {
        return false;
    }
    constexpr T limit = std::numeric_limits<T>::max();
    T result = 0;
    for (const wchar_t unit : text) {
        if (unit < L'0' || unit > L'9') {
            return false;
        }
        const auto digit = static_cast<T>(unit - L'0');
        if (result > limit / 10 || (result == limit / 10 && digit > limit % 10)) {
            return false;
        }
        result = static_cast<T>(result * 10 + digit);
    }
    value = result;
    return true;
}

}  // namespace lathwind
