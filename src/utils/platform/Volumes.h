#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utils/platform/Errors.h"

// Drives, volumes and mount points. Roots end in a backslash ("c:\"). A list that is handed in is
// emptied first.
namespace lathwind::platform {

// GetDriveTypeW's answers.
enum class DriveType : std::uint32_t {
    Unknown = 0,
    NoRoot = 1,
    Removable = 2,
    Fixed = 3,
    Remote = 4,
    CdRom = 5,
    RamDisk = 6,
};

struct VolumeInformation {
    std::wstring label;
    std::wstring fileSystem;
    std::uint32_t serialNumber = 0;
    std::uint32_t flags = 0;
};

// Bytes.
struct VolumeSpace {
    std::uint64_t total = 0;
    std::uint64_t free = 0;  // for an ordinary user, where the system tells that apart
};

class Volumes {
public:
    virtual ~Volumes() = default;
    // Roots of the drives present, as the system spells them.
    virtual ErrorCode drives(std::vector<std::wstring>& roots) = 0;
    // Mount points below a root, relative to it, each with a trailing backslash.
    virtual ErrorCode mountPoints(const std::wstring& root, std::vector<std::wstring>& points) = 0;
    virtual ErrorCode volumeName(const std::wstring& mountPoint, std::wstring& name) = 0;
    // `device` is a drive without backslash ("c:").
    virtual ErrorCode dosDevice(const std::wstring& device, std::wstring& target) = 0;
    virtual ErrorCode information(const std::wstring& volume, VolumeInformation& facts) = 0;
    virtual DriveType driveType(const std::wstring& root) = 0;
    virtual ErrorCode universalName(const std::wstring& path, std::wstring& name) = 0;
    // The root of the volume that holds `path`.
    virtual ErrorCode volumePath(const std::wstring& path, std::wstring& root) = 0;
    // The space of the volume that holds `path`, a file or a folder that exists.
    virtual ErrorCode space(const std::wstring& path, VolumeSpace& space) = 0;
};

}  // namespace lathwind::platform
