#include "utils/windows/FileSecurity.h"

#include "utils/windows/SystemPath.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinSid.h"

namespace lathwind::windows {
namespace {

using platform::ErrorCode;
using UniqueDescriptor = UniqueLocal<PSECURITY_DESCRIPTOR>;

static_assert(platform::security::Owner == OWNER_SECURITY_INFORMATION);
static_assert(platform::security::Group == GROUP_SECURITY_INFORMATION);
static_assert(platform::security::Dacl == DACL_SECURITY_INFORMATION);
static_assert(platform::security::Label == LABEL_SECURITY_INFORMATION);
static_assert(platform::security::ProtectedDacl == PROTECTED_DACL_SECURITY_INFORMATION);
static_assert(platform::security::UnprotectedDacl == UNPROTECTED_DACL_SECURITY_INFORMATION);

class WinSecurityDescriptor final : public platform::SecurityDescriptor {
public:
    explicit WinSecurityDescriptor(UniqueDescriptor descriptor)
        : descriptor_(std::move(descriptor)) {}

    ErrorCode owner(std::wstring& sid) const override {
        return part(::GetSecurityDescriptorOwner, sid);
    }
    ErrorCode group(std::wstring& sid) const override {
        return part(::GetSecurityDescriptorGroup, sid);
    }
    ErrorCode toSddl(std::uint32_t information, std::wstring& text) const override {
        UniqueLocal<LPWSTR> buffer;
        if (!::ConvertSecurityDescriptorToStringSecurityDescriptorW(
                descriptor_.get(), SDDL_REVISION_1, information, buffer.put(), nullptr)) {
            return ::GetLastError();
        }
        text = buffer.get();
        return ERROR_SUCCESS;
    }

private:
    template <class Get>
    ErrorCode part(Get get, std::wstring& text) const {
        PSID sid = nullptr;
        BOOL defaulted = FALSE;
        return get(descriptor_.get(), &sid, &defaulted) ? sidToText(sid, text) : ::GetLastError();
    }

    const UniqueDescriptor descriptor_;
};

// The parts of a descriptor, which owns them.
struct Parts {
    PSID owner = nullptr;
    PSID group = nullptr;
    PACL accessList = nullptr;
    PACL auditList = nullptr;  // holds the integrity label
};

ErrorCode takeApart(PSECURITY_DESCRIPTOR descriptor, Parts& parts) {
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    return resultOf(
        ::GetSecurityDescriptorOwner(descriptor, &parts.owner, &defaulted) &&
        ::GetSecurityDescriptorGroup(descriptor, &parts.group, &defaulted) &&
        ::GetSecurityDescriptorDacl(descriptor, &present, &parts.accessList, &defaulted) &&
        ::GetSecurityDescriptorSacl(descriptor, &present, &parts.auditList, &defaulted));
}

}  // namespace

std::unique_ptr<platform::SecurityDescriptor> readFileSecurity(const std::wstring& path,
                                                               std::uint32_t information,
                                                               ErrorCode& code) {
    UniqueDescriptor descriptor;
    code = path.empty()
               ? ERROR_PATH_NOT_FOUND
               : ::GetNamedSecurityInfoW(systemPath(path).c_str(), SE_FILE_OBJECT, information,
                                         nullptr, nullptr, nullptr, nullptr, descriptor.put());
    if (code != ERROR_SUCCESS) {
        return nullptr;
    }
    return std::make_unique<WinSecurityDescriptor>(std::move(descriptor));
}

ErrorCode writeFileSecurity(const std::wstring& path, std::uint32_t information,
                            const std::wstring& sddl) {
    if (path.empty()) {
        return ERROR_PATH_NOT_FOUND;
    }
    UniqueDescriptor descriptor;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1,
                                                                descriptor.put(), nullptr)) {
        return ::GetLastError();
    }
    Parts parts;
    if (const ErrorCode code = takeApart(descriptor.get(), parts); code != ERROR_SUCCESS) {
        return code;
    }
    std::wstring name = systemPath(path);
    return ::SetNamedSecurityInfoW(name.data(), SE_FILE_OBJECT, information, parts.owner,
                                   parts.group, parts.accessList, parts.auditList);
}

}  // namespace lathwind::windows
