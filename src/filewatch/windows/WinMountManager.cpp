#include "filewatch/windows/WinMountManager.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "filewatch/windows/WinPathMapping.h"
#include "utils/AgentInfo.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

namespace {

namespace error = platform::error;
using platform::DriveType;

// A volume with this flag may have other volumes mounted in its folders.
constexpr std::uint32_t kSupportsReparsePoints = 0x80;

struct VolumeFlag {
    std::size_t bit;
    std::uint32_t volumeFlag;
};
constexpr VolumeFlag kVolumeFlags[] = {
    {3, 0x8000}, {4, 0x10}, {5, 0x40000}, {6, 0x8}, {7, 0x20000}, {8, 0x80}, {10, 0x20},
};

MountType mountTypeOf(DriveType type) {
    switch (type) {
        case DriveType::NoRoot:
            return MountType::NoRoot;
        case DriveType::Fixed:
            return MountType::Fixed;
        case DriveType::CdRom:
            return MountType::CdDvd;
        case DriveType::RamDisk:
            return MountType::Ram;
        case DriveType::Remote:
            return MountType::Network;
        case DriveType::Removable:
            return MountType::Removable;
        case DriveType::Unknown:
            break;
    }
    return MountType::Unknown;
}

// By its device, without a touch of the drive itself.
bool isFloppy(const std::wstring& mountPoint) {
    std::wstring device;
    return platform::volumes().dosDevice(mountPoint.substr(0, 2), device) == error::Success &&
           device.find(L"Floppy") != std::wstring::npos;
}

void addMountPoints(const std::wstring& root, std::set<std::wstring>& names) {
    platform::VolumeInformation facts;
    std::vector<std::wstring> points;
    if (platform::volumes().information(root, facts) != error::Success ||
        (facts.flags & kSupportsReparsePoints) == 0 ||
        platform::volumes().mountPoints(root, points) != error::Success) {
        return;
    }
    for (const std::wstring& point : points) {
        names.insert(toLower(root + point));
    }
}

}  // namespace

bool IsFloppyPollingDisabled() {
    return AgentInfoRef()->disableFloppyPolling();
}

WinMountInfo::WinMountInfo(std::wstring mountPoint, std::wstring mountPath, MountType type,
                           std::uint32_t mask, FloppyRule skipFloppies)
    : MountInfo(std::move(mountPoint), std::move(mountPath), type, mask),
      skipFloppies_(skipFloppies) {}

WinMountInfo::WinMountInfo(const MountInfo& last, FloppyRule skipFloppies)
    : MountInfo(last), skipFloppies_(skipFloppies) {}

void WinMountInfo::Refresh() {
    if (platform::volumes().volumeName(mountPoint_, volumeName_) != error::Success) {
        volumeName_ = mountPoint_;
    }
    if (skipFloppies_() && isFloppy(mountPoint_)) {
        static std::atomic_flag isTold;
        if (!isTold.test_and_set()) {
            debugLog(ModuleId::FilewatchCollector, L"Polling for mount/changes disabled for %ls",
                     mountPoint_);
        }
        flags_.reset(kMediaReady);
    } else {
        RefreshVolume();
    }
    RefreshType();
}

void WinMountInfo::RefreshVolume() {
    platform::VolumeInformation facts;
    const auto code = platform::volumes().information(volumeName_, facts);
    if (code == error::Success) {
        volumeLabel_ = std::move(facts.label);
        fsName_ = std::move(facts.fileSystem);
        serialNumber_ = facts.serialNumber;
        for (const auto& [bit, volumeFlag] : kVolumeFlags) {
            flags_.set(bit, (facts.flags & volumeFlag) != 0);
        }
        flags_.set(kMediaReady);
    } else if (code == error::NotReady) {
        // Only an empty drive says that the volume has gone. Any other failure may be one of the
        // moment, and must not turn a whole volume's files into unmounted ones.
        flags_.reset(kMediaReady);
    }
}

void WinMountInfo::RefreshType() {
    mountType_ = mountTypeOf(platform::volumes().driveType(mountPoint_));
    if (mountType_ == MountType::Network) {
        std::wstring name;
        if (platform::volumes().universalName(mountPoint_, name) == error::Success) {
            mountPath_ = std::move(name);
        }
    }
}

void WinMountManager::RefreshMounts() {
    Refreshment refreshed = BeginRefresh();
    std::vector<std::wstring> roots;
    if (platform::volumes().drives(roots) != error::Success) {
        return;  // nothing is known, which is not the same as no volumes
    }
    std::set<std::wstring> present;
    const bool skipFloppies = skipFloppies_();
    for (const std::wstring& drive : roots) {
        const std::wstring root = toLower(drive.substr(0, 1)) + L":\\";
        present.insert(root);
        if (!skipFloppies || !isFloppy(root)) {
            addMountPoints(root, present);
        }
    }
    std::vector<std::shared_ptr<MountInfo>> mounts;
    for (const auto& last : refreshed.mounts) {
        if (present.contains(last->GetMountPoint())) {
            mounts.push_back(std::make_shared<WinMountInfo>(*last, skipFloppies_));
        }
    }
    for (const std::wstring& name : present) {
        auto mount = FindAmong(mounts, name, true);
        if (mount == nullptr) {
            mount =
                std::make_shared<WinMountInfo>(name, name, MountType::Unknown, 0, skipFloppies_);
            mounts.push_back(mount);
        }
        mount->Refresh();
    }
    refreshed.mounts.assign(mounts.begin(), mounts.end());
    EndRefresh(std::move(refreshed));
}

bool WinMountManager::HasVolumeInfo(const std::wstring& path) {
    std::wstring root;
    platform::VolumeInformation facts;
    return platform::volumes().volumePath(MapToRealPath(path), root) == error::Success &&
           platform::volumes().information(root, facts) == error::Success;
}

bool WinMountManager::IsFatVolume(const std::wstring& path) {
    const auto mount = FindMount(path, false);
    return mount != nullptr && mount->GetFileSystem().starts_with(L"FAT");
}

}  // namespace lathwind
