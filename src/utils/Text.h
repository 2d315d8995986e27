#pragma once

#include <string>
#include <string_view>
#include <vector>

// Wide text. A std::wstring holds UTF-16 code units on every platform, also where wchar_t is
// wider; lengths, limits and order are those of the units.
namespace lathwind {

// The simple lower-case form of one unit by the Unicode Character Database, for the whole basic
// plane; a unit without one, and every surrogate, stays. The same on every platform: keys and
// paths of a state file written on one system must be found on another.
wchar_t toLower(wchar_t unit) noexcept;
std::wstring toLower(std::wstring_view text);
void makeLower(std::wstring& text) noexcept;

// The set that every reader of text files in this system trims.
inline constexpr std::wstring_view kBlanks = L" \t\n\r";

std::wstring_view trim(std::wstring_view text, std::wstring_view set = kBlanks) noexcept;
std::wstring_view trimRight(std::wstring_view text, std::wstring_view set = kBlanks) noexcept;

bool equalsNoCase(std::wstring_view first, std::wstring_view second) noexcept;

// Replaces every occurrence from left to right, resuming behind each replacement.
void replaceAll(std::wstring& text, std::wstring_view from, std::wstring_view to);

// Decimal text with an optional sign, C's strtol manner: leading blanks are skipped, reading
// stops at the first other character, nothing read gives 0, overflow saturates.
long long parseDecimal(std::wstring_view text) noexcept;

// UTF-8 and UTF-16. Each byte that is no UTF-8 becomes U+FFFD; an unpaired surrogate is written
// as EF BF BD. Pairs survive the round trip.
std::wstring utf16FromUtf8(std::string_view bytes);
std::string utf8FromUtf16(std::wstring_view text);

// ASCII letters, digits and signs only: no conversion table is asked.
std::wstring widenAscii(std::string_view text);

// The system code page: the platform's own on Windows, UTF-8 on Linux. What cannot be expressed
// becomes the platform's default character ('?').
std::wstring widen(std::string_view bytes);
std::string narrow(std::wstring_view text);

}  // namespace lathwind
