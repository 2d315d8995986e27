#include <algorithm>
#include <cerrno>
#include <cstring>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <set>
#include <unistd.h>
#include <utmpx.h>

#include "utils/Text.h"
#include "utils/posix/Errno.h"
#include "utils/posix/ModeSddl.h"
#include "utils/posix/Mutex.h"
#include "utils/posix/Services.h"
#include "utils/posix/WellKnownSids.h"

// Users and groups of the name service, under the SIDs of ModeSddl.h and in the domains
// "Unix User" and "Unix Group". The system knows no account rights and no workstation logon.
namespace lathwind::posix {
namespace {

namespace error = platform::error;
using platform::ErrorCode;

constexpr std::wstring_view kUserDomain = L"Unix User";
constexpr std::wstring_view kGroupDomain = L"Unix Group";

struct User {
    std::string name;
    uid_t id = 0;
    gid_t group = 0;
};

struct Group {
    std::string name;
    gid_t id = 0;
    std::vector<std::string> members;
};

// Runs one of the reentrant calls of the name service with a buffer that grows as it asks.
// `call` fills `record` and sets its pointer to null for "no such entry".
template <class Record, class Call>
ErrorCode askNameService(const Call& call, Record& record, std::vector<char>& buffer) {
    constexpr std::size_t kLargest = 16 * 1024 * 1024;
    buffer.resize(std::max<std::size_t>(buffer.size(), 1024));
    for (;;) {
        Record* found = nullptr;
        const int number = call(&record, buffer.data(), buffer.size(), &found);
        if (number == ERANGE && buffer.size() < kLargest) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (found != nullptr) {
            return error::Success;
        }
        // Some services say "no such entry" by one of these.
        const bool unknown = number == 0 || number == ENOENT || number == ESRCH;
        return unknown ? error::NoneMapped : errorFromErrno(number);
    }
}

template <class Call>
ErrorCode findUser(const Call& call, User& user) {
    passwd record{};
    std::vector<char> buffer;
    const ErrorCode code = askNameService(call, record, buffer);
    if (code == error::Success) {
        user = {record.pw_name, record.pw_uid, record.pw_gid};
    }
    return code;
}

ErrorCode userById(uid_t id, User& user) {
    return findUser([id](passwd* record, char* buffer, std::size_t size,
                         passwd** found) { return ::getpwuid_r(id, record, buffer, size, found); },
                    user);
}

ErrorCode userByExactName(const std::string& name, User& user) {
    return findUser(
        [&name](passwd* record, char* buffer, std::size_t size, passwd** found) {
            return ::getpwnam_r(name.c_str(), record, buffer, size, found);
        },
        user);
}

template <class Call>
ErrorCode findGroup(const Call& call, Group& group) {
    ::group record{};
    std::vector<char> buffer;
    const ErrorCode code = askNameService(call, record, buffer);
    if (code == error::Success) {
        group = {record.gr_name, record.gr_gid, {}};
        for (char** member = record.gr_mem; *member != nullptr; ++member) {
            group.members.emplace_back(*member);
        }
    }
    return code;
}

ErrorCode groupById(gid_t id, Group& group) {
    return findGroup(
        [id](::group* record, char* buffer, std::size_t size, ::group** found) {
            return ::getgrgid_r(id, record, buffer, size, found);
        },
        group);
}

ErrorCode groupByExactName(const std::string& name, Group& group) {
    return findGroup(
        [&name](::group* record, char* buffer, std::size_t size, ::group** found) {
            return ::getgrnam_r(name.c_str(), record, buffer, size, found);
        },
        group);
}

// Names are sought as spelled and then in lower case: this system writes its names so, and the
// program may have been given one in any case.
template <class Found>
ErrorCode byName(ErrorCode (*find)(const std::string&, Found&), std::wstring_view name,
                 Found& found) {
    if (name.empty() || name.find(L'\0') != std::wstring_view::npos) {
        return error::NoneMapped;
    }
    const ErrorCode code = find(utf8FromUtf16(name), found);
    return code == error::NoneMapped ? find(utf8FromUtf16(toLower(name)), found) : code;
}

// "domain\name" or a bare name.
platform::AccountName splitAccount(const std::wstring& account) {
    const std::size_t backslash = account.find(L'\\');
    if (backslash == std::wstring::npos) {
        return {{}, account};
    }
    return {account.substr(0, backslash), account.substr(backslash + 1)};
}

// Without the part behind the domain, if it is one of ours.
std::wstring_view bareName(const std::wstring& account) {
    return std::wstring_view(account).substr(account.find(L'\\') + 1);
}

// The walks over all users and all sessions have one position for the whole process.
Mutex walkMutex;

std::vector<User> usersWithPrimaryGroup(gid_t group) {
    const MutexHolder holder(walkMutex);
    std::vector<User> users;
    passwd record{};
    std::vector<char> buffer;
    const auto next = [](passwd* entry, char* room, std::size_t size, passwd** found) {
        return ::getpwent_r(entry, room, size, found);
    };
    ::setpwent();
    while (askNameService(next, record, buffer) == error::Success) {
        if (record.pw_gid == group) {
            users.push_back({record.pw_name, record.pw_uid, record.pw_gid});
        }
    }
    ::endpwent();
    return users;
}

class PosixAccounts final : public platform::Accounts {
public:
    ErrorCode accountOfSid(const std::wstring& sid, platform::AccountName& account) override {
        if (!isSid(sid)) {
            return error::InvalidSid;
        }
        if (const std::optional<uid_t> id = userOfSid(sid)) {
            User user;
            const ErrorCode code = userById(*id, user);
            account = {std::wstring(kUserDomain), utf16FromUtf8(user.name)};
            return code;
        }
        if (const std::optional<gid_t> id = groupOfSid(sid)) {
            Group group;
            const ErrorCode code = groupById(*id, group);
            account = {std::wstring(kGroupDomain), utf16FromUtf8(group.name)};
            return code;
        }
        const WellKnownSid* row = wellKnownBySid(sid);
        if (row == nullptr) {
            return error::NoneMapped;
        }
        account = {std::wstring(row->domain), std::wstring(row->name)};
        return error::Success;
    }

