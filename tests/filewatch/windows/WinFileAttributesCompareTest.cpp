#include <functional>
#include <gtest/gtest.h>

#include "support/FakeAccounts.h"
#include "support/ServiceOverride.h"
#include "support/SnapshotFields.h"
#include "utils/SecurityUtilities.h"
#include "utils/platform/Files.h"

namespace lathwind {
namespace {

using testing::SnapshotFields;
using Change = std::function<void(SnapshotFields&)>;
namespace attribute = platform::attribute;

// What one comparison gave, by both ways of asking.
struct Outcome {
    std::wstring text;
    bool securityChanged = true;
    bool probed = true;
    bool probedSecurity = true;
    int lookupsOfProbe = 0;
};

class WinFileAttributesCompare : public ::testing::Test {
protected:
    WinFileAttributesCompare() {
        accounts.names[L"S-1-5-18"] = {L"NT AUTHORITY", L"SYSTEM"};
        accounts.names[L"S-1-5-32-544"] = {L"BUILTIN", L"Administrators"};
        accounts.names[L"S-1-5-21-7"] = {L"", L"eve"};
        accounts.aliases[L"SY"] = L"S-1-5-18";
        accounts.aliases[L"BA"] = L"S-1-5-32-544";
        sidToNameLookup().clear();
    }
    ~WinFileAttributesCompare() override { sidToNameLookup().clear(); }

    Outcome compare(bool monitorAccess = true, bool compareVolatile = true) const {
        const WinFileAttributes previous = before.make();
        const WinFileAttributes current = now.make();
        Outcome outcome;
        sidToNameLookup().clear();
        const auto lookups = sidToNameLookup().counters().lookups;
        EXPECT_EQ(current.CompareToText(previous, monitorAccess, &outcome.probed,
                                        &outcome.probedSecurity, compareVolatile),
                  L"");
        outcome.lookupsOfProbe = static_cast<int>(sidToNameLookup().counters().lookups - lookups);
        outcome.text = current.CompareToText(previous, monitorAccess, nullptr,
                                             &outcome.securityChanged, compareVolatile);
        return outcome;
    }

