#pragma once

#include <string>
#include <string_view>

// Access lists as events show them. Any thread; lookups of names go through the cache of
// utils/SecurityUtilities.h.
namespace lathwind {

// An SDDL text cut into lines, one for each part and each access entry, with the accounts by name:
//
//   "O:BAG:SYD:(A;;FA;;;SY)"  gives
//   "\n\nO:BUILTIN\Administrators\nG:NT AUTHORITY\SYSTEM\nD:\n(A;;FA;;;NT AUTHORITY\SYSTEM)"
//
// The text is not parsed: marks are searched for, so that what is no SDDL comes back too, in lines
// of some kind. Time grows with its length. Empty for an empty text.
std::wstring AclDisplayText(std::wstring_view sddl);

// The second half of the above, on a text that is in lines already: the accounts of the owner, the
// group and of the entries that simply allow or deny ("(A;", "(D;") become names. A SID or alias
// that has none stays, and so do those of other kinds of entries.
void ResolveAclNames(std::wstring& text);

}  // namespace lathwind
