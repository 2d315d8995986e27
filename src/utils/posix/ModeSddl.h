#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "utils/platform/Errors.h"

// Owner, group and mode bits as SIDs and SDDL.
//
// Users are S-1-22-1-<uid>, groups S-1-22-2-<gid>. Each class of the mode makes one entry of the
// access list, with FA for rwx and otherwise a run of FR, FW and FX; a class without a bit makes
// none. The three special bits have entries of their own, so that a set-user-id bit that comes or
// goes is a change of the access list:
//
//   O:S-1-22-1-1000G:S-1-22-2-100D:(A;;FRFW;;;S-1-22-1-1000)(A;;FR;;;S-1-22-2-100)(A;;FR;;;WD)
//   set-user-id (A;;FX;;;CO)   set-group-id (A;;FX;;;CG)   sticky (D;;DC;;;WD)
//
// Access lists beyond the mode bits (setfacl) show only as what the kernel makes of them in the
// group's bits.
namespace lathwind::posix {

struct Ownership {
    uid_t user = 0;
    gid_t group = 0;
    mode_t mode = 0;  // the twelve permission bits
    bool operator==(const Ownership&) const = default;
};

std::wstring sidOfUser(uid_t user);
std::wstring sidOfGroup(gid_t group);
// The id of such a SID, nothing for any other text.
std::optional<uid_t> userOfSid(std::wstring_view sid);
std::optional<gid_t> groupOfSid(std::wstring_view sid);

// `information` as in platform::security: Owner, Group, Dacl; other bits have nothing to show.
std::wstring toSddl(const Ownership& ownership, std::uint32_t information);

// SIDs and the text of all parts.
struct OwnershipTexts {
    std::wstring user;
    std::wstring group;
    std::wstring sddl;
};
// Made anew only when the calling thread asks for another ownership than the last time: files that
// are looked at one after the other nearly always share theirs. Good until the thread's next call.
const OwnershipTexts& textsOf(const Ownership& ownership);

// Takes the parts named by `information` from a text of the form above over into `ownership`,
// which holds the present state. InvalidParameter for anything that is no such text,
// NotSupported for an entry that mode bits cannot express; `ownership` is then as it was.
platform::ErrorCode applySddl(std::wstring_view sddl, std::uint32_t information,
                              Ownership& ownership);

}  // namespace lathwind::posix
