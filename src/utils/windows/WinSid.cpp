#include "utils/windows/WinSid.h"

namespace lathwind::windows {

using platform::ErrorCode;

ErrorCode sidToText(PSID sid, std::wstring& text) {
    if (sid == nullptr) {
        return ERROR_INVALID_SID;
    }
    UniqueLocal<LPWSTR> buffer;
    if (!::ConvertSidToStringSidW(sid, buffer.put())) {
        return ::GetLastError();
    }
    text = buffer.get();
    return ERROR_SUCCESS;
}

// Some systems look at two units whatever the length, and find an identifier for none.
ErrorCode sidFromText(const std::wstring& text, UniqueLocal<PSID>& sid) {
    if (text.empty()) {
        return ERROR_INVALID_SID;
    }
    return resultOf(::ConvertStringSidToSidW(text.c_str(), sid.put()));
}

ErrorCode lookUpAccount(PSID sid, platform::AccountName& account) {
    std::wstring name(64, L'\0');
    std::wstring domain(64, L'\0');
    for (;;) {
        auto nameUnits = static_cast<DWORD>(name.size());
        auto domainUnits = static_cast<DWORD>(domain.size());
        SID_NAME_USE use = SidTypeUnknown;
        if (::LookupAccountSidW(nullptr, sid, name.data(), &nameUnits, domain.data(), &domainUnits,
                                &use)) {
            account.name = name.c_str();
            account.domain = domain.c_str();
            return ERROR_SUCCESS;
        }
        const DWORD code = ::GetLastError();
        const bool fits = nameUnits <= name.size() && domainUnits <= domain.size();
        if (code != ERROR_INSUFFICIENT_BUFFER || fits) {
            return code;
        }
        name.resize(nameUnits);
        domain.resize(domainUnits);
    }
}

}  // namespace lathwind::windows
