#include <gtest/gtest.h>

#include "utils/windows/SystemHeaders.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

namespace error = platform::error;

TEST(WinAccounts, WellKnownIdentifiersHaveNamesAndComeBack) {
    for (const wchar_t* known : {L"S-1-5-18", L"S-1-5-32-544"}) {
        platform::AccountName account;
        ASSERT_EQ(error::Success, accounts().accountOfSid(known, account));
        EXPECT_FALSE(account.name.empty());
        std::wstring sid;
        EXPECT_EQ(error::Success, accounts().sidOfAccount(account.name, sid));
        EXPECT_EQ(known, sid);
    }
    platform::AccountName account;
    EXPECT_EQ(error::NoneMapped, accounts().accountOfSid(L"S-1-5-21-1-2-3-4567", account));
    EXPECT_EQ(error::InvalidSid, accounts().accountOfSid(L"no identifier", account));
    std::wstring sid;
    EXPECT_EQ(error::NoneMapped, accounts().sidOfAccount(L"lathwind-no-such-account", sid));
}

TEST(WinAccounts, CanonicalForm) {
    const struct {
        const wchar_t* text;
        const wchar_t* sid;
    } rows[] = {{L"BA", L"S-1-5-32-544"},
                {L"SY", L"S-1-5-18"},
                {L"s-1-1-0", L"S-1-1-0"},
                {L"S-1-5-32-545", L"S-1-5-32-545"}};
    for (const auto& row : rows) {
        std::wstring sid;
        EXPECT_EQ(error::Success, accounts().canonicalSid(row.text, sid));
        EXPECT_EQ(row.sid, sid);
    }
    std::wstring sid;
    EXPECT_EQ(error::InvalidSid, accounts().canonicalSid(L"S-1", sid));
    EXPECT_EQ(error::Success, accounts().wellKnownSid(WinBuiltinAdministratorsSid, sid));
    EXPECT_EQ(L"S-1-5-32-544", sid);
    EXPECT_NE(error::Success, accounts().wellKnownSid(9999, sid));
}

TEST(WinAccounts, TheProcessHasAUser) {
    std::wstring user;
    EXPECT_EQ(error::Success, accounts().currentUser(user));
    EXPECT_FALSE(user.empty());
    platform::WorkstationUser facts;
    ASSERT_EQ(error::Success, accounts().workstationUser(facts));
    EXPECT_EQ(user, facts.user);
    EXPECT_FALSE(facts.logonDomain.empty());
}

// An account that does not exist fails at one step and says at which.
TEST(WinAccounts, RightsNameTheStepThatFailed) {
    using Step = platform::Accounts::RightsStep;
    const std::wstring nobody = L"lathwind-no-such-account";
    std::vector<std::wstring> rights;
    Step failed = Step::None;
    EXPECT_NE(error::Success, accounts().enumerateRights(nobody, rights, failed));
    EXPECT_EQ(Step::LookupName, failed);
    failed = Step::None;
    EXPECT_NE(error::Success, accounts().addRights(nobody, {L"SeBackupPrivilege"}, failed));
    EXPECT_EQ(Step::LookupName, failed);
    failed = Step::None;
    EXPECT_NE(error::Success, accounts().removeRights(std::wstring(40000, L'x'), {}, failed));
    EXPECT_EQ(Step::LookupName, failed);
}

}  // namespace
}  // namespace lathwind::windows
