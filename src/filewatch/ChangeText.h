#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The three forms in which an event says that something is not what it was.
namespace lathwind {

// "(Owner Changed)\n  Previous Owner: a\n  Current Owner: b\n"
std::wstring valueChangeText(std::wstring_view label, std::wstring_view previous,
                             std::wstring_view current);
// The same with decimal numbers.
std::wstring numberChangeText(std::wstring_view label, std::uint64_t previous,
                              std::uint64_t current);
// "(Hidden Changed)\n  Previous value: OFF, Current value: ON\n"
std::wstring flagChangeText(std::wstring_view label, bool isSetNow);

}  // namespace lathwind
