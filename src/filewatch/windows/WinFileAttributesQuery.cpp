// What the snapshot asks the platform, and what it writes down when the platform refuses.
#include <array>
#include <memory>
#include <utility>

#include "filewatch/windows/BackupStreamDecoder.h"
#include "filewatch/windows/StreamListDecoder.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/LittleEndian.h"
#include "utils/Logging.h"
#include "utils/SecurityUtilities.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

namespace {

namespace error = platform::error;
namespace security = platform::security;
using platform::ErrorCode;

constexpr std::uint32_t kOwnerAndGroup = security::Owner | security::Group;
constexpr std::uint32_t kWholeDescriptor =
    kOwnerAndGroup | security::Dacl | security::ProtectedDacl | security::UnprotectedDacl;
constexpr std::uint32_t kTextParts = kOwnerAndGroup | security::Dacl | security::Label;
static_assert(kWholeDescriptor == 0xa0000007 && kTextParts == 23);

// The path to ask the platform about: the snapshot's own, without a copy, unless this process is
// shown other folders.
class RealPath {
public:
    explicit RealPath(const std::wstring& path)
        : path_(path), mapped_(systemFolders().isWow64 ? MapToRealPath(path) : std::wstring()) {}
    const std::wstring& get() const { return systemFolders().isWow64 ? mapped_ : path_; }

private:
    const std::wstring& path_;
    const std::wstring mapped_;
};

std::wstring errorText(ErrorCode code) {
    return platform::host().errorText(code);
}

// Makes a SID, as a descriptor gave it, the account's name where that is wanted and known.
void takeAccount(ErrorCode code, bool resolveName, std::wstring& sid) {
    std::wstring name;
    if (code != error::Success) {
        sid.clear();
    } else if (resolveName && GetAccountNameOfSid(sid, name) && !name.empty()) {
        sid = name;
    }
}

// False unless both are there.
bool takeOwners(const platform::SecurityDescriptor& descriptor, bool resolveNames,
                std::wstring& owner, std::wstring& group) {
    takeAccount(descriptor.owner(owner), resolveNames, owner);
    takeAccount(descriptor.group(group), resolveNames, group);
    return !owner.empty() && !group.empty();
}

// Most snapshots find the security of the one before them: to see that is cheaper than to look the
// text up.
InternedText sameOr(const InternedText& before, const std::wstring& text) {
    return before.get() == text ? before : InternedText(text);
}

bool isMissing(ErrorCode code) {
    return code == error::FileNotFound || code == error::PathNotFound;
}

// 8-bit text of an attribute. It ends at a zero byte, as it would behind a record: otherwise the
// snapshot that comes back from the state file would differ from the one that went in.
std::wstring widenText(std::string_view bytes) {
    return widen(bytes.substr(0, bytes.find('\0')));
}

VolumeKind classify(const std::wstring& path) {
    using platform::DriveType;
    if (path.starts_with(L"\\\\")) {
        return VolumeKind::Network;
    }
    if (path.size() < 3 || path[1] != L':' || path[2] != L'\\') {
        return VolumeKind::Unknown;
    }
    switch (platform::volumes().driveType(path.substr(0, 3))) {
        case DriveType::Removable:
        case DriveType::CdRom:
            return VolumeKind::Removable;
        case DriveType::Fixed:
        case DriveType::RamDisk:
            return VolumeKind::Local;
        case DriveType::Remote:
            return VolumeKind::Network;
        case DriveType::Unknown:
        case DriveType::NoRoot:
            break;
    }
    return VolumeKind::Unknown;
}

}  // namespace

bool GetFileOwnerAndPrimaryGroup(const std::wstring& path, std::wstring& owner, std::wstring& group,
                                 bool resolveNames, ErrorCode* code) {
    owner.clear();
    group.clear();
    ErrorCode result = error::Success;
    const auto descriptor = platform::files().readSecurity(path, kOwnerAndGroup, result);
    if (code != nullptr) {
        *code = descriptor ? error::Success : result;
    }
    if (!descriptor) {
        debugLog(ModuleId::Utils, L"GetNamedSecurityInfo for %s Failed. Err : %s", path,
                 errorText(result));
        return false;
    }
    return takeOwners(*descriptor, resolveNames, owner, group);
}

