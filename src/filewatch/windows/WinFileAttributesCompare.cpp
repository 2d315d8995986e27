// What an event says about two snapshots of one file. Whether anything differs and what is said
// about it come out of the same rows, so that the two cannot drift apart.
#include <cassert>
#include <utility>

#include "filewatch/AclDisplay.h"
#include "filewatch/ChangeText.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "utils/SecurityUtilities.h"
#include "utils/platform/Files.h"

namespace lathwind {

namespace {

namespace attribute = platform::attribute;

const WinFileAttributes& sameKind(const FileAttributes& other) {
    assert(dynamic_cast<const WinFileAttributes*>(&other) != nullptr);
    return static_cast<const WinFileAttributes&>(other);
}

struct FlagRow {
    std::wstring_view label;
    std::uint32_t bit;
    bool isVolatile;  // set and cleared by programs that merely use the file
};

// "Indexed" is on for a file that is kept out of the index: the label is the name under which the
// bit has always been reported.
constexpr FlagRow kFlagRows[] = {
    {L"Archive", attribute::Archive, true},      {L"Compressed", attribute::Compressed, false},
    {L"Directory", attribute::Directory, false}, {L"Encrypted", attribute::Encrypted, false},
    {L"Hidden", attribute::Hidden, false},       {L"Offline", attribute::Offline, false},
    {L"Readonly", attribute::ReadOnly, false},   {L"Reparse Point", attribute::ReparsePoint, false},
    {L"Sparse File", attribute::Sparse, false},  {L"System", attribute::System, false},
    {L"Temporary", attribute::Temporary, true},  {L"Indexed", attribute::NotIndexed, true},
};

// Goes through the rows in the order of the lines. Each step answers whether to go on: a probe ends
// at the first difference, before any text is made.
class Comparison {
public:
    Comparison(const WinFileAttributes& current, const WinFileAttributes& previous, bool isProbe)
        : current_(current), previous_(previous), isProbe_(isProbe) {}

    void run(bool monitorAccess, bool compareVolatile) {
        static_cast<void>(facts() && flags(compareVolatile) && accounts() && dates(monitorAccess) &&
                          accessList() && extended());
    }

    bool foundAny() const { return foundAny_; }
    bool securityChanged() const { return securityChanged_; }
    std::wstring takeText() { return std::move(text_); }

private:
    bool facts() {
        return row(previous_.GetPath() != current_.GetPath(),
                   [this] {
                       return valueChangeText(L"File Name", previous_.GetPath(),
                                              current_.GetPath());
                   }) &&
               number(L"File Size", previous_.GetSize(), current_.GetSize()) &&
               number(L"# Hard Links", previous_.GetExtraLinkCount(), current_.GetExtraLinkCount());
    }

    bool flags(bool compareVolatile) {
        const std::uint32_t bits = current_.GetRawAttributes();
        const std::uint32_t changed = bits ^ previous_.GetRawAttributes();
        if (changed == 0) {
            return true;
        }
        for (const FlagRow& flag : kFlagRows) {
            const bool differs = (changed & flag.bit) != 0 && (compareVolatile || !flag.isVolatile);
            if (!row(differs, [&] { return flagChangeText(flag.label, (bits & flag.bit) != 0); })) {
                return false;
            }
        }
        return true;
    }

    bool accounts() {
        return account(L"Owner", previous_.GetOwner(), current_.GetOwner(),
                       GetAccountDisplayName) &&
               account(L"PrimaryGroup", previous_.GetPrimaryGroup(), current_.GetPrimaryGroup(),
                       GetGroupDisplayName);
    }

    // Times of a folder follow what happens in it, which has events of its own.
    bool dates(bool monitorAccess) {
        using Win = WinFileAttributes;
        return current_.IsDirectory() ||
               (date<&Win::GetCreationFileTime, &Win::GetCreationTimeText>(L"Creation Date") &&
                (!monitorAccess ||
                 date<&Win::GetAccessFileTime, &Win::GetAccessTimeText>(L"Access Date")) &&
                date<&Win::GetModifiedFileTime, &Win::GetModifiedTimeText>(L"Modified Date"));
    }

    // The access list has no line of its own here: the extended lines end with it.
    bool accessList() {
        securityChanged_ = previous_.GetAcl() != current_.GetAcl();
        return row(securityChanged_, [] { return std::wstring(); });
    }

    bool extended() {
        std::wstring lines = current_.CompareExtendedToText(previous_);
        securityChanged_ |= !lines.empty();
        return row(!lines.empty(), [&lines] { return std::move(lines); });
    }

