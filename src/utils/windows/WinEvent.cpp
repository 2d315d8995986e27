#include <array>

#include "utils/Exceptions.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

[[noreturn]] void fail(DWORD code, int line) {
    throw IDSException(L"Error occured in Event class : Win32 Error Code" + std::to_wstring(code),
                       line, L".\\windows\\Event");
}

constexpr DWORD kBuiltinDomain = SECURITY_BUILTIN_DOMAIN_RID;
constexpr DWORD kAdministrators = DOMAIN_ALIAS_RID_ADMINS;

// The access list of a named event: the system account and the administrators, nobody else.
// Holds every temporary of the construction and frees them when it goes.
class RestrictedAccess {
public:
    // Success, or the code of the call that failed.
    DWORD build() {
        SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
        if (!::AllocateAndInitializeSid(&authority, 1, SECURITY_LOCAL_SYSTEM_RID, 0, 0, 0, 0, 0, 0,
                                        0, system_.put()) ||
            !::AllocateAndInitializeSid(&authority, 2, kBuiltinDomain, kAdministrators, 0, 0, 0, 0,
                                        0, 0, administrators_.put())) {
            return ::GetLastError();
        }
        std::array<EXPLICIT_ACCESSW, 2> entries = {
            fullAccess(system_.get(), TRUSTEE_IS_USER),
            fullAccess(administrators_.get(), TRUSTEE_IS_GROUP)};
        const DWORD code = ::SetEntriesInAclW(static_cast<ULONG>(entries.size()), entries.data(),
                                              nullptr, list_.put());
        return code == ERROR_SUCCESS ? describe() : code;
    }
    SECURITY_ATTRIBUTES* attributes() { return &attributes_; }

private:
    static EXPLICIT_ACCESSW fullAccess(PSID sid, TRUSTEE_TYPE type) {
        EXPLICIT_ACCESSW entry{};
        entry.grfAccessPermissions = GENERIC_ALL;
        entry.grfAccessMode = SET_ACCESS;
        entry.grfInheritance = NO_INHERITANCE;
        entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
        entry.Trustee.TrusteeType = type;
        entry.Trustee.ptstrName = static_cast<LPWSTR>(sid);
        return entry;
    }
    DWORD describe() {
        if (!::InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) ||
            !::SetSecurityDescriptorDacl(&descriptor_, TRUE, list_.get(), FALSE)) {
            return ::GetLastError();
        }
        attributes_ = {sizeof attributes_, &descriptor_, FALSE};
        return ERROR_SUCCESS;
    }

    UniqueSid system_;
    UniqueSid administrators_;
    UniqueLocal<PACL> list_;
    SECURITY_DESCRIPTOR descriptor_{};
    SECURITY_ATTRIBUTES attributes_{};
};

HANDLE createAnonymous() {
    const HANDLE handle = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (handle == nullptr) {
        fail(::GetLastError(), __LINE__);
    }
    return handle;
}

HANDLE createNamed(const std::wstring& name) {
    RestrictedAccess access;
    if (const DWORD code = access.build(); code != ERROR_SUCCESS) {
        fail(code, __LINE__);
    }
    const HANDLE handle = ::CreateEventW(access.attributes(), TRUE, FALSE, name.c_str());
    if (handle == nullptr) {
        fail(::GetLastError(), __LINE__);
    }
    return handle;
}

class WinEvent final : public Event {
public:
    explicit WinEvent(const std::wstring& name)
        : handle_(name.empty() ? createAnonymous() : createNamed(name)) {}

    void set() override {
        if (!::SetEvent(handle_.get())) {
            fail(::GetLastError(), __LINE__);
        }
    }

    void reset() override {
        if (!::ResetEvent(handle_.get())) {
            fail(::GetLastError(), __LINE__);
        }
    }

    WaitResult wait(std::int32_t milliseconds, bool alertable) override {
        static_assert(static_cast<DWORD>(kWaitForever) == INFINITE);
        switch (
            ::WaitForSingleObjectEx(handle_.get(), static_cast<DWORD>(milliseconds), alertable)) {
            case WAIT_OBJECT_0:
                return WaitResult::Signalled;
            case WAIT_TIMEOUT:
                return WaitResult::TimeOut;
            case WAIT_IO_COMPLETION:
                return WaitResult::Completion;
            default:
                return WaitResult::Failed;
        }
    }

private:
    const UniqueHandle handle_;
};

}  // namespace

std::unique_ptr<Event> makeEvent(const std::wstring& name) {
    return std::make_unique<WinEvent>(name);
}

}  // namespace lathwind::windows
