#pragma once

#include <map>
#include <string>
#include <vector>

#include "utils/platform/Accounts.h"

namespace lathwind::testing {

// A machine with the accounts and groups that a test writes down. `failure`, where set, is the
// answer to everything.
class FakeAccounts : public platform::Accounts {
public:
    using ErrorCode = platform::ErrorCode;

    std::map<std::wstring, platform::AccountName> names;  // by SID
    std::map<std::wstring, std::wstring> aliases;         // "BA" to SID
    std::map<std::wstring, std::vector<std::wstring>> members;
    std::map<std::wstring, std::vector<std::wstring>> rights;
    std::vector<std::vector<std::wstring>> loggedOnBatches;
    platform::WorkstationUser workstation;
    std::wstring user;
    ErrorCode failure = platform::error::Success;
    RightsStep failedStep = RightsStep::None;
    int questions = 0;

    ErrorCode accountOfSid(const std::wstring& sid, platform::AccountName& account) override {
        ++questions;
        return answer(names, sid, account);
    }
    ErrorCode sidOfAccount(const std::wstring& account, std::wstring& sid) override {
        ++questions;
        for (const auto& [id, name] : names) {
            if (name.name == account || name.domain + L"\\" + name.name == account) {
                sid = id;
                return failure;
            }
        }
        return failure != 0 ? failure : platform::error::NoneMapped;
    }
    ErrorCode canonicalSid(const std::wstring& text, std::wstring& sid) override {
        if (text.starts_with(L"S-1-")) {
            sid = text;
            return platform::error::Success;
        }
        return aliases.count(text) != 0 ? answer(aliases, text, sid) : platform::error::InvalidSid;
    }
    ErrorCode wellKnownSid(std::int32_t, std::wstring& sid) override {
        sid = L"S-1-5-18";
        return failure;
    }
    ErrorCode groupMembers(const std::wstring& group, std::vector<std::wstring>& sids) override {
        return answer(members, group, sids);
    }
    ErrorCode localGroupsOf(const std::wstring& name, std::vector<std::wstring>& groups) override {
        return answer(members, name, groups);
    }
    ErrorCode addRights(const std::wstring& account, const std::vector<std::wstring>& added,
                        RightsStep& failed) override {
        failed = failedStep;
        if (failure == 0) {
            rights[account] = added;
        }
        return failure;
    }
    ErrorCode removeRights(const std::wstring& account, const std::vector<std::wstring>&,
                           RightsStep& failed) override {
        failed = failedStep;
        rights.erase(account);
        return failure;
    }
    ErrorCode enumerateRights(const std::wstring& account, std::vector<std::wstring>& found,
                              RightsStep& failed) override {
        failed = failedStep;
        return answer(rights, account, found);
    }
    ErrorCode workstationUser(platform::WorkstationUser& found) override {
        found = workstation;
        return workstation.user.empty() ? platform::error::NotSupported : failure;
    }
    ErrorCode currentUser(std::wstring& name) override {
        name = user;
        return user.empty() ? platform::error::NotSupported : failure;
    }
    ErrorCode loggedOnUsers(std::uint32_t& resume, std::vector<std::wstring>& found) override {
        if (resume >= loggedOnBatches.size()) {
            return failure;
        }
        const auto& batch = loggedOnBatches[resume++];
        found.insert(found.end(), batch.begin(), batch.end());
        return resume < loggedOnBatches.size() ? platform::error::MoreData
                                               : platform::error::Success;
    }

private:
    template <class Map, class Answer>
    ErrorCode answer(const Map& map, const std::wstring& key, Answer& found) const {
        if (failure != platform::error::Success) {
            return failure;
        }
        const auto entry = map.find(key);
        if (entry == map.end()) {
            return platform::error::NoneMapped;
        }
        found = entry->second;
        return platform::error::Success;
    }
};

}  // namespace lathwind::testing