    bool number(std::wstring_view label, std::uint64_t previous, std::uint64_t current) {
        return row(previous != current, [&] { return numberChangeText(label, previous, current); });
    }

    // By the stored SID: that an account was renamed is no change of the file.
    bool account(std::wstring_view label, const std::wstring& previous, const std::wstring& current,
                 std::wstring (*displayName)(const std::wstring&)) {
        return row(previous != current, [&] {
            return valueChangeText(label, displayName(previous), displayName(current));
        });
    }

    // A difference is what TimeText gives a text for; equal times are known without asking for it.
    template <auto FileTimeOf, auto TimeText>
    bool date(std::wstring_view label) {
        if ((current_.*FileTimeOf)() == (previous_.*FileTimeOf)()) {
            return true;
        }
        const std::wstring text = (current_.*TimeText)(&previous_);
        return row(!text.empty(),
                   [&] { return valueChangeText(label, (previous_.*TimeText)(nullptr), text); });
    }

    template <class MakeText>
    bool row(bool differs, const MakeText& makeText) {
        if (!differs) {
            return true;
        }
        foundAny_ = true;
        if (!isProbe_) {
            text_ += makeText();
        }
        return !isProbe_;
    }

    const WinFileAttributes& current_;
    const WinFileAttributes& previous_;
    const bool isProbe_;
    bool foundAny_ = false;
    bool securityChanged_ = false;
    std::wstring text_;
};

// A changed value gives one line, a removed attribute one with an empty current value, a new one
// one with an empty previous value. An attribute whose value was empty and is so no more is met by
// both walks and told twice.
void appendAttributeLines(std::wstring& text, const WinFileAttributes& previous,
                          const WinFileAttributes& current) {
    const auto line = [&text](const std::wstring& name, const std::wstring& from,
                              const std::wstring& to) {
        text += valueChangeText(L"NTFS Extended Attribute " + name, from, to);
    };
    for (const auto& [name, value] : previous.GetExtendedAttributes()) {
        const std::wstring now = current.GetExtendedAttribute(name);
        if (now != value) {
            line(name, value, now);
        }
    }
    for (const auto& [name, value] : current.GetExtendedAttributes()) {
        if (!value.empty() && previous.GetExtendedAttribute(name).empty()) {
            line(name, {}, value);
        }
    }
}

// A stream that is not there counts as one of 0 bytes, but its coming or going is a line all the
// same.
void appendStreamLines(std::wstring& text, const WinFileAttributes& previous,
                       const WinFileAttributes& current) {
    const auto line = [&text](const std::wstring& name, std::uint32_t from, std::uint32_t to) {
        const std::wstring label = L"NTFS Alternate Data Stream " + name;
        text += numberChangeText(label + L" size", from, to);
    };
    for (const auto& [name, size] : previous.GetAlternateStreams()) {
        const std::uint32_t now = current.GetAlternateStreamSize(name);
        if (now == WinFileAttributes::kNoStream) {
            line(name, size, 0);
        } else if (now != size) {
            line(name, size, now);
        }
    }
    for (const auto& [name, size] : current.GetAlternateStreams()) {
        if (previous.GetAlternateStreamSize(name) == WinFileAttributes::kNoStream) {
            line(name, 0, size);
        }
    }
}

}  // namespace

std::wstring WinFileAttributes::CompareToText(const FileAttributes& other, bool monitorAccess,
                                              bool* anyDifference, bool* securityChanged,
                                              bool compareVolatile) const {
    Comparison rows(*this, sameKind(other), anyDifference != nullptr);
    rows.run(monitorAccess, compareVolatile);
    if (anyDifference != nullptr) {
        *anyDifference = rows.foundAny();
    }
    if (securityChanged != nullptr) {
        *securityChanged = rows.securityChanged();
    }
    return rows.takeText();
}

std::wstring WinFileAttributes::CompareExtendedToText(const FileAttributes& other) const {
    const WinFileAttributes& previous = sameKind(other);
    std::wstring text;
    if (!(previous.extendedAttributes_ == extendedAttributes_)) {
        appendAttributeLines(text, previous, *this);
    }
    if (!(previous.alternateStreams_ == alternateStreams_)) {
        appendStreamLines(text, previous, *this);
    }
    if (!(previous.acl_ == acl_)) {
        text += valueChangeText(L"Access Control List", previous.GetAclDisplayText(),
                                GetAclDisplayText());
    }
    return text;
}

std::wstring WinFileAttributes::GetAclDisplayText() const {
    return AclDisplayText(acl_.get());
}

}  // namespace lathwind