    // A bare name is a user before it is a group, and both come before the well-known names.
    ErrorCode sidOfAccount(const std::wstring& account, std::wstring& sid) override {
        const platform::AccountName parts = splitAccount(account);
        ErrorCode code = error::NoneMapped;
        if (parts.domain.empty() || equalsNoCase(parts.domain, kUserDomain)) {
            User user;
            code = byName(userByExactName, parts.name, user);
            sid = code == error::Success ? sidOfUser(user.id) : sid;
        }
        if (code == error::NoneMapped &&
            (parts.domain.empty() || equalsNoCase(parts.domain, kGroupDomain))) {
            Group group;
            code = byName(groupByExactName, parts.name, group);
            sid = code == error::Success ? sidOfGroup(group.id) : sid;
        }
        if (code != error::NoneMapped) {
            return code;
        }
        const WellKnownSid* row = wellKnownByName(parts.domain, parts.name);
        if (row == nullptr) {
            return error::NoneMapped;
        }
        sid = row->sid;
        return error::Success;
    }

    // Aliases that stand for an account of a domain ("DA") have no SID here.
    ErrorCode canonicalSid(const std::wstring& text, std::wstring& sid) override {
        if (isSid(text)) {
            sid = text;
            sid[0] = L'S';
            return error::Success;
        }
        const WellKnownSid* row = wellKnownByAlias(text);
        if (row == nullptr) {
            return error::InvalidSid;
        }
        sid = row->sid;
        return error::Success;
    }

    ErrorCode wellKnownSid(std::int32_t type, std::wstring& sid) override {
        const WellKnownSid* row = wellKnownByType(type);
        if (row == nullptr) {
            return error::InvalidParameter;
        }
        sid = row->sid;
        return error::Success;
    }

    // The listed members and those whose primary group it is, each once.
    ErrorCode groupMembers(const std::wstring& name, std::vector<std::wstring>& sids) override {
        sids.clear();
        Group group;
        const ErrorCode code = byName(groupByExactName, bareName(name), group);
        if (code != error::Success) {
            return code;
        }
        std::set<uid_t> seen;
        const auto add = [&](const User& user) {
            if (seen.insert(user.id).second) {
                sids.push_back(sidOfUser(user.id));
            }
        };
        for (const std::string& member : group.members) {
            User user;
            if (userByExactName(member, user) == error::Success) {
                add(user);
            }
        }
        for (const User& user : usersWithPrimaryGroup(group.id)) {
            add(user);
        }
        return error::Success;
    }

    ErrorCode localGroupsOf(const std::wstring& name, std::vector<std::wstring>& groups) override {
        groups.clear();
        User user;
        const ErrorCode code = byName(userByExactName, bareName(name), user);
        if (code != error::Success) {
            return code;
        }
        std::vector<gid_t> ids(64);
        int count = static_cast<int>(ids.size());
        while (::getgrouplist(user.name.c_str(), user.group, ids.data(), &count) < 0) {
            ids.resize(std::max<std::size_t>(ids.size() * 2, static_cast<std::size_t>(count)));
            count = static_cast<int>(ids.size());
        }
        ids.resize(static_cast<std::size_t>(count));
        for (const gid_t id : ids) {
            Group group;
            if (groupById(id, group) == error::Success) {
                groups.push_back(utf16FromUtf8(group.name));
            }
        }
        return error::Success;
    }

    ErrorCode addRights(const std::wstring&, const std::vector<std::wstring>&,
                        RightsStep& failed) override {
        return refuse(failed);
    }
    ErrorCode removeRights(const std::wstring&, const std::vector<std::wstring>&,
                           RightsStep& failed) override {
        return refuse(failed);
    }
    ErrorCode enumerateRights(const std::wstring&, std::vector<std::wstring>& rights,
                              RightsStep& failed) override {
        rights.clear();
        return refuse(failed);
    }

    ErrorCode workstationUser(platform::WorkstationUser& user) override {
        user = {};
        return error::CallNotImplemented;
    }

    ErrorCode currentUser(std::wstring& name) override {
        User user;
        const ErrorCode code = userById(::geteuid(), user);
        if (code == error::Success) {
            name = utf16FromUtf8(user.name);
        }
        return code;
    }

    // The sessions of utmp, all in one batch. A user with two sessions is named twice, as the
    // workstation service of Windows does.
    ErrorCode loggedOnUsers(std::uint32_t& resume, std::vector<std::wstring>& names) override {
        if (resume != 0) {
            return error::Success;
        }
        const MutexHolder holder(walkMutex);
        ::setutxent();
        while (const utmpx* session = ::getutxent()) {
            if (session->ut_type == USER_PROCESS) {
                // Not terminated by a zero when it is as long as its field.
                const std::size_t size = ::strnlen(session->ut_user, sizeof session->ut_user);
                names.push_back(utf16FromUtf8({session->ut_user, size}));
            }
        }
        ::endutxent();
        ++resume;
        return error::Success;
    }

private:
    static ErrorCode refuse(RightsStep& failed) {
        failed = RightsStep::OpenPolicy;
        return error::CallNotImplemented;
    }
};

}  // namespace

platform::Accounts& accounts() {
    static platform::Accounts& instance = *new PosixAccounts;
    return instance;
}

}  // namespace lathwind::posix