std::uint32_t GetReparseTag(const std::wstring& path) {
    std::uint32_t tag = 0;
    platform::files().enumerate(MapToRealPath(path), [&](const platform::DirectoryEntry& entry) {
        if ((entry.attributes & platform::attribute::ReparsePoint) != 0) {
            tag = entry.reparseTag;
        }
        return false;
    });
    return tag;
}

// The security is read once for owner, group and access list. Every notification of a file comes
// through here.
bool WinFileAttributes::Initialize() {
    const SecurityTexts before = TakeSecurityTexts();
    Reset();
    if (path_.empty()) {
        return true;
    }
    const RealPath realPath(path_);
    platform::Survey survey;
    const ErrorCode code = platform::files().survey(realPath.get(), kWholeDescriptor, survey);
    exists_ = code == error::Success;
    if (exists_) {
        TakeFacts(survey.facts);
        ReadOwners(realPath.get(), survey, before);
        ReadExtendedAttributes(survey);
        ReadAlternateStreams(realPath.get());
        ReadAcl(survey.security.get(), before.acl);
    } else if (!isMissing(code)) {
        debugLog(ModuleId::Utils,
                 L"WinFileAttributes::Initialize - GetFileAttributesEx failed on %s, "
                 L"Win32 ERR_CODE: %d",
                 path_, code);
    }
    return true;
}

void WinFileAttributes::TakeFacts(const platform::FileFacts& facts) {
    accessTime_ = facts.accessTime;
    creationTime_ = facts.creationTime;
    modifiedTime_ = facts.modifiedTime;
    attributes_ = facts.attributes;
    size_ = IsDirectory() ? 0 : facts.size;
    changeStamp_ = facts.changeStamp;
}

// The stamp alone would do where nothing but the object can have changed; the facts are compared
// because the snapshot may have been replaced since the stamp was taken.
bool WinFileAttributes::IsCertainlyUnchanged(std::uint64_t stamp, bool compareAccessTime) const {
    platform::FileFacts facts;
    return stamp != 0 && exists_ &&
           platform::files().query(RealPath(path_).get(), facts) == error::Success &&
           facts.changeStamp == stamp && facts.modifiedTime == modifiedTime_ &&
           (IsDirectory() || facts.size == size_) && facts.attributes == attributes_ &&
           facts.creationTime == creationTime_ &&
           (!compareAccessTime || facts.accessTime == accessTime_);
}

// Who may not see the whole descriptor may still be told owner and group.
void WinFileAttributes::ReadOwners(const std::wstring& realPath, const platform::Survey& survey,
                                   const SecurityTexts& before) {
    std::wstring owner;
    std::wstring group;
    const bool fetched = survey.security
                             ? takeOwners(*survey.security, false, owner, group)
                             : GetFileOwnerAndPrimaryGroup(realPath, owner, group, false);
    owner_ = sameOr(before.owner, owner);
    primaryGroup_ = sameOr(before.group, group);
    if (!fetched) {
        debugLog(ModuleId::Utils,
                 L"WinFileAttributes::Initialize - GetFileOwnerAndPrimaryGroup() failed");
    }
}

bool WinFileAttributes::Update() {
    const std::wstring realPath = MapToRealPath(path_);
    if (owner_.get() == kNoPreviousData && primaryGroup_.get() == kNoPreviousData) {
        ErrorCode code = error::Success;
        std::wstring owner;
        std::wstring group;
        const bool fetched = GetFileOwnerAndPrimaryGroup(realPath, owner, group, false, &code);
        owner_ = owner;
        primaryGroup_ = group;
        // The reverse of Initialize, on purpose: a record of a file that has gone since is the
        // rare case here and worth a line, a file that keeps its security to itself is not.
        if (!fetched && isMissing(code)) {
            debugLog(ModuleId::Utils,
                     L"WinFileAttributes::Update - GetFileOwnerAndPrimaryGroup failed on %s, "
                     L"Win32 ERR_CODE: %d",
                     path_, code);
        }
    }
    ErrorCode code = error::Success;
    ReadAcl(platform::files().readSecurity(realPath, kWholeDescriptor, code).get(), acl_);
    return true;
}

