#include "utils/posix/WellKnownSids.h"

#include <algorithm>
#include <iterator>

#include "utils/Text.h"

namespace lathwind::posix {
namespace {

constexpr std::wstring_view kNt = L"NT AUTHORITY";
constexpr std::wstring_view kBuiltin = L"BUILTIN";
constexpr std::wstring_view kLabel = L"Mandatory Label";

constexpr WellKnownSid kRows[] = {
    {L"S-1-0-0", L"", 0, L"", L"NULL SID"},
    {L"S-1-1-0", L"WD", 1, L"", L"Everyone"},
    {L"S-1-2-0", L"", 2, L"", L"LOCAL"},
    {L"S-1-3-0", L"CO", 3, L"", L"CREATOR OWNER"},
    {L"S-1-3-1", L"CG", 4, L"", L"CREATOR GROUP"},
    {L"S-1-3-2", L"", 5, L"", L"CREATOR OWNER SERVER"},
    {L"S-1-3-3", L"", 6, L"", L"CREATOR GROUP SERVER"},
    {L"S-1-3-4", L"OW", -1, L"", L"OWNER RIGHTS"},
    {L"S-1-5-1", L"", 8, kNt, L"DIALUP"},
    {L"S-1-5-2", L"NU", 9, kNt, L"NETWORK"},
    {L"S-1-5-3", L"", 10, kNt, L"BATCH"},
    {L"S-1-5-4", L"IU", 11, kNt, L"INTERACTIVE"},
    {L"S-1-5-6", L"SU", 12, kNt, L"SERVICE"},
    {L"S-1-5-7", L"AN", 13, kNt, L"ANONYMOUS LOGON"},
    {L"S-1-5-8", L"", 14, kNt, L"PROXY"},
    {L"S-1-5-9", L"ED", 15, kNt, L"ENTERPRISE DOMAIN CONTROLLERS"},
    {L"S-1-5-10", L"PS", 16, kNt, L"SELF"},
    {L"S-1-5-11", L"AU", 17, kNt, L"Authenticated Users"},
    {L"S-1-5-12", L"RC", 18, kNt, L"RESTRICTED"},
    {L"S-1-5-13", L"", 19, kNt, L"TERMINAL SERVER USER"},
    {L"S-1-5-14", L"", 20, kNt, L"REMOTE INTERACTIVE LOGON"},
    {L"S-1-5-18", L"SY", 22, kNt, L"SYSTEM"},
    {L"S-1-5-19", L"LS", 23, kNt, L"LOCAL SERVICE"},
    {L"S-1-5-20", L"NS", 24, kNt, L"NETWORK SERVICE"},
    {L"S-1-5-32", L"", 25, kBuiltin, L"BUILTIN"},
    {L"S-1-5-32-544", L"BA", 26, kBuiltin, L"Administrators"},
    {L"S-1-5-32-545", L"BU", 27, kBuiltin, L"Users"},
    {L"S-1-5-32-546", L"BG", 28, kBuiltin, L"Guests"},
    {L"S-1-5-32-547", L"PU", 29, kBuiltin, L"Power Users"},
    {L"S-1-5-32-548", L"AO", 30, kBuiltin, L"Account Operators"},
    {L"S-1-5-32-549", L"SO", 31, kBuiltin, L"Server Operators"},
    {L"S-1-5-32-550", L"PO", 32, kBuiltin, L"Print Operators"},
    {L"S-1-5-32-551", L"BO", 33, kBuiltin, L"Backup Operators"},
    {L"S-1-5-32-552", L"RE", 34, kBuiltin, L"Replicator"},
    {L"S-1-5-32-554", L"RU", 35, kBuiltin, L"Pre-Windows 2000 Compatible Access"},
    {L"S-1-5-32-555", L"RD", 36, kBuiltin, L"Remote Desktop Users"},
    {L"S-1-5-32-556", L"NO", 37, kBuiltin, L"Network Configuration Operators"},
    {L"S-1-5-32-558", L"MU", -1, kBuiltin, L"Performance Monitor Users"},
    {L"S-1-5-32-559", L"LU", -1, kBuiltin, L"Performance Log Users"},
    {L"S-1-5-32-568", L"IS", -1, kBuiltin, L"IIS_IUSRS"},
    {L"S-1-5-32-569", L"CY", -1, kBuiltin, L"Cryptographic Operators"},
    {L"S-1-5-32-573", L"ER", -1, kBuiltin, L"Event Log Readers"},
    {L"S-1-5-32-574", L"CD", -1, kBuiltin, L"Certificate Service DCOM Access"},
    {L"S-1-5-33", L"WR", -1, kNt, L"WRITE RESTRICTED"},
    {L"S-1-16-4096", L"LW", -1, kLabel, L"Low Mandatory Level"},
    {L"S-1-16-8192", L"ME", -1, kLabel, L"Medium Mandatory Level"},
    {L"S-1-16-12288", L"HI", -1, kLabel, L"High Mandatory Level"},
    {L"S-1-16-16384", L"SI", -1, kLabel, L"System Mandatory Level"},
};

template <class Test>
const WellKnownSid* find(const Test& test) {
    const auto* row = std::find_if(std::begin(kRows), std::end(kRows), test);
    return row != std::end(kRows) ? row : nullptr;
}

// Takes one decimal number up to `limit` off the front.
bool takeNumber(std::wstring_view& text, std::uint64_t limit) noexcept {
    std::uint64_t value = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && text[digits] >= L'0' && text[digits] <= L'9'; ++digits) {
        value = value * 10 + static_cast<std::uint64_t>(text[digits] - L'0');
        if (value > limit) {
            return false;
        }
    }
    text.remove_prefix(digits);
    return digits > 0;
}

}  // namespace

const WellKnownSid* wellKnownBySid(std::wstring_view sid) noexcept {
    return find([=](const WellKnownSid& row) { return row.sid == sid; });
}

const WellKnownSid* wellKnownByAlias(std::wstring_view alias) noexcept {
    return find([=](const WellKnownSid& row) {
        return !row.alias.empty() && equalsNoCase(row.alias, alias);
    });
}

const WellKnownSid* wellKnownByType(std::int32_t type) noexcept {
    return find([=](const WellKnownSid& row) { return row.type == type && type >= 0; });
}

const WellKnownSid* wellKnownByName(std::wstring_view domain, std::wstring_view name) noexcept {
    return find([=](const WellKnownSid& row) {
        return equalsNoCase(row.name, name) && (domain.empty() || equalsNoCase(row.domain, domain));
    });
}

bool isSid(std::wstring_view text) noexcept {
    constexpr std::wstring_view kPrefix = L"S-1-";
    constexpr std::size_t kMostSubAuthorities = 15;
    if (!equalsNoCase(text.substr(0, kPrefix.size()), kPrefix)) {
        return false;
    }
    text.remove_prefix(kPrefix.size());
    if (!takeNumber(text, (std::uint64_t{1} << 48) - 1)) {
        return false;
    }
    std::size_t count = 0;
    for (; !text.empty(); ++count) {
        if (text[0] != L'-') {
            return false;
        }
        text.remove_prefix(1);
        if (!takeNumber(text, 0xFFFFFFFFu)) {
            return false;
        }
    }
    return count >= 1 && count <= kMostSubAuthorities;
}

}  // namespace lathwind::posix
