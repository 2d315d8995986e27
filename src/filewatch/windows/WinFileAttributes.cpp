#include "filewatch/windows/WinFileAttributes.h"

#include "utils/DateTime.h"
#include "utils/FileIO.h"
#include "utils/Text.h"
#include "utils/platform/Files.h"

namespace lathwind {

namespace {

constexpr FileTime kStartOf1970 = 116444736000000000u;
constexpr std::int64_t kTicksPerSecond = 10000000;

struct SplitTime {
    std::int64_t seconds;
    std::int32_t fraction;
};

// The fraction is taken by a modulus of a million although a second has ten million ticks: texts
// have always shown it so, and comparisons with stored texts go on to agree.
SplitTime splitTime(FileTime time) {
    constexpr std::int64_t kFractionTicks = 1000000;
    const auto ticks = static_cast<std::int64_t>(time - kStartOf1970);
    const std::int64_t rest = ((ticks % kTicksPerSecond) + kTicksPerSecond) % kTicksPerSecond;
    return {(ticks - rest) / kTicksPerSecond,
            static_cast<std::int32_t>(rest % kFractionTicks / 1000)};
}

std::uint32_t secondsOf(FileTime time) {
    return time == 0 ? 0 : static_cast<std::uint32_t>(splitTime(time).seconds);
}

// No text for a time that is not known.
std::wstring textOf(FileTime time) {
    if (time == 0) {
        return {};
    }
    const SplitTime split = splitTime(time);
    return DateTime(split.seconds, split.fraction)
        .Format(split.fraction != 0 ? kDateTimeMillisPattern : kDateTimePattern);
}

std::wstring textUnlessEqual(const WinFileAttributes& own, const FileAttributes* other,
                             FileTime (WinFileAttributes::*time)() const) {
    const auto* previous = dynamic_cast<const WinFileAttributes*>(other);
    if (previous != nullptr && (previous->*time)() == (own.*time)()) {
        return {};
    }
    return textOf((own.*time)());
}

}  // namespace

std::unique_ptr<FileAttributes> CreateFileAttributes(const std::wstring& path) {
    auto snapshot = std::make_unique<WinFileAttributes>(toLower(FileIO::NormalizePath(path)));
    snapshot->Initialize();
    return snapshot;
}

std::unique_ptr<FileAttributes> WinFileAttributes::Clone() const {
    return std::make_unique<WinFileAttributes>(*this);
}

std::unique_ptr<FileAttributes> WinFileAttributes::TakeNew() const {
    auto snapshot = std::make_unique<WinFileAttributes>(path_);
    snapshot->volumeKind_ = volumeKind_;
    snapshot->owner_ = owner_;
    snapshot->primaryGroup_ = primaryGroup_;
    snapshot->acl_ = acl_;
    snapshot->Initialize();
    return snapshot;
}

void WinFileAttributes::TakeModifiedTime(const FileAttributes& other) {
    if (const auto* source = dynamic_cast<const WinFileAttributes*>(&other)) {
        modifiedTime_ = source->modifiedTime_;
    }
}

void WinFileAttributes::Reset() {
    FileAttributes::Reset();
    creationTime_ = 0;
    accessTime_ = 0;
    modifiedTime_ = 0;
    attributes_ = 0;
    hardLinks_ = 0;
    owner_ = {};
    primaryGroup_ = {};
    extendedAttributes_.clear();
    alternateStreams_.clear();
    acl_ = {};
}

bool WinFileAttributes::IsDirectory() const {
    return (attributes_ & platform::attribute::Directory) != 0;
}

bool WinFileAttributes::IsRegularFile() const {
    return !IsDirectory();
}

std::uint32_t WinFileAttributes::IsReadOnly() const {
    return attributes_ & platform::attribute::ReadOnly;
}

std::uint32_t WinFileAttributes::GetExtraLinkCount() const {
    return IsDirectory() || hardLinks_ == 0 ? 0 : hardLinks_ - 1;
}

std::uint32_t WinFileAttributes::GetRawAttributes() const {
    return attributes_;
}

std::uint32_t WinFileAttributes::GetCreationTime() const {
    return secondsOf(creationTime_);
}
std::uint32_t WinFileAttributes::GetAccessTime() const {
    return secondsOf(accessTime_);
}
std::uint32_t WinFileAttributes::GetModifiedTime() const {
    return secondsOf(modifiedTime_);
}
std::uint32_t WinFileAttributes::GetChangeTime() const {
    return GetModifiedTime();
}

std::wstring WinFileAttributes::GetCreationTimeText(const FileAttributes* other) const {
    return textUnlessEqual(*this, other, &WinFileAttributes::GetCreationFileTime);
}

std::wstring WinFileAttributes::GetAccessTimeText(const FileAttributes* other) const {
    return textUnlessEqual(*this, other, &WinFileAttributes::GetAccessFileTime);
}

std::wstring WinFileAttributes::GetModifiedTimeText(const FileAttributes* other) const {
    return textUnlessEqual(*this, other, &WinFileAttributes::GetModifiedFileTime);
}

std::wstring WinFileAttributes::GetChangeTimeText(const FileAttributes* other) const {
    return GetModifiedTimeText(other);
}

bool WinFileAttributes::Equals(const FileAttributes& other) const {
    return Equals(other, true);
}

bool WinFileAttributes::Equals(const FileAttributes& other, bool compareAccessTime) const {
    const auto* same = dynamic_cast<const WinFileAttributes*>(&other);
    return same != nullptr && HasStateOf(*same, compareAccessTime);
}

// The number of links and the volume kind are no part of a file's state. Cheap comparisons first,
// and among them those that differ most often.
bool WinFileAttributes::HasStateOf(const WinFileAttributes& other, bool compareAccessTime) const {
    return (!compareAccessTime || accessTime_ == other.accessTime_) &&
           modifiedTime_ == other.modifiedTime_ && size_ == other.size_ &&
           attributes_ == other.attributes_ && creationTime_ == other.creationTime_ &&
           exists_ == other.exists_ && path_ == other.path_ && owner_ == other.owner_ &&
           primaryGroup_ == other.primaryGroup_ &&
           extendedAttributes_ == other.extendedAttributes_ &&
           alternateStreams_ == other.alternateStreams_ && acl_ == other.acl_;
}

std::wstring WinFileAttributes::GetExtendedAttribute(const std::wstring& name) const {
    const AttributeMap& attributes = GetExtendedAttributes();
    const auto found = attributes.find(name);
    return found == attributes.end() ? std::wstring() : found->second;
}

std::uint32_t WinFileAttributes::GetAlternateStreamSize(const std::wstring& name) const {
    const StreamMap& streams = GetAlternateStreams();
    const auto found = streams.find(name);
    return found == streams.end() ? kNoStream : found->second;
}

void WinFileAttributes::SplitAcl(std::list<std::wstring>& list) const {
    std::wstring_view rest = acl_.get();
    const auto cutBefore = [&](std::size_t position) {
        if (position != std::wstring_view::npos) {
            list.emplace_back(rest.substr(0, position));
            rest.remove_prefix(position);
        }
        return position != std::wstring_view::npos;
    };
    cutBefore(rest.find(L"G:"));
    cutBefore(rest.find(L"D:"));
    // From position 2 on: a head is longer, and an entry must not find its own parenthesis.
    while (cutBefore(rest.find(L'(', 2))) {
    }
    if (!rest.empty()) {
        list.emplace_back(rest);
    }
}

}  // namespace lathwind