// The object stays open no longer than its attributes take: nobody could remove it meanwhile.
void WinFileAttributes::ReadExtendedAttributes(platform::Survey& survey) {
    const auto backup = std::move(survey.backup);
    if (survey.backupCode != error::Success) {
        debugLog(ModuleId::Utils, L"CreateFile(%ls, FILE_READ_EA, ...) failed: %ls", path_,
                 errorText(survey.backupCode));
    }
    for (const auto& [name, value] : survey.attributes) {
        extendedAttributes_.edit().insert_or_assign(widenText(name), widenText(value));
    }
    if (!backup) {
        return;
    }
    const EaStream stream = readEaStream(*backup);
    if (stream.failure == BackupFailure::StreamName) {
        debugLog(ModuleId::Utils, L"BackupRead(%ls) while reading stream name  failed: %ls", path_,
                 errorText(stream.code));
    } else if (stream.failure == BackupFailure::EaData) {
        debugLog(ModuleId::Utils, L"BackupRead(%ls) while reading EA data failed: %ls", path_,
                 errorText(stream.code));
    }
    for (const auto& [name, value] : decodeEaList(stream.data)) {
        extendedAttributes_.edit().insert_or_assign(widenText(name), widenText(value));
    }
    const ErrorCode code = backup->finish();
    if (code != error::Success) {
        debugLog(ModuleId::Utils, L"BackupRead(%ls) while freeing context failed: %ls", path_,
                 errorText(code));
    }
}

// A file with more streams than the buffer holds counts as having none.
void WinFileAttributes::ReadAlternateStreams(const std::wstring& realPath) {
    using platform::Files;
    if (!platform::files().hasStreams()) {
        return;
    }
    constexpr std::size_t kBufferSize = 65536;
    const auto buffer = std::make_unique_for_overwrite<std::byte[]>(kBufferSize);
    const std::span<std::byte> bytes(buffer.get(), kBufferSize);
    // The first entry's name length: a list that the system leaves unwritten reads as empty.
    storeLittleEndian(&bytes[4], std::uint32_t{0});
    ErrorCode code = error::Success;
    const auto answer = platform::files().queryStreams(realPath, bytes, code);
    if (answer == Files::StreamQuery::NoEntryPoint) {
        debugLog(ModuleId::Utils, L"Failed to GetProcAddress for NtQueryInformationFile: %ls",
                 errorText(code));
    }
    if (answer != Files::StreamQuery::Listed) {
        return;
    }
    for (FileStream& stream : decodeStreamList(bytes)) {
        alternateStreams_.edit().insert_or_assign(std::move(stream.name),
                                                  static_cast<std::uint32_t>(stream.size));
    }
}

void WinFileAttributes::ReadAcl(const platform::SecurityDescriptor* descriptor,
                                const InternedText& before) {
    if (descriptor == nullptr) {
        return;
    }
    std::wstring text;
    const ErrorCode code = descriptor->toSddl(kTextParts, text);
    if (code != error::Success) {
        debugLog(ModuleId::Utils,
                 L"ConvertSecurityDescriptorToStringSecurityDescriptor for %s Failed. Err : %s",
                 path_, errorText(code));
        return;
    }
    acl_ = sameOr(before, text);
}

bool WinFileAttributes::RefreshAccessTime() {
    platform::FileFacts facts;
    if (platform::files().query(RealPath(path_).get(), facts) != error::Success) {
        return false;
    }
    accessTime_ = facts.accessTime;
    return true;
}

VolumeKind WinFileAttributes::GetVolumeKind() const {
    if (volumeKind_.get() == VolumeKind::Unknown) {
        volumeKind_.set(classify(MapToRealPath(path_)));
    }
    return volumeKind_.get();
}

bool WinFileAttributes::SetReadOnly(std::uint32_t value) {
    const std::wstring realPath = MapToRealPath(path_);
    platform::FileFacts facts;
    if (platform::files().query(realPath, facts) != error::Success) {
        return false;
    }
    if ((facts.attributes & platform::attribute::ReadOnly) == value) {
        return true;
    }
    // The value masks the bits, and so becomes all of them: a hidden file that is made read-only
    // is hidden no more. Callers have always got this, and compare later snapshots with it.
    return platform::files().setAttributes(realPath, value) == error::Success;
}

}  // namespace lathwind
