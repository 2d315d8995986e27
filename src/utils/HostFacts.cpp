#include "utils/HostFacts.h"

#include <cstddef>

#include "utils/ProcessObject.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

namespace error = platform::error;

std::wstring environment(const std::wstring& name) {
    std::wstring value;
    return platform::host().environment(name, value) == error::Success ? value : std::wstring();
}

}  // namespace

std::wstring orUnknown(const std::wstring& text) {
    return text.empty() ? kUnknownFact : text;
}

std::wstring findIpAddress() {
    std::wstring address;
    if (platform::host().ipAddress(address) != error::Success) {
        address.clear();
    }
    return orUnknown(address);
}

std::wstring findHostName() {
    std::wstring name;
    if (platform::host().hostName(name) != error::Success) {
        name.clear();
    }
    return toLower(orUnknown(name));
}

LogonFacts findLogon() {
    platform::WorkstationUser found;
    platform::Accounts& accounts = platform::accounts();
    if (accounts.workstationUser(found) != error::Success) {
        found = {};
        if (accounts.currentUser(found.user) != error::Success) {
            found.user = environment(L"USERNAME");
        }
    }
    if (found.logonDomain.empty()) {
        found.logonDomain = environment(L"USERDOMAIN");
    }
    return {toLower(found.user), toLower(orUnknown(found.logonDomain)),
            toLower(orUnknown(found.logonServer))};
}

std::vector<std::wstring> findLoggedOnUsers() {
    std::vector<std::wstring> users;
    std::uint32_t resume = 0;
    std::size_t before = 0;
    platform::ErrorCode code = error::MoreData;
    do {
        before = users.size();
        code = platform::accounts().loggedOnUsers(resume, users);
        // A system that promises more without giving any would keep us here for ever.
    } while (code == error::MoreData && users.size() > before);
    return users;
}

ProcessIdentity findProcess(std::uint32_t processId) {
    const auto process = platformFactory.createProcess(processId);
    return {toLower(orUnknown(process->name())), toLower(orUnknown(process->owner()))};
}

}  // namespace lathwind
