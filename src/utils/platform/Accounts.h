#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utils/platform/Errors.h"

// Accounts, groups and rights. SIDs are in textual form. A list that is handed in is emptied first,
// unless told otherwise.
namespace lathwind::platform {

struct AccountName {
    std::wstring domain;
    std::wstring name;
};

struct WorkstationUser {
    std::wstring user;
    std::wstring logonDomain;
    std::wstring logonServer;
};

class Accounts {
public:
    virtual ~Accounts() = default;

    virtual ErrorCode accountOfSid(const std::wstring& sid, AccountName& account) = 0;
    virtual ErrorCode sidOfAccount(const std::wstring& account, std::wstring& sid) = 0;
    // "S-1-..." or a two-letter alias of SDDL ("BA") to "S-1-...".
    virtual ErrorCode canonicalSid(const std::wstring& text, std::wstring& sid) = 0;
    // `type` is a WELL_KNOWN_SID_TYPE.
    virtual ErrorCode wellKnownSid(std::int32_t type, std::wstring& sid) = 0;

    // SIDs of a local group's members.
    virtual ErrorCode groupMembers(const std::wstring& group, std::vector<std::wstring>& sids) = 0;
    // Names of the local groups that a user is in, directly or through other groups.
    virtual ErrorCode localGroupsOf(const std::wstring& user,
                                    std::vector<std::wstring>& groups) = 0;

    // Account rights (privileges and logon rights by name). Which of the steps failed is told,
    // because each has a message of its own.
    enum class RightsStep { None, OpenPolicy, LookupName, Change, Enumerate };
    virtual ErrorCode addRights(const std::wstring& account,
                                const std::vector<std::wstring>& rights, RightsStep& failed) = 0;
    virtual ErrorCode removeRights(const std::wstring& account,
                                   const std::vector<std::wstring>& rights, RightsStep& failed) = 0;
    virtual ErrorCode enumerateRights(const std::wstring& account,
                                      std::vector<std::wstring>& rights, RightsStep& failed) = 0;

    virtual ErrorCode workstationUser(WorkstationUser& user) = 0;
    virtual ErrorCode currentUser(std::wstring& name) = 0;
    // Appends one batch of names and moves `resume` (0 at first). MoreData asks for another call.
    virtual ErrorCode loggedOnUsers(std::uint32_t& resume, std::vector<std::wstring>& names) = 0;
};

}  // namespace lathwind::platform
