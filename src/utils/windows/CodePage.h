#pragma once

#include <string>
#include <string_view>

// Text of the system code page (CP_ACP). Neither direction fails.
namespace lathwind::windows {

// Bytes that are no text of the code page become the system's replacement.
std::wstring widenFromCodePage(std::string_view bytes);

// Appends; units that the code page has not become its default character, mostly '?'. No unit
// turns into a look-alike, which could make a name mean another file.
void appendToCodePage(std::string& out, std::wstring_view text);

}  // namespace lathwind::windows
