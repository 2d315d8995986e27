#pragma once

#include "filewatch/MountManager.h"

namespace lathwind {

// A volume that the platform is asked about. Portable logic over platform::volumes().
class WinMountInfo : public MountInfo {
public:
    // With `skipFloppies` a floppy drive is never touched: its motor would start at each poll.
    WinMountInfo(std::wstring mountPoint, std::wstring mountPath, MountType type,
                 std::uint32_t mask, bool skipFloppies);
    void Refresh() override;

private:
    bool IsSkipped();
    void RefreshVolume();
    void RefreshType();

    bool skipFloppies_;
};

class WinMountManager : public MountManager {
public:
    // `skipFloppies` is the setting "Disable Floppy Polling", which is on unless told otherwise.
    explicit WinMountManager(bool skipFloppies = true) noexcept : skipFloppies_(skipFloppies) {}

    void RefreshMounts() override;
    bool HasVolumeInfo(const std::wstring& path) override;
    bool IsFatVolume(const std::wstring& path) override;

private:
    bool skipFloppies_;
};

}  // namespace lathwind
