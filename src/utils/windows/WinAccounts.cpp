#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"
#include "utils/windows/WinSid.h"

namespace lathwind::windows {
namespace {

using platform::ErrorCode;
using Names = std::vector<std::wstring>;

std::wstring textOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

class WinAccounts final : public platform::Accounts {
public:
    ErrorCode accountOfSid(const std::wstring& sid, platform::AccountName& account) override;
    ErrorCode sidOfAccount(const std::wstring& account, std::wstring& sid) override;
    ErrorCode canonicalSid(const std::wstring& text, std::wstring& sid) override;
    ErrorCode wellKnownSid(std::int32_t type, std::wstring& sid) override;
    ErrorCode groupMembers(const std::wstring& group, Names& sids) override;
    ErrorCode localGroupsOf(const std::wstring& user, Names& groups) override;
    ErrorCode addRights(const std::wstring& account, const Names& rights,
                        RightsStep& failed) override;
    ErrorCode removeRights(const std::wstring& account, const Names& rights,
                           RightsStep& failed) override;
    ErrorCode enumerateRights(const std::wstring& account, Names& rights,
                              RightsStep& failed) override;
    ErrorCode workstationUser(platform::WorkstationUser& user) override;
    ErrorCode currentUser(std::wstring& name) override;
    ErrorCode loggedOnUsers(std::uint32_t& resume, Names& names) override;
};

// --- Names and identifiers ---

ErrorCode WinAccounts::accountOfSid(const std::wstring& sid, platform::AccountName& account) {
    UniqueLocal<PSID> bytes;
    const ErrorCode code = sidFromText(sid, bytes);
    return code != ERROR_SUCCESS ? code : lookUpAccount(bytes.get(), account);
}

ErrorCode WinAccounts::sidOfAccount(const std::wstring& account, std::wstring& sid) {
    alignas(SID) std::byte bytes[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof bytes;
    std::wstring domain(64, L'\0');
    auto domainUnits = static_cast<DWORD>(domain.size());
    SID_NAME_USE use = SidTypeUnknown;
    const auto lookUp = [&] {
        return ::LookupAccountNameW(nullptr, account.c_str(), bytes, &size, domain.data(),
                                    &domainUnits, &use);
    };
    BOOL found = lookUp();
    if (!found && ::GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        domain.resize(domainUnits);
        size = sizeof bytes;
        found = lookUp();
    }
    return found ? sidToText(bytes, sid) : ::GetLastError();
}

ErrorCode WinAccounts::canonicalSid(const std::wstring& text, std::wstring& sid) {
    UniqueLocal<PSID> bytes;
    const ErrorCode code = sidFromText(text, bytes);
    return code != ERROR_SUCCESS ? code : sidToText(bytes.get(), sid);
}

ErrorCode WinAccounts::wellKnownSid(std::int32_t type, std::wstring& sid) {
    using Create = BOOL(WINAPI*)(WELL_KNOWN_SID_TYPE, PSID, PSID, DWORD*);
    static const auto create = entryPoint<Create>(L"Advapi32.dll", "CreateWellKnownSid");
    if (create == nullptr) {
        return ERROR_PROC_NOT_FOUND;
    }
    alignas(SID) std::byte bytes[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof bytes;
    return create(static_cast<WELL_KNOWN_SID_TYPE>(type), nullptr, bytes, &size)
               ? sidToText(bytes, sid)
               : ::GetLastError();
}

// --- Groups ---

ErrorCode WinAccounts::groupMembers(const std::wstring& group, Names& sids) {
    sids.clear();
    DWORD_PTR resume = 0;
    DWORD code = ERROR_MORE_DATA;
    while (code == ERROR_MORE_DATA) {
        UniqueNetBuffer<BYTE> buffer;
        DWORD read = 0;
        DWORD total = 0;
        code = ::NetLocalGroupGetMembers(nullptr, group.c_str(), 0, buffer.put(),
                                         MAX_PREFERRED_LENGTH, &read, &total, &resume);
        const auto* members = reinterpret_cast<const LOCALGROUP_MEMBERS_INFO_0*>(buffer.get());
        for (DWORD index = 0; members != nullptr && index < read; ++index) {
            std::wstring sid;
            if (sidToText(members[index].lgrmi0_sid, sid) == ERROR_SUCCESS) {
                sids.push_back(std::move(sid));
            }
        }
    }
    return code;
}

ErrorCode WinAccounts::localGroupsOf(const std::wstring& user, Names& groups) {
    groups.clear();
    UniqueNetBuffer<BYTE> buffer;
    DWORD read = 0;
    DWORD total = 0;
    const DWORD code = ::NetUserGetLocalGroups(nullptr, user.c_str(), 0, LG_INCLUDE_INDIRECT,
                                               buffer.put(), MAX_PREFERRED_LENGTH, &read, &total);
    const auto* list = reinterpret_cast<const LOCALGROUP_USERS_INFO_0*>(buffer.get());
    for (DWORD index = 0; list != nullptr && index < read; ++index) {
        groups.push_back(textOf(list[index].lgrui0_name));
    }
    return code;
}

// --- Rights ---

void closePolicy(LSA_HANDLE policy) noexcept {
    ::LsaClose(policy);
}
void freeLsa(void* memory) noexcept {
    ::LsaFreeMemory(memory);
}
using UniquePolicy = Unique<LSA_HANDLE, closePolicy>;
template <class T>
using UniqueLsa = Unique<T*, freeLsa>;

ErrorCode resultOfLsa(NTSTATUS status) {
    return ::LsaNtStatusToWinError(status);
}

// A counted text over `text`, which must outlive it; the system does not write to it.
LSA_UNICODE_STRING lsaText(const std::wstring& text) {
    const auto bytes = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    return {bytes, bytes, const_cast<wchar_t*>(text.c_str())};
}

constexpr std::size_t kLongestLsaText = 0xFFFF / sizeof(wchar_t);

// The policy of this machine and one account's identifier in it: the way to every right.
class RightsHolder {
public:
    using Step = platform::Accounts::RightsStep;

    ErrorCode open(const std::wstring& account, ACCESS_MASK access, Step& failed) {
        LSA_OBJECT_ATTRIBUTES attributes{};
        ErrorCode code = resultOfLsa(::LsaOpenPolicy(nullptr, &attributes, access, policy_.put()));
        if (code != ERROR_SUCCESS) {
            failed = Step::OpenPolicy;
            return code;
        }
        code = lookUp(account);
        if (code != ERROR_SUCCESS) {
            failed = Step::LookupName;
        }
        return code;
    }
    LSA_HANDLE policy() const { return policy_.get(); }
    PSID sid() const { return account_.get()->Sid; }

private:
    ErrorCode lookUp(const std::wstring& account) {
        if (account.size() > kLongestLsaText) {
            return ERROR_NONE_MAPPED;
        }
        LSA_UNICODE_STRING name = lsaText(account);
        UniqueLsa<LSA_REFERENCED_DOMAIN_LIST> domains;
        const ErrorCode code = resultOfLsa(
            ::LsaLookupNames2(policy_.get(), 0, 1, &name, domains.put(), account_.put()));
        if (code == ERROR_SUCCESS && sid() == nullptr) {
            return ERROR_NONE_MAPPED;
        }
        return code;
    }

    UniquePolicy policy_;
    UniqueLsa<LSA_TRANSLATED_SID2> account_;
};

ErrorCode asLsaTexts(const Names& rights, std::vector<LSA_UNICODE_STRING>& texts) {
    for (const std::wstring& right : rights) {
        if (right.size() > kLongestLsaText) {
            return ERROR_NO_SUCH_PRIVILEGE;
        }
        texts.push_back(lsaText(right));
    }
    return ERROR_SUCCESS;
}

// Adds or removes: `change` is the call over the holder's policy and the list of rights.
template <class Change>
ErrorCode changeRights(const std::wstring& account, const Names& rights, ACCESS_MASK access,
                       platform::Accounts::RightsStep& failed, Change change) {
    failed = platform::Accounts::RightsStep::None;
    RightsHolder holder;
    ErrorCode code = holder.open(account, access, failed);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    std::vector<LSA_UNICODE_STRING> texts;
    code = asLsaTexts(rights, texts);
    if (code == ERROR_SUCCESS) {
        code = resultOfLsa(change(holder, texts.data(), static_cast<ULONG>(texts.size())));
    }
    if (code != ERROR_SUCCESS) {
        failed = platform::Accounts::RightsStep::Change;
    }
    return code;
}

ErrorCode WinAccounts::addRights(const std::wstring& account, const Names& rights,
                                 RightsStep& failed) {
    return changeRights(account, rights, POLICY_LOOKUP_NAMES | POLICY_CREATE_ACCOUNT, failed,
                        [](const RightsHolder& holder, LSA_UNICODE_STRING* list, ULONG count) {
                            return ::LsaAddAccountRights(holder.policy(), holder.sid(), list,
                                                         count);
                        });
}

ErrorCode WinAccounts::removeRights(const std::wstring& account, const Names& rights,
                                    RightsStep& failed) {
    return changeRights(account, rights, POLICY_LOOKUP_NAMES, failed,
                        [](const RightsHolder& holder, LSA_UNICODE_STRING* list, ULONG count) {
                            return ::LsaRemoveAccountRights(holder.policy(), holder.sid(), FALSE,
                                                            list, count);
                        });
}

ErrorCode WinAccounts::enumerateRights(const std::wstring& account, Names& rights,
                                       RightsStep& failed) {
    rights.clear();
    failed = RightsStep::None;
    RightsHolder holder;
    ErrorCode code = holder.open(account, POLICY_LOOKUP_NAMES, failed);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    UniqueLsa<LSA_UNICODE_STRING> list;
    ULONG count = 0;
    code =
        resultOfLsa(::LsaEnumerateAccountRights(holder.policy(), holder.sid(), list.put(), &count));
    if (code != ERROR_SUCCESS) {
        failed = RightsStep::Enumerate;
        return code;
    }
    for (ULONG index = 0; index < count; ++index) {
        const LSA_UNICODE_STRING& right = list.get()[index];
        rights.emplace_back(right.Buffer, right.Length / sizeof(wchar_t));
    }
    return ERROR_SUCCESS;
}

// --- Users of this machine ---

ErrorCode WinAccounts::workstationUser(platform::WorkstationUser& user) {
    UniqueNetBuffer<BYTE> buffer;
    const DWORD code = ::NetWkstaUserGetInfo(nullptr, 1, buffer.put());
    if (code == ERROR_SUCCESS) {
        const auto& facts = *reinterpret_cast<const WKSTA_USER_INFO_1*>(buffer.get());
        user.user = textOf(facts.wkui1_username);
        user.logonDomain = textOf(facts.wkui1_logon_domain);
        user.logonServer = textOf(facts.wkui1_logon_server);
    }
    return code;
}

ErrorCode WinAccounts::currentUser(std::wstring& name) {
    wchar_t buffer[UNLEN + 1] = {};
    DWORD units = UNLEN + 1;
    if (!::GetUserNameW(buffer, &units)) {
        return ::GetLastError();
    }
    name = buffer;
    return ERROR_SUCCESS;
}

ErrorCode WinAccounts::loggedOnUsers(std::uint32_t& resume, Names& names) {
    UniqueNetBuffer<BYTE> buffer;
    DWORD read = 0;
    DWORD total = 0;
    DWORD next = resume;
    const DWORD code =
        ::NetWkstaUserEnum(nullptr, 0, buffer.put(), MAX_PREFERRED_LENGTH, &read, &total, &next);
    resume = next;
    const auto* list = reinterpret_cast<const WKSTA_USER_INFO_0*>(buffer.get());
    for (DWORD index = 0; list != nullptr && index < read; ++index) {
        names.push_back(textOf(list[index].wkui0_username));
    }
    return code;
}

}  // namespace

platform::Accounts& accounts() {
    static auto& service = *new WinAccounts;
    return service;
}

}  // namespace lathwind::windows
