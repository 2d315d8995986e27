#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lathwind {

inline constexpr std::wstring_view kCsvSeparator = L",";
inline constexpr std::wstring_view kCsvQuote = L"\"";

// One field of a CSV line: every quote in the value is doubled, and a value that holds a quote or
// the separator is put between quotes. An empty `quote` returns the value as it is.
std::wstring csvField(std::wstring_view value, std::wstring_view quote = kCsvQuote,
                      std::wstring_view separator = kCsvSeparator);

// The fields of one line, without its line end; the reverse of csvField. A field that starts with a
// quote runs to its closing quote and may hold separators and doubled quotes; what then stands
// ahead of the next separator is taken as it is, and so is a quote within an unquoted field. False,
// with `fields` empty, for an empty line and for a quote that is never closed. Takes any text, in
// time linear in its length.
bool SplitFields(std::wstring_view line, std::vector<std::wstring>& fields,
                 wchar_t separator = L',', wchar_t quote = L'"');

}  // namespace lathwind
