#pragma once

#include <string>
#include <string_view>

namespace lathwind {

inline constexpr std::wstring_view kCsvSeparator = L",";
inline constexpr std::wstring_view kCsvQuote = L"\"";

// One field of a CSV line: every quote in the value is doubled, and a value that holds a quote or
// the separator is put between quotes. An empty `quote` returns the value as it is.
std::wstring csvField(std::wstring_view value, std::wstring_view quote = kCsvQuote,
                      std::wstring_view separator = kCsvSeparator);

}  // namespace lathwind
