#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "utils/platform/Registry.h"

// Registry keys and values addressed by one text.
namespace lathwind {

// [view]hive\key, the view being one of
//   "6432:"  the 64-bit view, then the 32-bit view
//   "3264:"  the 32-bit view, then the 64-bit view
//   none     the 32-bit view alone, which is this program's own
// "MACHINE" or "HKEY_LOCAL_MACHINE" as first name selects that hive; everything else is
// below HKEY_CURRENT_USER, whose name may stand there too. Names are compared without case.
struct RegistryPath {
    enum class View { Bits32, Bits64 };

    platform::RegistryHive hive = platform::RegistryHive::CurrentUser;
    std::wstring key;         // below the hive, without a backslash at either end
    std::vector<View> views;  // in the order in which they are tried, one or two

    static RegistryPath parse(std::wstring_view text);
};

// The value at key\name, `name` being what follows the last backslash: text as it stands, numbers
// in decimal, a list of texts joined by line feeds, anything else in two hexadecimal digits a
// byte. Throws IDSException when no view has it.
std::wstring ReadRegistryValue(std::wstring_view text);

// Names of the keys below a key, and its values, from the first view that has the key. Throws
// IDSException when none has.
std::vector<std::wstring> EnumerateRegistryKeys(std::wstring_view text);
std::vector<platform::RegistryValue> EnumerateRegistryValues(std::wstring_view text);

// A value's data as text, as ReadRegistryValue gives it.
std::wstring RegistryValueText(const platform::RegistryValue& value);

// A key's subkeys and values for diagnostics, counted from 1. A key that cannot be read has none.
std::wstring DumpRegistryKey(std::wstring_view text);

}  // namespace lathwind
