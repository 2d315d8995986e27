#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/FakeAccounts.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "utils/SecurityUtilities.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::FakeAccounts;
using testing::LogCapture;
using testing::ServiceOverride;
using Lines = std::vector<std::wstring>;
using Step = platform::Accounts::RightsStep;

class SecurityUtilities : public ::testing::Test {
protected:
    SecurityUtilities() {
        sidToNameLookup().clear();
        nameToSidLookup().clear();
        accounts_.names = {{L"S-1-5-32-544", {L"BUILTIN", L"Administrators"}},
                           {L"S-1-5-21-1", {L"CORP", L"jane"}},
                           {L"S-1-1-0", {L"", L"Everyone"}}};
        accounts_.aliases = {{L"BA", L"S-1-5-32-544"}};
        accounts_.members = {{L"Operators", {L"S-1-5-21-1", L"S-1-5-21-404"}},
                             {L"jane", {L"Operators"}}};
    }
    ~SecurityUtilities() override {
        sidToNameLookup().clear();
        nameToSidLookup().clear();
    }

    FakeAccounts accounts_;
    ServiceOverride<platform::Accounts> answers_{platformFactory.accounts, accounts_};
    LogCapture log_;
};

TEST_F(SecurityUtilities, DisplaysTheNameOrTheStoredText) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"S-1-5-21-1", L"CORP\\jane"},
        {L"S-1-1-0", L"Everyone"},
        {L"BA", L"BUILTIN\\Administrators"},
        {L"S-1-5-21-404", L"S-1-5-21-404"},
        {L"</previous version had no data/>", L"</previous version had no data/>"},
        {L"", L""}};
    for (const auto& [stored, shown] : cases) {
        EXPECT_EQ(GetAccountDisplayName(stored), shown);
        EXPECT_EQ(GetGroupDisplayName(stored), shown);
    }
    EXPECT_EQ(accounts_.questions, 4);  // each SID once, the unknown one too
}

TEST_F(SecurityUtilities, AnErrorIsAskedAgain) {
    accounts_.failure = platform::error::AccessDenied;
    EXPECT_EQ(GetAccountDisplayName(L"S-1-5-21-1"), L"S-1-5-21-1");
    accounts_.failure = platform::error::Success;
    EXPECT_EQ(GetAccountDisplayName(L"S-1-5-21-1"), L"CORP\\jane");
}

TEST_F(SecurityUtilities, FindsSids) {
    std::wstring sid;
    EXPECT_TRUE(GetSidOfAccount(L"CORP\\jane", sid));
    EXPECT_EQ(sid, L"S-1-5-21-1");
    EXPECT_TRUE(log_.debugLines.empty());
    EXPECT_FALSE(GetSidOfAccount(L"joe", sid));
    EXPECT_EQ(log_.debugLines, Lines{L"Failed to query SID for a user: joe"});
    EXPECT_TRUE(GetCanonicalSid(L"BA", sid));
    EXPECT_EQ(sid, L"S-1-5-32-544");
    EXPECT_FALSE(GetCanonicalSid(L"XX", sid));
}

TEST_F(SecurityUtilities, ExpandsGroups) {
    Lines names;
    EXPECT_TRUE(GetGroupMembers(L"Operators", names));
    EXPECT_EQ(names, (Lines{L"CORP\\jane", L"S-1-5-21-404"}));
    EXPECT_FALSE(GetGroupMembers(L"Nobody", names));
    EXPECT_TRUE(names.empty());
    EXPECT_TRUE(GetLocalGroupsOfUser(L"jane", names));
    EXPECT_EQ(names, Lines{L"Operators"});
    EXPECT_FALSE(GetLocalGroupsOfUser(L"joe", names));
    EXPECT_EQ(log_.debugLines,
              (Lines{L"Error getting account name user SID", L"Error enumerating accounts in group",
                     L"Error (1332) getting user local group list for: joe"}));
}

TEST_F(SecurityUtilities, EachStepOfARightsChangeHasItsWords) {
    const Lines rights = {L"SeServiceLogonRight"};
    Lines found;
    EXPECT_TRUE(AddAccountRights(L"jane", rights));
    EXPECT_TRUE(EnumerateAccountRights(L"jane", found));
    EXPECT_EQ(found, rights);
    EXPECT_TRUE(RemoveAccountRights(L"jane", rights));
    EXPECT_TRUE(log_.debugLines.empty());

    accounts_.failure = platform::error::AccessDenied;
    const std::wstring why = platform::host().errorText(platform::error::AccessDenied);
    const auto lineOf = [&](Step step, auto operation) {
        accounts_.failedStep = step;
        log_.debugLines.clear();
        EXPECT_FALSE(operation());
        return log_.debugLines;
    };
    const auto add = [&] { return AddAccountRights(L"jane", rights); };
    const auto remove = [&] { return RemoveAccountRights(L"jane", rights); };
    const auto enumerate = [&] { return EnumerateAccountRights(L"jane", found); };
    EXPECT_EQ(lineOf(Step::OpenPolicy, add), Lines{L"LsaOpenPolicy failed: " + why});
    EXPECT_EQ(lineOf(Step::LookupName, remove), Lines{L"LsaLookupNames failed for jane: " + why});
    EXPECT_EQ(lineOf(Step::Change, add), Lines{L"LsaAddAccountRights failed for jane: " + why});
    EXPECT_EQ(lineOf(Step::Change, remove),
              Lines{L"LsaRemoveAccountRights failed for jane: " + why});
    EXPECT_EQ(lineOf(Step::Enumerate, enumerate),
              Lines{L"::LsaEnumerateAccountRights failed for jane: " + why});
}

TEST_F(SecurityUtilities, ReportsAMissingDescriptor) {
    std::wstring sddl = L"old";
    const std::wstring path = L"c:\\no\\such\\file";
    EXPECT_FALSE(GetSecurityText(path, platform::security::Owner, sddl));
    EXPECT_EQ(sddl, L"");
    ASSERT_EQ(log_.debugLines.size(), 1u);
    EXPECT_EQ(log_.debugLines[0].find(L"GetNamedSecurityInfo for " + path + L" Failed. Err : "),
              0u);
}

}  // namespace
}  // namespace lathwind
