#include "utils/posix/ModeSddl.h"

#include <array>
#include <limits>
#include <sys/stat.h>

#include "utils/platform/Files.h"

namespace lathwind::posix {
namespace {

namespace error = platform::error;
namespace security = platform::security;
using platform::ErrorCode;

constexpr std::wstring_view kUserPrefix = L"S-1-22-1-";
constexpr std::wstring_view kGroupPrefix = L"S-1-22-2-";
constexpr std::wstring_view kEveryone = L"WD";
constexpr std::wstring_view kSpecialOwner = L"(A;;FX;;;CO)";
constexpr std::wstring_view kSpecialGroup = L"(A;;FX;;;CG)";
constexpr std::wstring_view kSticky = L"(D;;DC;;;WD)";
constexpr mode_t kAllBits = 07777;
constexpr std::uint32_t kAllParts = security::Owner | security::Group | security::Dacl;

// Decimal digits without a leading zero, in 32 bits. The largest number means "no id" to the
// system.
std::optional<std::uint32_t> parseId(std::wstring_view text) {
    if (text.empty() || text.size() > 10 || (text.size() > 1 && text[0] == L'0')) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (const wchar_t unit : text) {
        if (unit < L'0' || unit > L'9') {
            return std::nullopt;
        }
        value = value * 10 + static_cast<std::uint64_t>(unit - L'0');
    }
    if (value >= std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

std::optional<std::uint32_t> idBehind(std::wstring_view prefix, std::wstring_view sid) {
    if (!sid.starts_with(prefix)) {
        return std::nullopt;
    }
    return parseId(sid.substr(prefix.size()));
}

// `bits`: 4 read, 2 write, 1 execute.
void appendEntry(std::wstring& text, mode_t bits, std::wstring_view trustee) {
    if (bits == 0) {
        return;
    }
    text += L"(A;;";
    if (bits == 7) {
        text += L"FA";
    } else {
        text += (bits & 4) != 0 ? L"FR" : L"";
        text += (bits & 2) != 0 ? L"FW" : L"";
        text += (bits & 1) != 0 ? L"FX" : L"";
    }
    text += L";;;";
    text += trustee;
    text += L")";
}

std::optional<mode_t> parseRights(std::wstring_view text) {
    if (text == L"FA") {
        return 7;
    }
    mode_t bits = 0;
    for (; text.size() >= 2; text.remove_prefix(2)) {
        const std::wstring_view right = text.substr(0, 2);
        const mode_t bit = right == L"FR" ? 4 : right == L"FW" ? 2 : right == L"FX" ? 1 : 0;
        if (bit == 0 || (bits & bit) != 0) {
            return std::nullopt;
        }
        bits |= bit;
    }
    return text.empty() && bits != 0 ? std::optional(bits) : std::nullopt;
}

// Cuts the text up to the next of the letters O, G, D followed by a colon, or its end.
std::wstring_view takePart(std::wstring_view& text) {
    std::size_t end = text.find(L':');
    if (end != std::wstring_view::npos) {
        --end;  // the letter before the colon belongs to the next part
    }
    const std::wstring_view part = text.substr(0, end);
    text.remove_prefix(part.size());
    return part;
}

bool takeTag(std::wstring_view& text, std::wstring_view tag) {
    if (!text.starts_with(tag)) {
        return false;
    }
    text.remove_prefix(tag.size());
    return true;
}

// One entry of an access list, "(type;;rights;;;trustee)", into mode bits.
ErrorCode applyEntry(std::wstring_view entry, const Ownership& owners, mode_t& mode) {
    if (entry == kSpecialOwner) {
        mode |= S_ISUID;
        return error::Success;
    }
    if (entry == kSpecialGroup) {
        mode |= S_ISGID;
        return error::Success;
    }
    if (entry == kSticky) {
        mode |= S_ISVTX;
        return error::Success;
    }
    std::array<std::wstring_view, 6> fields;
    std::wstring_view rest = entry.substr(1, entry.size() - 2);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const std::size_t end = i + 1 < fields.size() ? rest.find(L';') : rest.size();
        if (end == std::wstring_view::npos) {
            return error::InvalidParameter;
        }
        fields[i] = rest.substr(0, end);
        rest.remove_prefix(std::min(rest.size(), end + 1));
    }
    const std::optional<mode_t> bits = parseRights(fields[2]);
    if (fields[0] != L"A" || !fields[1].empty() || !bits || !fields[3].empty() ||
        !fields[4].empty()) {
        return error::NotSupported;
    }
    if (fields[5] == sidOfUser(owners.user)) {
        mode |= *bits << 6;
    } else if (fields[5] == sidOfGroup(owners.group)) {
        mode |= *bits << 3;
    } else if (fields[5] == kEveryone) {
        mode |= *bits;
    } else {
        return error::NotSupported;
    }
    return error::Success;
}

ErrorCode applyAccessList(std::wstring_view list, const Ownership& owners, mode_t& mode) {
    mode = 0;
    while (!list.empty()) {
        const std::size_t end = list.find(L')');
        if (list[0] != L'(' || end == std::wstring_view::npos) {
            return error::InvalidParameter;
        }
        const ErrorCode code = applyEntry(list.substr(0, end + 1), owners, mode);
        if (code != error::Success) {
            return code;
        }
        list.remove_prefix(end + 1);
    }
    return error::Success;
}

}  // namespace

std::wstring sidOfUser(uid_t user) {
    return std::wstring(kUserPrefix) + std::to_wstring(user);
}

std::wstring sidOfGroup(gid_t group) {
    return std::wstring(kGroupPrefix) + std::to_wstring(group);
}

std::optional<uid_t> userOfSid(std::wstring_view sid) {
    return idBehind(kUserPrefix, sid);
}

std::optional<gid_t> groupOfSid(std::wstring_view sid) {
    return idBehind(kGroupPrefix, sid);
}

std::wstring toSddl(const Ownership& ownership, std::uint32_t information) {
    std::wstring text;
    if ((information & security::Owner) != 0) {
        text += L"O:" + sidOfUser(ownership.user);
    }
    if ((information & security::Group) != 0) {
        text += L"G:" + sidOfGroup(ownership.group);
    }
    if ((information & security::Dacl) != 0) {
        const mode_t mode = ownership.mode;
        text += L"D:";
        appendEntry(text, mode >> 6 & 7, sidOfUser(ownership.user));
        appendEntry(text, mode >> 3 & 7, sidOfGroup(ownership.group));
        appendEntry(text, mode & 7, kEveryone);
        text += (mode & S_ISUID) != 0 ? kSpecialOwner : L"";
        text += (mode & S_ISGID) != 0 ? kSpecialGroup : L"";
        text += (mode & S_ISVTX) != 0 ? kSticky : L"";
    }
    return text;
}

const OwnershipTexts& textsOf(const Ownership& ownership) {
    struct Kept {
        Ownership ownership;
        OwnershipTexts texts;
    };
    thread_local Kept kept;
    if (kept.texts.sddl.empty() || kept.ownership != ownership) {
        kept.texts = {sidOfUser(ownership.user), sidOfGroup(ownership.group),
                      toSddl(ownership, kAllParts)};
        kept.ownership = ownership;
    }
    return kept.texts;
}

ErrorCode applySddl(std::wstring_view sddl, std::uint32_t information, Ownership& ownership) {
    Ownership result = ownership;
    Ownership named = ownership;  // to whom the entries of the list belong
    if (takeTag(sddl, L"O:")) {
        const std::optional<uid_t> user = userOfSid(takePart(sddl));
        if (!user) {
            return error::InvalidParameter;
        }
        named.user = *user;
        if ((information & security::Owner) != 0) {
            result.user = *user;
        }
    }
    if (takeTag(sddl, L"G:")) {
        const std::optional<gid_t> group = groupOfSid(takePart(sddl));
        if (!group) {
            return error::InvalidParameter;
        }
        named.group = *group;
        if ((information & security::Group) != 0) {
            result.group = *group;
        }
    }
    if (takeTag(sddl, L"D:")) {
        mode_t mode = 0;
        const ErrorCode code = applyAccessList(takePart(sddl), named, mode);
        if (code != error::Success) {
            return code;
        }
        if ((information & security::Dacl) != 0) {
            result.mode = mode & kAllBits;
        }
    }
    if (!sddl.empty()) {
        return error::InvalidParameter;
    }
    ownership = result;
    return error::Success;
}

}  // namespace lathwind::posix
