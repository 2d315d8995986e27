#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utils/CachedLookup.h"

// Security identifiers and names, groups, rights and descriptors. SIDs are in textual form,
// "S-1-...". Every failure becomes a debug line of "Utils Module"; nothing throws. Any thread.
namespace lathwind {

// The name to show for a stored owner or group: DOMAIN\name (the name alone without a domain), or
// the stored text itself when the system knows no account for it. Cached.
std::wstring GetAccountDisplayName(const std::wstring& storedSid);
std::wstring GetGroupDisplayName(const std::wstring& storedSid);

// "S-1-...", or a two-letter alias of SDDL such as "BA", to "S-1-...". False if it is neither.
bool GetCanonicalSid(const std::wstring& text, std::wstring& sid);
// DOMAIN\name of a SID or alias; false when the system knows none. Cached.
bool GetAccountNameOfSid(const std::wstring& sidText, std::wstring& name);
// The SID of an account, given as name or DOMAIN\name. Cached.
bool GetSidOfAccount(const std::wstring& account, std::wstring& sid);
// `type` is a WELL_KNOWN_SID_TYPE.
bool GetWellKnownSid(std::int32_t type, std::wstring& sid);

// Names of the members of a local group; a member without a name is given by its SID.
bool GetGroupMembers(const std::wstring& group, std::vector<std::wstring>& names);
// Local groups that a user is in, directly or through other groups.
bool GetLocalGroupsOfUser(const std::wstring& user, std::vector<std::wstring>& groups);

// Account rights (privileges and logon rights) by name.
bool AddAccountRights(const std::wstring& account, const std::vector<std::wstring>& rights);
bool RemoveAccountRights(const std::wstring& account, const std::vector<std::wstring>& rights);
bool EnumerateAccountRights(const std::wstring& account, std::vector<std::wstring>& rights);

// SDDL of the parts of an object's security that `information` names (platform::security bits),
// and setting them.
bool GetSecurityText(const std::wstring& path, std::uint32_t information, std::wstring& sddl);
bool SetSecurityText(const std::wstring& path, std::uint32_t information, const std::wstring& sddl);

// The caches behind the lookups, for the statistics report.
CachedLookup& sidToNameLookup();
CachedLookup& nameToSidLookup();

}  // namespace lathwind
