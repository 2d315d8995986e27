#include <algorithm>
#include <gtest/gtest.h>

#include "utils/windows/SystemHeaders.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

namespace error = platform::error;

TEST(WinVolumes, TheSystemsDriveIsKnownEverywhere) {
    const std::wstring root = host().windowsDirectory().substr(0, 3);
    std::vector<std::wstring> roots;
    ASSERT_EQ(error::Success, volumes().drives(roots));
    EXPECT_NE(roots.end(), std::find_if(roots.begin(), roots.end(), [&](const auto& each) {
                  return ::_wcsicmp(each.c_str(), root.c_str()) == 0;
              }));
    platform::VolumeInformation facts;
    EXPECT_EQ(error::Success, volumes().information(root, facts));
    EXPECT_FALSE(facts.fileSystem.empty());
    EXPECT_EQ(platform::DriveType::Fixed, volumes().driveType(root));
    std::wstring text;
    EXPECT_EQ(error::Success, volumes().volumeName(root, text));
    EXPECT_EQ(0U, text.find(L"\\\\?\\Volume{"));
    EXPECT_EQ(error::Success, volumes().dosDevice(root.substr(0, 2), text));
    EXPECT_EQ(0U, text.find(L"\\Device\\"));
    EXPECT_EQ(error::Success, volumes().volumePath(host().windowsDirectory(), text));
    EXPECT_EQ(0, ::_wcsicmp(root.c_str(), text.c_str()));
}

TEST(WinVolumes, WhatIsMissingHasACode) {
    std::vector<std::wstring> roots;
    ASSERT_EQ(error::Success, volumes().drives(roots));
    std::wstring absent = L"b:\\";
    for (const auto& root : roots) {
        ASSERT_NE(L'b', root[0] | 0x20) << "this test needs one free letter";
    }
    platform::VolumeInformation facts;
    std::wstring text = L"untouched";
    EXPECT_NE(error::Success, volumes().information(absent, facts));
    EXPECT_NE(error::Success, volumes().volumeName(absent, text));
    EXPECT_NE(error::Success, volumes().dosDevice(L"b:", text));
    EXPECT_NE(error::Success, volumes().universalName(L"c:\\", text)) << "no network drive";
    EXPECT_EQ(L"untouched", text);
    EXPECT_EQ(platform::DriveType::NoRoot, volumes().driveType(absent));
    // Wine does not implement mount points (120): nothing is found, whatever the code.
    std::vector<std::wstring> points;
    volumes().mountPoints(L"c:\\", points);
    EXPECT_TRUE(points.empty());
}

}  // namespace
}  // namespace lathwind::windows
