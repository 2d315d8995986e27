#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <utility>

#include "utils/Format.h"
#include "utils/Text.h"
#include "utils/posix/Errno.h"
#include "utils/posix/MountTable.h"
#include "utils/posix/Mutex.h"
#include "utils/posix/PathResolver.h"
#include "utils/posix/Services.h"
#include "utils/posix/SharedMountTable.h"

// Drives are the folders of the drive map that exist, volumes the mounts that hold them. A volume
// is named after its device number, "\\?\Volume{8:1}\", which `information` takes as well as a
// root.
namespace lathwind::posix {
namespace {

namespace error = platform::error;
using platform::DriveType;
using platform::ErrorCode;

// Volume flags of GetVolumeInformation.
constexpr std::uint32_t kCaseSensitive = 0x1;
constexpr std::uint32_t kCasePreserved = 0x2;
constexpr std::uint32_t kUnicodeNames = 0x4;
constexpr std::uint32_t kPersistentAcls = 0x8;
constexpr std::uint32_t kReparsePoints = 0x80;
constexpr std::uint32_t kReadOnlyVolume = 0x80000;

constexpr std::wstring_view kVolumePrefix = L"\\\\?\\Volume{";

const DriveMap& drives() {
    return PathResolver::ofProcess().drives();
}

std::optional<std::string> realPath(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), std::free);
    return real ? std::optional<std::string>(real.get()) : std::nullopt;
}

// The folder behind a root, in the spelling of the mount table.
ErrorCode folderOf(const std::wstring& root, std::string& folder) {
    return PathResolver::ofProcess().onExisting(root, [&folder](const char* bytes) {
        const std::optional<std::string> real = realPath(bytes);
        folder = real.value_or("");
        return real ? 0 : errno;
    });
}

// The real path of what exists of a path: of itself, or of the nearest folder above.
std::string existingPart(std::string path) {
    while (!path.empty() && path != "/") {
        if (const std::optional<std::string> real = realPath(path)) {
            return *real;
        }
        const std::size_t slash = path.find_last_of('/');
        if (slash == std::string::npos) {
            return realPath(".").value_or("/");
        }
        path.resize(slash);
    }
    return "/";
}

bool isDriveFolder(const std::string& folder) {
    const std::wstring wide = drives().toWide(folder);
    return wide.size() == 3 && wide.back() == L'\\';
}

std::wstring withBackslash(std::wstring path) {
    if (!path.empty() && path.back() != L'\\') {
        path += L'\\';
    }
    return path;
}

std::wstring relativePoint(const std::string& point) {
    std::wstring wide = utf16FromUtf8(point);
    replaceAll(wide, L"/", L"\\");
    return withBackslash(wide);
}

// Of the device itself, or of the disk that a partition is on.
bool hasRemovableMedium(const Mount& mount) {
    const std::string device =
        "/sys/dev/block/" + std::to_string(mount.major) + ":" + std::to_string(mount.minor);
    for (const char* place : {"/removable", "/../removable"}) {
        std::ifstream file(device + place);
        int value = 0;
        if (file >> value) {
            return value != 0;
        }
    }
    return false;
}

// Asked of the system once for a device, until something is mounted or unmounted: a state that is
// saved asks for the drive of each file.
class RemovableMedia {
public:
    bool contains(const SharedMountTable::Pointer& table, const Mount& mount) {
        const MutexHolder guard(mutex_);
        if (table_ != table) {
            table_ = table;
            known_.clear();
        }
        const auto [known, isNew] = known_.try_emplace({mount.major, mount.minor});
        if (isNew) {
            known->second = hasRemovableMedium(mount);
        }
        return known->second;
    }

private:
    Mutex mutex_;
    SharedMountTable::Pointer table_ GUARDED_BY(mutex_);
    std::map<std::pair<std::uint32_t, std::uint32_t>, bool> known_ GUARDED_BY(mutex_);
};

bool parseVolumeName(const std::wstring& volume, std::uint32_t& major, std::uint32_t& minor) {
    unsigned first = 0;
    unsigned second = 0;
    char end = 0;
    const std::string text = utf8FromUtf16(std::wstring_view(volume).substr(kVolumePrefix.size()));
    if (std::sscanf(text.c_str(), "%u:%u%c", &first, &second, &end) != 3 || end != '}') {
        return false;
    }
    major = first;
    minor = second;
    return true;
}

std::uint32_t serialNumberOf(const Mount& mount) {
    return mount.major << 20 | (mount.minor & 0xFFFFF);
}

platform::VolumeInformation describe(const MountTable& table, const Mount& mount,
                                     const std::string& folder) {
    platform::VolumeInformation facts;
    facts.fileSystem = fileSystemName(mount.fsType);
    facts.serialNumber = serialNumberOf(mount);
    const bool fat = facts.fileSystem.starts_with(L"FAT") || mount.fsType == "exfat";
    facts.flags = kCasePreserved | kUnicodeNames;
    facts.flags |= fat ? 0 : kCaseSensitive | kPersistentAcls;
    facts.flags |= mount.readOnly ? kReadOnlyVolume : 0;
    // Reparse points are what Windows mounts volumes at: where none is mounted there are none.
    facts.flags |= table.pointsBelow(folder).empty() ? 0 : kReparsePoints;
    return facts;
}

class PosixVolumes final : public platform::Volumes {
public:
    ErrorCode drives(std::vector<std::wstring>& roots) override {
        roots.clear();
        mounts_.read();  // with this question a look at all volumes begins
        for (const wchar_t letter : posix::drives().letters()) {
            const std::wstring root{letter, L':', L'\\'};
            std::string folder;
            if (folderOf(root, folder) == error::Success) {
                roots.push_back(root);
            }
        }
        return error::Success;
    }

