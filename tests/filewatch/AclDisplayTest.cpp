#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>

#include "filewatch/AclDisplay.h"
#include "support/FakeAccounts.h"
#include "support/ServiceOverride.h"
#include "utils/SecurityUtilities.h"

namespace lathwind {
namespace {

class AclDisplay : public ::testing::Test {
protected:
    AclDisplay() {
        know(L"BA", L"S-1-5-32-544", {L"BUILTIN", L"Administrators"});
        know(L"SY", L"S-1-5-18", {L"NT AUTHORITY", L"SYSTEM"});
        know(L"WD", L"S-1-1-0", {L"", L"Everyone"});
        know(L"", L"S-1-5-21-1-2-3-1001", {L"BOX", L"eve"});
        know(L"", L"S-1-22-1-1000", {L"", L"eve"});
        know(L"", L"S-1-22-2-100", {L"", L"users"});
        know(L"", L"S-1-5-9", {L"", L"a G:b"});
        know(L"QQ", L"S-1-5-7", {L"", L"x(A;QQ)(D;SY)"});
        know(L"NN", L"S-1-5-6", {L"", L""});
        sidToNameLookup().clear();
    }
    ~AclDisplay() override { sidToNameLookup().clear(); }

    void know(const std::wstring& alias, const std::wstring& sid,
              const platform::AccountName& name) {
        accounts.names[sid] = name;
        if (!alias.empty()) {
            accounts.aliases[alias] = sid;
        }
    }

    testing::FakeAccounts accounts;
    testing::ServiceOverride<platform::Accounts> answers{platformFactory.accounts, accounts};
};

TEST_F(AclDisplay, Table) {
    struct Row {
        std::wstring sddl;
        std::wstring shown;
    } rows[] = {
        {L"", L""},
        {L"O:BAG:SYD:PAI(A;;FA;;;SY)(D;OICI;0x1200a9;;;WD)",
         L"\n\nO:BUILTIN\\Administrators\nG:NT AUTHORITY\\SYSTEM\nD:PAI\n"
         L"(A;;FA;;;NT AUTHORITY\\SYSTEM)\n(D;OICI;0x1200a9;;;Everyone)"},
        {L"O:S-1-22-1-1000G:S-1-22-2-100D:(A;;FRFW;;;S-1-22-1-1000)(A;;FR;;;S-1-22-2-100)"
         L"(A;;FR;;;WD)(D;;DC;;;WD)",
         L"\n\nO:eve\nG:users\nD:\n(A;;FRFW;;;eve)\n(A;;FR;;;users)\n(A;;FR;;;Everyone)\n"
         L"(D;;DC;;;Everyone)"},
        // An account without a name, with an empty one, and what is no account.
        {L"O:S-1-5-21-1-2-3-1001G:S-1-5-21-1-2-3-1002D:(A;;FA;;;NN)(A;;FA;;;ZZ)",
         L"\n\nO:BOX\\eve\nG:S-1-5-21-1-2-3-1002\nD:\n(A;;FA;;;NN)\n(A;;FA;;;ZZ)"},
        // Parts that are missing.
        {L"O:BAD:(A;;FA;;;SY)",
         L"\n\nO:BUILTIN\\Administrators\nD:\n(A;;FA;;;NT AUTHORITY\\SYSTEM)"},
        {L"O:BAG:SY", L"\n\nO:BUILTIN\\Administrators\nG:NT AUTHORITY\\SYSTEM"},
        {L"G:SYD:", L"\n\n\nG:NT AUTHORITY\\SYSTEM\nD:"},
        {L"O:BA(A;;FA;;;SY)", L"\n\nO:BUILTIN\\Administrators\n(A;;FA;;;NT AUTHORITY\\SYSTEM)"},
        {L"D:NO_ACCESS_CONTROL", L"\n\n\nD:NO_ACCESS_CONTROL"},
        // Only simple entries are looked at, and every parenthesis begins a line.
        {L"D:(OA;;CR;ab-cd;;SY)(XA;;FX;;;WD;(@User.Title==\"PM\"))S:(ML;;NW;;;WD)",
         L"\n\n\nD:\n(OA;;CR;ab-cd;;SY)\n(XA;;FX;;;WD;\n(@User.Title==\"PM\"))S:\n(ML;;NW;;;WD)"},
        // Blanks around an account are not part of it.
        {L"O: BA \tG:\rSYD:(A;; SY )",
         L"\n\nO:BUILTIN\\Administrators\nG:NT AUTHORITY\\SYSTEM\n"
         L"D:\n(A;;NT AUTHORITY\\SYSTEM)"},
        // Damaged entries: nothing closes, nothing to name, an entry within another.
        {L"D:(A;;FA;;;SY", L"\n\n\nD:\n(A;;FA;;;SY"},
        {L"D:(A;)(A;;;;;)(D;", L"\n\n\nD:\n(A;)\n(A;;;;;)\n(D;"},
        {L"D:(A;(A;SY)BA)", L"\n\n\nD:\n(A;\n(A;NT AUTHORITY\\SYSTEM)BA)"},
        {L"(", L"\n\n\n("},
        {L"x", L"\n\nx"},
        // Marks are found wherever they stand: in a value, and in the owner's name, which then
        // hides the group.
        {L"O:xD:yG:SY", L"\n\nO:x\nD:y\nG:NT AUTHORITY\\SYSTEM"},
        {L"O:S-1-5-9G:SY", L"\n\nO:a G:b\nG:SY"},
        // Names that look like entries: those of allow entries are not searched for more of them.
        {L"D:(A;;QQ)(A;;SY)",
         L"\n\n\nD:\n(A;;x(A;QQ)(D;NT AUTHORITY\\SYSTEM))\n(A;;NT AUTHORITY\\SYSTEM)"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(AclDisplayText(row.sddl), row.shown) << ::testing::PrintToString(row.sddl);
    }
}

TEST_F(AclDisplay, NamesAloneLeaveTheLines) {
    std::wstring text = L"O:BA\nG:WD\n(A;;SY)";
    ResolveAclNames(text);
    EXPECT_EQ(text, L"O:BUILTIN\\Administrators\nG:Everyone\n(A;;NT AUTHORITY\\SYSTEM)");
}

// The largest lists and their worst likenesses take a moment, not the square of one: 64 K units
// searched anew for each entry would be seconds.
TEST_F(AclDisplay, LongTextsTakeNoLonger) {
    constexpr std::size_t kUnits = 65536;
    const auto start = std::chrono::steady_clock::now();
    for (const std::wstring piece :
         {L"(", L")", L"(A;", L"(A;)", L"(A;;BA)", L";", L"(D;(A;", L"(A;;FA;;;S-1-5-18)", L"\n"}) {
        std::wstring sddl = L"O:BAG:SYD:";
        while (sddl.size() < kUnits) {
            sddl += piece;
        }
        const std::wstring shown = AclDisplayText(sddl);
        EXPECT_EQ(static_cast<std::size_t>(std::count(shown.begin(), shown.end(), L'(')),
                  static_cast<std::size_t>(std::count(sddl.begin(), sddl.end(), L'(')));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
}  // namespace lathwind
