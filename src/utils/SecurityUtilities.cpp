#include "utils/SecurityUtilities.h"

#include <exception>
#include <memory>

#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using platform::ErrorCode;
using Outcome = CachedLookup::Outcome;
using RightsStep = platform::Accounts::RightsStep;
namespace error = platform::error;

std::wstring qualified(const platform::AccountName& account) {
    return account.domain.empty() ? account.name : account.domain + L'\\' + account.name;
}

Outcome outcomeOf(ErrorCode code) {
    switch (code) {
        case error::Success:
            return Outcome::Found;
        case error::NoneMapped:
            return Outcome::Unknown;
        case error::InvalidSid:
            return Outcome::BadSid;
        default:
            return Outcome::Error;
    }
}

Outcome askAccountOfSid(const std::wstring& sid, std::wstring& name) {
    platform::AccountName account;
    const ErrorCode code = platform::accounts().accountOfSid(sid, account);
    if (code != error::Success) {
        return outcomeOf(code);
    }
    name = qualified(account);
    return name.empty() ? Outcome::Unknown : Outcome::Found;
}

// One line for each step at which a change or a query of rights can fail.
bool reportRights(ErrorCode code, RightsStep failed, const std::wstring& account,
                  DebugFormat changeFormat) {
    if (code == error::Success) {
        return true;
    }
    const std::wstring reason = platform::host().errorText(code);
    switch (failed) {
        case RightsStep::OpenPolicy:
            debugLog(ModuleId::Utils, L"LsaOpenPolicy failed: %s", reason);
            break;
        case RightsStep::LookupName:
            debugLog(ModuleId::Utils, L"LsaLookupNames failed for %s: %s", account, reason);
            break;
        case RightsStep::Enumerate:
            debugLog(ModuleId::Utils, L"::LsaEnumerateAccountRights failed for %s: %s", account,
                     reason);
            break;
        case RightsStep::Change:
        case RightsStep::None:
            debugLog(ModuleId::Utils, changeFormat, account, reason);
            break;
    }
    return false;
}

// Owner and group texts of a state file name the same accounts over and over.
std::wstring displayName(const std::wstring& storedSid) {
    std::wstring name;
    return GetAccountNameOfSid(storedSid, name) ? name : storedSid;
}

CachedLookup& keptLookup(std::unique_ptr<CachedLookup> lookup) {
    // Never destroyed: a last message at exit may still ask for a name.
    return *lookup.release();
}

}  // namespace

CachedLookup& sidToNameLookup() {
    static CachedLookup& lookup = keptLookup(platformFactory.createLookup());
    return lookup;
}

CachedLookup& nameToSidLookup() {
    static CachedLookup& lookup = keptLookup(platformFactory.createLookup());
    return lookup;
}

std::wstring GetAccountDisplayName(const std::wstring& storedSid) {
    return displayName(storedSid);
}

std::wstring GetGroupDisplayName(const std::wstring& storedSid) {
    return displayName(storedSid);
}

bool GetCanonicalSid(const std::wstring& text, std::wstring& sid) {
    sid.clear();
    return !text.empty() && platform::accounts().canonicalSid(text, sid) == error::Success &&
           !sid.empty();
}

bool GetAccountNameOfSid(const std::wstring& sidText, std::wstring& name) {
    return sidToNameLookup().resolve(
        sidText,
        [](const std::wstring& text, std::wstring& answer) {
            std::wstring sid;
            return GetCanonicalSid(text, sid) ? askAccountOfSid(sid, answer) : Outcome::BadSid;
        },
        name);
}

bool GetSidOfAccount(const std::wstring& account, std::wstring& sid) {
    const bool found = nameToSidLookup().resolve(
        account,
        [](const std::wstring& name, std::wstring& answer) {
            return outcomeOf(platform::accounts().sidOfAccount(name, answer));
        },
        sid);
    if (!found) {
        debugLog(ModuleId::Utils, L"Failed to query SID for a user: %ls", account);
    }
    return found;
}

bool GetWellKnownSid(std::int32_t type, std::wstring& sid) {
    return platform::accounts().wellKnownSid(type, sid) == error::Success;
}

bool GetGroupMembers(const std::wstring& group, std::vector<std::wstring>& names) {
    names.clear();
    std::vector<std::wstring> sids;
    if (platform::accounts().groupMembers(group, sids) != error::Success) {
        debugLog(ModuleId::Utils, L"Error enumerating accounts in group");
        return false;
    }
    for (const std::wstring& sid : sids) {
        std::wstring name;
        if (!GetAccountNameOfSid(sid, name)) {
            debugLog(ModuleId::Utils, L"Error getting account name user SID");
            name = sid;
        }
        names.push_back(name);
    }
    return true;
}

bool GetLocalGroupsOfUser(const std::wstring& user, std::vector<std::wstring>& groups) {
    groups.clear();
    const ErrorCode code = platform::accounts().localGroupsOf(user, groups);
    if (code != error::Success) {
        debugLog(ModuleId::Utils, L"Error (%d) getting user local group list for: %ls", code, user);
        groups.clear();
        return false;
    }
    return true;
}

bool AddAccountRights(const std::wstring& account, const std::vector<std::wstring>& rights) {
    RightsStep failed = RightsStep::None;
    const ErrorCode code = platform::accounts().addRights(account, rights, failed);
    return reportRights(code, failed, account, L"LsaAddAccountRights failed for %s: %s");
}

bool RemoveAccountRights(const std::wstring& account, const std::vector<std::wstring>& rights) {
    RightsStep failed = RightsStep::None;
    const ErrorCode code = platform::accounts().removeRights(account, rights, failed);
    return reportRights(code, failed, account, L"LsaRemoveAccountRights failed for %s: %s");
}

bool EnumerateAccountRights(const std::wstring& account, std::vector<std::wstring>& rights) {
    rights.clear();
    RightsStep failed = RightsStep::None;
    const ErrorCode code = platform::accounts().enumerateRights(account, rights, failed);
    return reportRights(code, failed, account, L"::LsaEnumerateAccountRights failed for %s: %s");
}

bool GetSecurityText(const std::wstring& path, std::uint32_t information, std::wstring& sddl) {
    sddl.clear();
    try {
        ErrorCode code = error::Success;
        const auto descriptor = platform::files().readSecurity(path, information, code);
        if (descriptor == nullptr) {
            debugLog(ModuleId::Utils, L"GetNamedSecurityInfo for %s Failed. Err : %s", path,
                     platform::host().errorText(code));
            return false;
        }
        return descriptor->toSddl(information, sddl) == error::Success;
    } catch (const std::exception&) {
        // A damaged descriptor on disk must not end the thread that looks at it.
        debugLog(ModuleId::Utils, L"GetNamedSecurityInfo exception for %s", path);
        sddl.clear();
        return false;
    }
}

bool SetSecurityText(const std::wstring& path, std::uint32_t information,
                     const std::wstring& sddl) {
    return platform::files().writeSecurity(path, information, sddl) == error::Success;
}

}  // namespace lathwind