    ErrorCode mountPoints(const std::wstring& root, std::vector<std::wstring>& points) override {
        points.clear();
        std::string folder;
        const ErrorCode code = folderOf(root, folder);
        if (code != error::Success) {
            return code;
        }
        for (const std::string& point : mounts_.get()->pointsBelow(folder)) {
            points.push_back(relativePoint(point));
        }
        return error::Success;
    }

    ErrorCode volumeName(const std::wstring& mountPoint, std::wstring& name) override {
        std::string folder;
        const ErrorCode code = folderOf(mountPoint, folder);
        if (code != error::Success) {
            return code;
        }
        const auto table = mounts_.get();
        const Mount* mount = table->holding(folder);
        if (mount == nullptr || (!table->isPoint(folder) && !isDriveFolder(folder))) {
            return error::InvalidParameter;
        }
        name = format(L"%s%u:%u}\\", kVolumePrefix, mount->major, mount->minor);
        return error::Success;
    }

    ErrorCode dosDevice(const std::wstring& device, std::wstring& target) override {
        if (device.size() != 2 || device[1] != L':') {
            return error::FileNotFound;
        }
        std::string folder;
        const ErrorCode code = folderOf(device + L'\\', folder);
        const auto table = mounts_.get();
        const Mount* mount = table->holding(folder);
        if (code != error::Success || mount == nullptr) {
            return error::FileNotFound;
        }
        target = deviceName(mount->source);
        return error::Success;
    }

    ErrorCode information(const std::wstring& volume, platform::VolumeInformation& facts) override {
        const auto table = mounts_.get();
        if (volume.starts_with(kVolumePrefix)) {
            std::uint32_t major = 0;
            std::uint32_t minor = 0;
            if (!parseVolumeName(volume, major, minor)) {
                return error::InvalidName;
            }
            const Mount* mount = table->ofDevice(major, minor);
            if (mount == nullptr) {
                return error::FileNotFound;
            }
            facts = describe(*table, *mount, mount->point);
            return error::Success;
        }
        std::string folder;
        const ErrorCode code = folderOf(volume, folder);
        if (code != error::Success) {
            return code;
        }
        const Mount* mount = table->holding(folder);
        if (mount == nullptr) {
            return error::PathNotFound;
        }
        facts = describe(*table, *mount, folder);
        return error::Success;
    }

    DriveType driveType(const std::wstring& root) override {
        std::string folder;
        if (folderOf(root, folder) != error::Success) {
            return DriveType::NoRoot;
        }
        const auto table = mounts_.get();
        const Mount* mount = table->holding(folder);
        if (mount == nullptr) {
            return DriveType::Unknown;
        }
        const DriveType type = driveTypeOf(mount->fsType);
        return type == DriveType::Fixed && removable_.contains(table, *mount) ? DriveType::Removable
                                                                              : type;
    }

    ErrorCode universalName(const std::wstring& path, std::wstring& name) override {
        std::string real;
        const ErrorCode code = folderOf(path, real);
        if (code != error::Success) {
            return code;
        }
        const auto table = mounts_.get();
        const Mount* mount = table->holding(real);
        const std::wstring resource = mount != nullptr ? universalNameOf(mount->source) : L"";
        if (resource.empty()) {
            return error::NotSupported;
        }
        const std::wstring rest = utf16FromUtf8(real.substr(mount->point.size()));
        name = resource + rest;
        replaceAll(name, L"/", L"\\");
        return error::Success;
    }

    // Like GetVolumePathName this does not ask whether the path exists: what exists above it
    // decides.
    ErrorCode volumePath(const std::wstring& path, std::wstring& root) override {
        std::string bytes;
        const ErrorCode code = PathResolver::ofProcess().toBytes(path, bytes);
        if (code != error::Success) {
            return code;
        }
        PathResolver::ofProcess().resolve(bytes);
        const std::string real = existingPart(bytes);
        const auto table = mounts_.get();
        const Mount* mount = table->holding(real);
        const std::wstring drivePath = posix::drives().toWide(real);
        if (mount == nullptr || drivePath.empty()) {
            return error::PathNotFound;  // a link out of every drive
        }
        // A drive's folder that lies inside a mount is where the volume begins for the drive.
        const std::wstring point = posix::drives().toWide(mount->point);
        const bool sameDrive = point.size() > 3 && point.starts_with(drivePath.substr(0, 3));
        root = sameDrive ? withBackslash(point) : drivePath.substr(0, 3);
        return error::Success;
    }

    ErrorCode space(const std::wstring& path, platform::VolumeSpace& space) override {
        std::string bytes;
        const ErrorCode code = PathResolver::ofProcess().toBytes(path, bytes);
        if (code != error::Success) {
            return code;
        }
        PathResolver::ofProcess().resolve(bytes);
        struct ::statvfs facts = {};
        if (::statvfs(bytes.c_str(), &facts) != 0) {
            return errorFromErrno(errno);
        }
        space = {std::uint64_t{facts.f_blocks} * facts.f_frsize,
                 std::uint64_t{facts.f_bavail} * facts.f_frsize};
        return error::Success;
    }

private:
    SharedMountTable mounts_;
    RemovableMedia removable_;
};

}  // namespace

platform::Volumes& volumes() {
    static platform::Volumes& instance = *new PosixVolumes;
    return instance;
}

}  // namespace lathwind::posix
