#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "actions/DiskThreshold.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"

namespace lathwind {
namespace {

using testing::LogCapture;

class TestThreshold : public DiskThreshold {
public:
    std::uint32_t usedPercent() override {
        ++looks;
        return used;
    }
    std::int64_t currentTime() override { return now; }
    void report() override { reports += isExceeded() ? "stop " : "go "; }

    std::uint32_t used = 50;
    std::int64_t now = 1000;
    int looks = 0;
    std::string reports;
};

TEST(DiskThresholdTest, KeepsItsStateBetweenTheThresholds) {
    TestThreshold disk;
    disk.setThresholds(80, 90);
    disk.setIntervals(0, 1);
    const std::pair<std::uint32_t, bool> steps[] = {
        {50, false}, {89, false}, {90, true}, {89, true}, {80, true},  {0, true},
        {79, false}, {85, false}, {0, false}, {99, true}, {100, true}, {1, false}};
    for (const auto& [used, exceeded] : steps) {
        disk.used = used;
        disk.check();
        EXPECT_EQ(disk.isExceeded(), exceeded) << used;
    }
    EXPECT_EQ(disk.reports, "stop go stop go ");
}

TEST(DiskThresholdTest, LooksAtIntervals) {
    struct Case {
        const char* name;
        std::uint32_t seconds;
        std::uint32_t events;
        int looks;  // in ten events, a second apart, behind a forced first look
    };
    const Case cases[] = {
        {"by time", 3, 0, 3},
        {"by count", 0, 4, 2},
        {"by both", 4, 3, 3},
        {"each event", 1, 0, 10},
    };
    for (const Case& test : cases) {
        TestThreshold disk;
        disk.setThresholds(80, 90);
        disk.setIntervals(test.seconds, test.events);
        disk.check(true);
        disk.looks = 0;
        for (int i = 0; i < 10; ++i) {
            ++disk.now;
            disk.check();
        }
        EXPECT_EQ(disk.looks, test.looks) << test.name;
    }
}

TEST(DiskThresholdTest, IsOffWithoutThresholdsIntervalOrPath) {
    struct Case {
        std::uint32_t lower, upper, seconds, events;
        bool enabled;
    };
    const Case cases[] = {{80, 90, 1, 1, true},  {80, 90, 1, 0, true}, {80, 90, 0, 1, true},
                          {80, 90, 0, 0, false}, {0, 90, 1, 1, false}, {80, 0, 1, 1, false}};
    for (const Case& test : cases) {
        TestThreshold disk;
        disk.used = 100;
        disk.setThresholds(test.lower, test.upper);
        disk.setIntervals(test.seconds, test.events);
        EXPECT_EQ(disk.check(true), test.enabled);
        EXPECT_EQ(disk.looks, test.enabled ? 1 : 0);
    }
}

TEST(DiskThresholdTest, AsksTheVolumeAndReports) {
    const testing::TempDir folder;
    testing::FakeVolumes volumes;
    const testing::ServiceOverride override(platformFactory.volumes, volumes);
    auto& space = volumes.volumes[folder.path().substr(0, 3)].space;
    LogCapture log;
    ReportingDiskThreshold disk;
    disk.setThresholds(70, 95);
    disk.setIntervals(0, 1);
    space = {1000, 20};
    EXPECT_FALSE(disk.check()) << "no path";
    disk.setPath(folder.path(L"absent"));
    EXPECT_FALSE(disk.check());
    disk.setPath(folder.path());
    EXPECT_TRUE(disk.check());
    space = {1000, 999};  // less than a percent
    EXPECT_TRUE(disk.check());
    const std::vector<LogCapture::Message> expected = {
        {Severity::Warning, L"PE_0105: Used Disk Space greater than 95%. Event logging stopped."},
        {Severity::Warning, L"PE_0106: Used Disk Space less than 70%. Event logging resumed."}};
    EXPECT_EQ(log.messages, expected);
}

}  // namespace
}  // namespace lathwind
