#pragma once

#include <map>
#include <string>
#include <vector>

#include "utils/platform/Volumes.h"

namespace lathwind::testing {

struct FakeVolume {
    platform::ErrorCode code = platform::error::Success;  // of the volume information
    platform::VolumeInformation facts;
    platform::DriveType type = platform::DriveType::Fixed;
    std::wstring device;         // empty: none is told
    std::wstring universalName;  // empty: none is told
    std::vector<std::wstring> mountPoints;
    platform::VolumeSpace space;
    int touches = 0;  // questions that make the drive spin
};

// Volumes by root, all of them without a volume name of their own.
class FakeVolumes : public platform::Volumes {
public:
    using ErrorCode = platform::ErrorCode;

    std::map<std::wstring, FakeVolume> volumes;
    std::vector<std::wstring> roots;
    ErrorCode drivesCode = platform::error::Success;

    ErrorCode drives(std::vector<std::wstring>& present) override {
        present = roots;
        return drivesCode;
    }
    ErrorCode mountPoints(const std::wstring& root, std::vector<std::wstring>& points) override {
        ++volumes[root].touches;
        points = volumes[root].mountPoints;
        return platform::error::Success;
    }
    ErrorCode volumeName(const std::wstring&, std::wstring&) override {
        return platform::error::CallNotImplemented;
    }
    ErrorCode dosDevice(const std::wstring& device, std::wstring& target) override {
        target = volumes[device + L"\\"].device;
        return target.empty() ? platform::error::FileNotFound : platform::error::Success;
    }
    ErrorCode information(const std::wstring& volume, platform::VolumeInformation& facts) override {
        ++volumes[volume].touches;
        facts = volumes[volume].facts;
        return volumes[volume].code;
    }
    platform::DriveType driveType(const std::wstring& root) override { return volumes[root].type; }
    ErrorCode universalName(const std::wstring& path, std::wstring& name) override {
        name = volumes[path].universalName;
        return name.empty() ? platform::error::NotSupported : platform::error::Success;
    }
    ErrorCode volumePath(const std::wstring& path, std::wstring& root) override {
        root = path.substr(0, 3);
        return volumes.contains(root) ? platform::error::Success : platform::error::PathNotFound;
    }
    ErrorCode space(const std::wstring& path, platform::VolumeSpace& space) override {
        const auto volume = volumes.find(path.substr(0, 3));
        if (volume == volumes.end()) {
            return platform::error::PathNotFound;
        }
        space = volume->second.space;
        return platform::error::Success;
    }
};

}  // namespace lathwind::testing
