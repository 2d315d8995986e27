// What the snapshot asks the platform, and what it writes down when the platform refuses.
#include <array>
#include <memory>

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

std::wstring errorText(ErrorCode code) {
    return platform::host().errorText(code);
}

bool isMissing(ErrorCode code) {
    return code == error::FileNotFound || code == error::PathNotFound;
}

// 8-bit text of an attribute. It ends at a zero byte, as it would behind a record: otherwise the
// snapshot that comes back from the state file would differ from the one that went in.
std::wstring widenText(std::string_view bytes) {
    return widen(bytes.substr(0, bytes.find('\0')));
}

// One SID of a descriptor as text, or the account's name where that is wanted and known.
std::wstring accountText(ErrorCode code, const std::wstring& sid, bool resolveName) {
    std::wstring name;
    if (code != error::Success) {
        return name;
    }
    if (resolveName && GetAccountNameOfSid(sid, name) && !name.empty()) {
        return name;
    }
    return sid;
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
    std::wstring sid;
    const ErrorCode ownerCode = descriptor->owner(sid);
    owner = accountText(ownerCode, sid, resolveNames);
    const ErrorCode groupCode = descriptor->group(sid);
    group = accountText(groupCode, sid, resolveNames);
    return !owner.empty() && !group.empty();
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

bool WinFileAttributes::Initialize() {
    Reset();
    if (path_.empty()) {
        return true;
    }
    const std::wstring realPath = MapToRealPath(path_);
    exists_ = QueryFacts(realPath);
    if (exists_) {
        if (!GetFileOwnerAndPrimaryGroup(realPath, owner_, primaryGroup_, false)) {
            debugLog(ModuleId::Utils,
                     L"WinFileAttributes::Initialize - GetFileOwnerAndPrimaryGroup() failed");
        }
        ReadExtendedAttributes(realPath);
        ReadAlternateStreams(realPath);
        ReadAcl(realPath);
    }
    return true;
}

bool WinFileAttributes::QueryFacts(const std::wstring& realPath) {
    platform::FileFacts facts;
    const ErrorCode code = platform::files().query(realPath, facts);
    if (code != error::Success) {
        if (!isMissing(code)) {
            debugLog(ModuleId::Utils,
                     L"WinFileAttributes::Initialize - GetFileAttributesEx failed on %s, "
                     L"Win32 ERR_CODE: %d",
                     path_, code);
        }
        return false;
    }
    accessTime_ = facts.accessTime;
    creationTime_ = facts.creationTime;
    modifiedTime_ = facts.modifiedTime;
    attributes_ = facts.attributes;
    size_ = IsDirectory() ? 0 : facts.size;
    return true;
}

bool WinFileAttributes::Update() {
    const std::wstring realPath = MapToRealPath(path_);
    if (owner_ == kNoPreviousData && primaryGroup_ == kNoPreviousData) {
        ErrorCode code = error::Success;
        const bool fetched =
            GetFileOwnerAndPrimaryGroup(realPath, owner_, primaryGroup_, false, &code);
        // The reverse of Initialize, on purpose: a record of a file that has gone since is the
        // rare case here and worth a line, a file that keeps its security to itself is not.
        if (!fetched && isMissing(code)) {
            debugLog(ModuleId::Utils,
                     L"WinFileAttributes::Update - GetFileOwnerAndPrimaryGroup failed on %s, "
                     L"Win32 ERR_CODE: %d",
                     path_, code);
        }
    }
    ReadAcl(realPath);
    return true;
}

void WinFileAttributes::ReadExtendedAttributes(const std::wstring& realPath) {
    ErrorCode code = error::Success;
    const auto reader = platform::files().openBackup(realPath, code);
    if (!reader) {
        debugLog(ModuleId::Utils, L"CreateFile(%ls, FILE_READ_EA, ...) failed: %ls", path_,
                 errorText(code));
        return;
    }
    const EaStream stream = readEaStream(*reader);
    if (stream.failure == BackupFailure::StreamName) {
        debugLog(ModuleId::Utils, L"BackupRead(%ls) while reading stream name  failed: %ls", path_,
                 errorText(stream.code));
    } else if (stream.failure == BackupFailure::EaData) {
        debugLog(ModuleId::Utils, L"BackupRead(%ls) while reading EA data failed: %ls", path_,
                 errorText(stream.code));
    }
    for (const auto& [name, value] : decodeEaList(stream.data)) {
        extendedAttributes_.insert_or_assign(widenText(name), widenText(value));
    }
    code = reader->finish();
    if (code != error::Success) {
        debugLog(ModuleId::Utils, L"BackupRead(%ls) while freeing context failed: %ls", path_,
                 errorText(code));
    }
}

// A file with more streams than the buffer holds counts as having none.
void WinFileAttributes::ReadAlternateStreams(const std::wstring& realPath) {
    using platform::Files;
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
        alternateStreams_.insert_or_assign(std::move(stream.name),
                                           static_cast<std::uint32_t>(stream.size));
    }
}

void WinFileAttributes::ReadAcl(const std::wstring& realPath) {
    ErrorCode code = error::Success;
    const auto descriptor = platform::files().readSecurity(realPath, kWholeDescriptor, code);
    if (!descriptor) {
        return;
    }
    std::wstring text;
    code = descriptor->toSddl(kTextParts, text);
    if (code != error::Success) {
        debugLog(ModuleId::Utils,
                 L"ConvertSecurityDescriptorToStringSecurityDescriptor for %s Failed. Err : %s",
                 path_, errorText(code));
        return;
    }
    acl_ = std::move(text);
}

bool WinFileAttributes::RefreshAccessTime() {
    platform::FileFacts facts;
    if (platform::files().query(MapToRealPath(path_), facts) != error::Success) {
        return false;
    }
    accessTime_ = facts.accessTime;
    return true;
}

VolumeKind WinFileAttributes::GetVolumeKind() {
    if (volumeKind_ == VolumeKind::Unknown) {
        volumeKind_ = classify(MapToRealPath(path_));
    }
    return volumeKind_;
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
