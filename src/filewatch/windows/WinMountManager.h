#pragma once

#include "filewatch/MountManager.h"

namespace lathwind {

// Says whether floppy drives are left untouched: the motor of each would start at every poll. It is
// asked at each refresh, since the settings may be read anew while the engine runs.
using FloppyRule = bool (*)();
// The setting "Disable Floppy Polling". A program that never refreshes reads no settings for it.
bool IsFloppyPollingDisabled();

// A volume that the platform is asked about. Portable logic over platform::volumes().
class WinMountInfo : public MountInfo {
public:
    WinMountInfo(std::wstring mountPoint, std::wstring mountPath, MountType type,
                 std::uint32_t mask, FloppyRule skipFloppies = IsFloppyPollingDisabled);
    // With all that was known of the mount so far: a refresh need not learn everything.
    WinMountInfo(const MountInfo& last, FloppyRule skipFloppies);
    void Refresh() override;

private:
    void RefreshVolume();
    void RefreshType();

    FloppyRule skipFloppies_;
};

class WinMountManager : public MountManager {
public:
    explicit WinMountManager(FloppyRule skipFloppies = IsFloppyPollingDisabled)
        : skipFloppies_(skipFloppies) {}

    void RefreshMounts() override;
    bool HasVolumeInfo(const std::wstring& path) override;
    bool IsFatVolume(const std::wstring& path) override;

private:
    FloppyRule skipFloppies_;
};

}  // namespace lathwind
