// Any text as the access list of a snapshot: cut for a record it joins to itself again, and shown
// in lines it loses nothing, whatever the names are that take the place of accounts.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "filewatch/AclDisplay.h"
#include "support/FakeAccounts.h"
#include "support/ServiceOverride.h"
#include "support/SnapshotFields.h"
#include "utils/Text.h"

namespace {

using namespace lathwind;

// A name that looks like all that is searched for.
constexpr wchar_t kName[] = L"x(A;O:G:D:(D;BA)";

void demand(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void split(const std::wstring& text) {
    testing::SnapshotFields fields;
    fields.acl = text;
    std::list<std::wstring> pieces;
    fields.make().SplitAcl(pieces);
    std::wstring joined;
    for (const std::wstring& piece : pieces) {
        joined += piece;
    }
    demand(joined == text);
}

std::size_t count(const std::wstring& text, wchar_t unit) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), unit));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static testing::FakeAccounts accounts;
    static testing::ServiceOverride<platform::Accounts> answers(platformFactory.accounts, accounts);
    accounts.names = {{L"S-1-5-32-544", {L"", kName}}, {L"S-1-5-18", {L"NT AUTHORITY", L"SYSTEM"}}};
    accounts.aliases = {{L"BA", L"S-1-5-32-544"}, {L"SY", L"S-1-5-18"}};

    // A string of a record ends at a zero unit, and has at most 2048.
    constexpr std::size_t kLongestText = 2048;
    std::wstring text =
        utf16FromUtf8({reinterpret_cast<const char*>(data), std::min(size, kLongestText)});
    text.resize(std::min(text.size(), text.find(L'\0')));
    split(text);
    const std::wstring shown = AclDisplayText(text);
    demand(shown.empty() == text.empty());
    demand(text.empty() || shown.starts_with(L"\n\n"));
    demand(count(shown, L'(') >= count(text, L'('));
    return 0;
}
