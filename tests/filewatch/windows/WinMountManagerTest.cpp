#include <gtest/gtest.h>
#include <thread>

#include "filewatch/windows/WinMountManager.h"
#include "support/BinaryFolder.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"

namespace lathwind {
namespace {

using platform::DriveType;
using testing::FakeVolume;

constexpr FloppyRule kLeaveAlone = +[] { return true; };
constexpr FloppyRule kTouch = +[] { return false; };

class WinMountManagerTest : public ::testing::Test {
protected:
    std::vector<std::wstring> points(const WinMountManager& manager) {
        std::vector<std::wstring> names;
        for (const auto& mount : manager.GetMounts()) {
            names.push_back(mount->GetMountPoint());
        }
        return names;
    }

    testing::FakeVolumes volumes;
    testing::ServiceOverride<platform::Volumes> answers{platformFactory.volumes, volumes};
};

TEST_F(WinMountManagerTest, FollowsTheVolumesPresent) {
    volumes.roots = {L"D:\\", L"C:\\"};
    volumes.volumes[L"c:\\"].facts.flags = 0x80;
    volumes.volumes[L"c:\\"].mountPoints = {L"Data\\Vol\\"};
    volumes.volumes[L"d:\\"].mountPoints = {L"hidden\\"};  // the file system has no such points
    WinMountManager manager(kLeaveAlone);
    manager.RefreshMounts();
    EXPECT_EQ(points(manager), (std::vector<std::wstring>{L"c:\\", L"c:\\data\\vol\\", L"d:\\"}));
    EXPECT_EQ(manager.GetMounts()[1]->GetMountPath(), L"c:\\data\\vol\\");

    volumes.volumes[L"d:\\"].code = platform::error::AccessDenied;
    volumes.roots = {L"D:\\", L"E:\\"};
    manager.RefreshMounts();
    EXPECT_EQ(points(manager), (std::vector<std::wstring>{L"d:\\", L"e:\\"}));
    EXPECT_TRUE(manager.GetMounts()[0]->IsMediaReady());  // as of the refresh before

    volumes.drivesCode = platform::error::GenFailure;
    volumes.roots = {};
    manager.RefreshMounts();
    EXPECT_EQ(points(manager).size(), 2u);  // an unanswered question unmounts nothing
}

TEST_F(WinMountManagerTest, RefreshTable) {
    struct Row {
        const char* what;
        platform::ErrorCode code;
        bool readyBefore;
        bool readyAfter;
    } rows[] = {
        {"read", platform::error::Success, false, true},
        {"no medium", platform::error::NotReady, true, false},
        {"denied", platform::error::AccessDenied, true, true},
        {"denied at first", platform::error::AccessDenied, false, false},
    };
    for (const Row& row : rows) {
        volumes.volumes[L"d:\\"].code = row.code;
        WinMountInfo mount(L"d:\\", L"d:\\", MountType::Unknown,
                           row.readyBefore ? 1u << MountInfo::kMediaReady : 0u, kTouch);
        mount.Refresh();
        EXPECT_EQ(mount.IsMediaReady(), row.readyAfter) << row.what;
        EXPECT_EQ(mount.GetMountType(), MountType::Fixed) << row.what;
        EXPECT_EQ(mount.GetVolumeName(), L"d:\\") << row.what;
    }
}

TEST_F(WinMountManagerTest, TypesAndVolumeFacts) {
    struct Row {
        DriveType type;
        const wchar_t* name;
    } rows[] = {
        {DriveType::Unknown, L"TYPE_UNKNOWN"},           {DriveType::NoRoot, L"TYPE_NO_ROOT"},
        {DriveType::Removable, L"TYPE_REMOVALBE_DRIVE"}, {DriveType::Fixed, L"TYPE_FIXED_DRIVE"},
        {DriveType::Remote, L"TYPE_NETWORK_DRIVE"},      {DriveType::CdRom, L"TYPE_CD_DVD_DRIVE"},
        {DriveType::RamDisk, L"TYPE_RAM_DRIVE"},
    };
    FakeVolume& volume = volumes.volumes[L"z:\\"];
    volume.facts = {L"label", L"FAT32", 77, 0x8010};
    volume.universalName = L"\\\\server\\share\\";
    for (const Row& row : rows) {
        volume.type = row.type;
        WinMountInfo mount(L"z:\\", L"z:\\", MountType::Unknown, 0, kTouch);
        mount.Refresh();
        EXPECT_STREQ(mountTypeName(mount.GetMountType()), row.name);
        EXPECT_EQ(mount.GetMountPath(),
                  row.type == DriveType::Remote ? L"\\\\server\\share\\" : L"z:\\");
    }
    WinMountInfo mount(L"z:\\", L"z:\\", MountType::Unknown, 0, kTouch);
    for (const auto& [flags, bit] : std::map<std::uint32_t, std::size_t>{
             {0x8000, 3}, {0x10, 4}, {0x40000, 5}, {8, 6}, {0x20000, 7}, {0x80, 8}, {0x20, 10}}) {
        volume.facts.flags = flags;
        mount.Refresh();  // what another volume had is cleared
        for (std::size_t i = 0; i < MountInfo::kFlagCount; ++i) {
            EXPECT_EQ(mount.HasFlag(i), i == bit || i == MountInfo::kMediaReady) << flags << i;
        }
    }
    EXPECT_EQ(mount.GetVolumeLabel(), L"label");
    EXPECT_EQ(mount.GetSerialNumber(), 77u);
}

TEST_F(WinMountManagerTest, FloppiesAreLeftAlone) {
    volumes.roots = {L"A:\\"};
    FakeVolume& floppy = volumes.volumes[L"a:\\"];
    floppy.device = L"\\Device\\Floppy0";
    floppy.type = DriveType::Removable;
    testing::LogCapture lines;
    WinMountManager manager(kLeaveAlone);
    manager.RefreshMounts();
    manager.RefreshMounts();
    EXPECT_EQ(floppy.touches, 0);
    EXPECT_FALSE(manager.GetMounts()[0]->IsMediaReady());
    EXPECT_EQ(manager.GetMounts()[0]->GetMountType(), MountType::Removable);
    EXPECT_EQ(lines.takeDebug(),
              std::vector<std::wstring>{L"Polling for mount/changes disabled for a:\\"});

    WinMountManager eager(kTouch);
    eager.RefreshMounts();
    EXPECT_GT(floppy.touches, 0);
    EXPECT_TRUE(eager.GetMounts()[0]->IsMediaReady());
}

TEST_F(WinMountManagerTest, TheSettingIsAskedAtEachRefresh) {
    volumes.roots = {L"A:\\"};
    FakeVolume& floppy = volumes.volumes[L"a:\\"];
    floppy.device = L"\\Device\\Floppy0";
    const testing::BinaryFolder installation;

    WinMountManager manager;
    manager.RefreshMounts();
    EXPECT_EQ(floppy.touches, 0);  // on, where nothing is said
    installation.root.write("system/LocalAgent.ini",
                            "[File Collector]\nDisable Floppy Polling=0\n");
    manager.RefreshMounts();
    EXPECT_GT(floppy.touches, 0);
}

TEST_F(WinMountManagerTest, VolumeQuestions) {
    volumes.roots = {L"c:\\", L"d:\\"};
    volumes.volumes[L"c:\\"].facts.fileSystem = L"FAT32";
    volumes.volumes[L"d:\\"].facts.fileSystem = L"FA";
    WinMountManager manager(kLeaveAlone);
    manager.RefreshMounts();
    EXPECT_TRUE(manager.IsFatVolume(L"c:\\x"));
    EXPECT_FALSE(manager.IsFatVolume(L"d:\\x"));
    EXPECT_FALSE(manager.IsFatVolume(L"e:\\x"));
    EXPECT_TRUE(manager.HasVolumeInfo(L"c:\\x"));
    volumes.volumes[L"c:\\"].code = platform::error::NotReady;
    EXPECT_FALSE(manager.HasVolumeInfo(L"c:\\x"));
    EXPECT_FALSE(manager.HasVolumeInfo(L"q:\\x"));
}

class WinMountManagerThreads : public WinMountManagerTest {};

// A mount stands in the table all the time, and what was found stays whole.
TEST_F(WinMountManagerThreads, LooksUpWhileTheMountsAreRefreshed) {
    volumes.roots = {L"C:\\", L"D:\\"};
    volumes.volumes[L"d:\\"].facts.fileSystem = L"FAT32";
    WinMountManager manager(kLeaveAlone);
    manager.RefreshMounts();
    std::thread refresher([&manager] {
        for (int i = 0; i < 500; ++i) {
            manager.RefreshMounts();
        }
    });
    for (int i = 0; i < 500; ++i) {
        const auto mount = manager.FindMount(L"d:\\x", false);
        ASSERT_NE(mount, nullptr);
        EXPECT_EQ(mount->GetFileSystem(), L"FAT32");
        manager.AddMountState(L"d:\\x", 1);
        EXPECT_EQ(manager.GetPendingAction(L"d:\\x", 1).action, FileAction::None);
        manager.EndWalk(MountManager::kAllStates);
    }
    refresher.join();
}

}  // namespace
}  // namespace lathwind