    SnapshotFields before;
    SnapshotFields now;
    testing::FakeAccounts accounts;
    testing::ServiceOverride<platform::Accounts> answers{platformFactory.accounts, accounts};
};

// Each row alone: its line, whether it is one of security, and under which question it stays out.
TEST_F(WinFileAttributesCompare, RowTable) {
    const auto flag = [](std::uint32_t bit) {
        return [bit](SnapshotFields& f) { f.attributes |= bit; };
    };
    const std::wstring on = L"  Previous value: OFF, Current value: ON\n";
    const std::wstring acl =
        L"(Access Control List Changed)\n"
        L"  Previous Access Control List: \n\nO:NT AUTHORITY\\SYSTEM\nG:BUILTIN\\Administrators\n"
        L"D:\n(A;;FA;;;NT AUTHORITY\\SYSTEM)\n"
        L"  Current Access Control List: \n\nO:eve\n";
    enum class Only { Always, Volatile };
    struct Row {
        Change change;
        std::wstring text;
        Only only = Only::Always;
        bool security = false;
    } rows[] = {
        {[](auto&) {}, L""},
        {[](auto& f) { f.path = L"c:\\F"; },
         L"(File Name Changed)\n  Previous File Name: c:\\f\n  Current File Name: c:\\F\n"},
        {[](auto& f) { f.size = 0xFFFFFFFFFFFFFFFF; },
         L"(File Size Changed)\n  Previous File Size: 10\n"
         L"  Current File Size: 18446744073709551615\n"},
        {[](auto& f) { f.links = 3; },
         L"(# Hard Links Changed)\n  Previous # Hard Links: 0\n  Current # Hard Links: 2\n"},
        {[](auto& f) { f.links = 1; }, L""},
        {flag(attribute::Archive), L"(Archive Changed)\n" + on, Only::Volatile},
        {flag(attribute::Compressed), L"(Compressed Changed)\n" + on},
        {flag(attribute::Directory), L"(Directory Changed)\n" + on},
        {flag(attribute::Encrypted), L"(Encrypted Changed)\n" + on},
        {flag(attribute::Hidden), L"(Hidden Changed)\n" + on},
        {flag(attribute::Offline), L"(Offline Changed)\n" + on},
        {flag(attribute::ReadOnly), L"(Readonly Changed)\n" + on},
        {flag(attribute::ReparsePoint), L"(Reparse Point Changed)\n" + on},
        {flag(attribute::Sparse), L"(Sparse File Changed)\n" + on},
        {flag(attribute::System), L"(System Changed)\n" + on},
        {flag(attribute::Temporary), L"(Temporary Changed)\n" + on, Only::Volatile},
        {flag(attribute::NotIndexed), L"(Indexed Changed)\n" + on, Only::Volatile},
        {flag(attribute::Normal | 0x80000000u), L""},
        {[](auto& f) { f.owner = L"S-1-5-21-7"; },
         L"(Owner Changed)\n  Previous Owner: NT AUTHORITY\\SYSTEM\n  Current Owner: eve\n"},
        {[](auto& f) { f.owner = L"S-1-5-21-8"; },
         L"(Owner Changed)\n  Previous Owner: NT AUTHORITY\\SYSTEM\n"
         L"  Current Owner: S-1-5-21-8\n"},
        {[](auto& f) { f.group = L""; },
         L"(PrimaryGroup Changed)\n  Previous PrimaryGroup: BUILTIN\\Administrators\n"
         L"  Current PrimaryGroup: \n"},
        {[](auto& f) { f.acl = L"O:S-1-5-21-7"; }, acl, Only::Always, true},
        {[](auto& f) { f.attributesByName[L"k"] = L"v"; },
         L"(NTFS Extended Attribute k Changed)\n  Previous NTFS Extended Attribute k: \n"
         L"  Current NTFS Extended Attribute k: v\n",
         Only::Always, true},
        {[](auto& f) { f.streams[L":s:$DATA"] = 5; },
         L"(NTFS Alternate Data Stream :s:$DATA size Changed)\n"
         L"  Previous NTFS Alternate Data Stream :s:$DATA size: 0\n"
         L"  Current NTFS Alternate Data Stream :s:$DATA size: 5\n",
         Only::Always, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(row.text));
        now = before;
        row.change(now);
        for (const bool compareVolatile : {false, true}) {
            const Outcome outcome = compare(false, compareVolatile);
            const bool isSeen = row.only == Only::Always || compareVolatile;
            EXPECT_EQ(outcome.text, isSeen ? row.text : L"");
            EXPECT_EQ(outcome.securityChanged, row.security);
            EXPECT_EQ(outcome.probed, isSeen && !row.text.empty());
            EXPECT_EQ(outcome.probedSecurity, row.security);
            EXPECT_EQ(outcome.lookupsOfProbe, 0);
        }
    }
}

TEST_F(WinFileAttributesCompare, ClearedFlagsSaySo) {
    before.attributes = attribute::Hidden;
    EXPECT_EQ(compare().text, L"(Hidden Changed)\n  Previous value: ON, Current value: OFF\n");
}

TEST_F(WinFileAttributesCompare, Dates) {
    struct Row {
        const wchar_t* label;
        FileTime SnapshotFields::*field;
        std::wstring (WinFileAttributes::*text)(const FileAttributes*) const;
        bool needsMonitoring;
    } rows[] = {
        {L"Creation Date", &SnapshotFields::created, &WinFileAttributes::GetCreationTimeText,
         false},
        {L"Access Date", &SnapshotFields::accessed, &WinFileAttributes::GetAccessTimeText, true},
        {L"Modified Date", &SnapshotFields::modified, &WinFileAttributes::GetModifiedTimeText,
         false},
    };
    for (const Row& row : rows) {
        const std::wstring label = row.label;
        now = before;
        ++(now.*row.field);  // one unit of 100 ns, which the text need not show
        const std::wstring expected = L"(" + label + L" Changed)\n  Previous " + label + L": " +
                                      (before.make().*row.text)(nullptr) + L"\n  Current " + label +
                                      L": " + (now.make().*row.text)(nullptr) + L"\n";
        EXPECT_EQ(compare(true).text, expected);
        EXPECT_TRUE(compare(true).probed);
        EXPECT_EQ(compare(false).text, row.needsMonitoring ? L"" : expected);
        EXPECT_EQ(compare(false).probed, !row.needsMonitoring);

        now.*row.field = 0;  // no longer known: there is nothing to say
        EXPECT_EQ(compare(true).text, L"");
        EXPECT_FALSE(compare(true).probed);

        now = before;
        ++(now.*row.field);
        now.attributes = attribute::Directory;
        const Outcome folder = compare(true);
        EXPECT_EQ(folder.text, L"(Directory Changed)\n  Previous value: OFF, Current value: ON\n");
        before.attributes = attribute::Directory;
        EXPECT_FALSE(compare(true).probed);
        now.attributes = 0;  // the times count again for what is no folder any more
        EXPECT_TRUE(compare(true).text.ends_with(expected));
        before.attributes = 0;
    }
}

// All that differs is told, in the order of the rows.
TEST_F(WinFileAttributesCompare, OrderOfLines) {
    now.path = L"x";
    now.size = 1;
    now.links = 2;
    now.attributes = 0xFFFFFFFFu & ~attribute::Directory;
    now.owner = now.group = L"S-1-5-21-7";
    now.created = now.accessed = now.modified = 132356672600000000;
    now.acl = L"D:";
    now.attributesByName[L"e"] = L"v";
    now.streams[L"s"] = 1;
    const Outcome outcome = compare();
    std::wstring labels;
    for (std::size_t at = outcome.text.find(L'('); at != std::wstring::npos;
         at = outcome.text.find(L"\n(", at + 1)) {
        const std::size_t begin = outcome.text.find(L'(', at) + 1;
        const std::size_t end = outcome.text.find(L" Changed)", begin);
        if (end != std::wstring::npos && end < outcome.text.find(L'\n', begin)) {
            labels.append(outcome.text, begin, end - begin).append(L"|");
        }
    }
    EXPECT_EQ(labels,
              L"File Name|File Size|# Hard Links|Archive|Compressed|Encrypted|Hidden|Offline|"
              L"Readonly|Reparse Point|Sparse File|System|Temporary|Indexed|Owner|"
              L"PrimaryGroup|Creation Date|Access Date|Modified Date|"
              L"NTFS Extended Attribute e|NTFS Alternate Data Stream s size|"
              L"Access Control List|");
    EXPECT_TRUE(outcome.securityChanged);
    EXPECT_TRUE(outcome.probed);
    EXPECT_FALSE(outcome.probedSecurity);  // the name already told that there is a difference
    EXPECT_EQ(outcome.lookupsOfProbe, 0);
    EXPECT_EQ(now.make().CompareExtendedToText(before.make()),
              outcome.text.substr(outcome.text.find(L"(NTFS")));
}

TEST_F(WinFileAttributesCompare, ExtendedAttributeTable) {
    using Map = std::map<std::wstring, std::wstring>;
    const auto line = [](const std::wstring& name, const std::wstring& from,
                         const std::wstring& to) {
        const std::wstring label = L"NTFS Extended Attribute " + name;
        return L"(" + label + L" Changed)\n  Previous " + label + L": " + from + L"\n  Current " +
               label + L": " + to + L"\n";
    };
    struct Row {
        Map before;
        Map now;
        std::wstring text;
    } rows[] = {
        {{{L"a", L"1"}}, {{L"a", L"1"}}, L""},
        {{{L"a", L"1"}}, {}, line(L"a", L"1", L"")},
        {{{L"a", L"1"}}, {{L"a", L"2"}}, line(L"a", L"1", L"2")},
        {{{L"b", L"1"}, {L"c", L"2"}},
         {{L"a", L"3"}, {L"c", L"4"}, {L"d", L"5"}},
         line(L"b", L"1", L"") + line(L"c", L"2", L"4") + line(L"a", L"", L"3") +
             line(L"d", L"", L"5")},
        // An empty value is as good as none, and one that takes its place is both a change and new.
        {{}, {{L"a", L""}}, L""},
        {{{L"a", L""}}, {}, L""},
        {{{L"a", L""}}, {{L"a", L"1"}}, line(L"a", L"", L"1") + line(L"a", L"", L"1")},
        {{{L"a", L"1"}}, {{L"a", L""}}, line(L"a", L"1", L"")},
    };
    for (const Row& row : rows) {
        before.attributesByName = row.before;
        now.attributesByName = row.now;
        const Outcome outcome = compare();
        EXPECT_EQ(outcome.text, row.text);
        EXPECT_EQ(outcome.securityChanged, !row.text.empty());
        EXPECT_EQ(outcome.probed, !row.text.empty());
        EXPECT_EQ(outcome.probedSecurity, !row.text.empty());
    }
}

TEST_F(WinFileAttributesCompare, StreamTable) {
    using Map = std::map<std::wstring, std::uint32_t>;
    const auto line = [](const std::wstring& name, const std::wstring& from,
                         const std::wstring& to) {
        const std::wstring label = L"NTFS Alternate Data Stream " + name + L" size";
        return L"(" + label + L" Changed)\n  Previous " + label + L": " + from + L"\n  Current " +
               label + L": " + to + L"\n";
    };
    struct Row {
        Map before;
        Map now;
        std::wstring text;
    } rows[] = {
        {{{L"a", 0}}, {{L"a", 0}}, L""},
        {{{L"a", 7}}, {}, line(L"a", L"7", L"0")},
        {{{L"a", 0}}, {}, line(L"a", L"0", L"0")},
        {{}, {{L"a", 0}}, line(L"a", L"0", L"0")},
        {{{L"b", 1}, {L"c", 2}},
         {{L"a", 3}, {L"c", 4000000000}},
         line(L"b", L"1", L"0") + line(L"c", L"2", L"4000000000") + line(L"a", L"0", L"3")},
    };
    for (const Row& row : rows) {
        before.streams = row.before;
        now.streams = row.now;
        const Outcome outcome = compare();
        EXPECT_EQ(outcome.text, row.text);
        EXPECT_EQ(outcome.probed, !row.text.empty());
        EXPECT_EQ(outcome.securityChanged, !row.text.empty());
    }
}

// The text decides: entries in another order are another list.
TEST_F(WinFileAttributesCompare, AccessListsAreNotNormalised) {
    before.acl = L"D:(A;;FR;;;SY)(A;;FW;;;BA)";
    now.acl = L"D:(A;;FW;;;BA)(A;;FR;;;SY)";
    const Outcome outcome = compare();
    EXPECT_TRUE(outcome.securityChanged);
    EXPECT_TRUE(outcome.probed);
    EXPECT_TRUE(outcome.probedSecurity);
    EXPECT_EQ(outcome.lookupsOfProbe, 0);
    now.acl.clear();
    EXPECT_TRUE(compare().text.ends_with(L"\n  Current Access Control List: \n"));
}

}  // namespace
}  // namespace lathwind
