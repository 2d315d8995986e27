#pragma once

#include <cstdint>
#include <string_view>

namespace lathwind::posix {

// A SID that is the same on every Windows system (MS-DTYP 2.4.2.4), with its two-letter alias in
// SDDL (MS-DTYP 2.5.1.1) and its WELL_KNOWN_SID_TYPE. An empty text and -1 stand for none.
struct WellKnownSid {
    std::wstring_view sid;
    std::wstring_view alias;
    std::int32_t type;
    std::wstring_view domain;
    std::wstring_view name;
};

// Null without a row.
const WellKnownSid* wellKnownBySid(std::wstring_view sid) noexcept;
const WellKnownSid* wellKnownByAlias(std::wstring_view alias) noexcept;
const WellKnownSid* wellKnownByType(std::int32_t type) noexcept;
// Without regard to case; an empty domain matches any.
const WellKnownSid* wellKnownByName(std::wstring_view domain, std::wstring_view name) noexcept;

// "S-1-" and numbers: the authority (48 bits) and up to 15 sub-authorities (32 bits each).
bool isSid(std::wstring_view text) noexcept;

}  // namespace lathwind::posix
