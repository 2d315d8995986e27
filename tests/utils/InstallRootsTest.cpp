#include <gtest/gtest.h>

#include "support/FakeRegistry.h"
#include "support/ServiceOverride.h"
#include "utils/InstallRoots.h"

namespace lathwind {
namespace {

TEST(InstallRoots, ComeFromTheRegistryOrAreTheCurrentDirectory) {
    testing::FakeRegistry registry;
    const testing::ServiceOverride answers(platformFactory.registry, registry);
    EXPECT_EQ(GetInstallRoot(), L".\\");
    EXPECT_EQ(GetLogInstallRoot(), L".\\");
    EXPECT_EQ(GetIpsRoot(), L".\\\\IPS");

    // The program's own view, and each value by itself.
    auto& values = registry.keys[{false, L"software\\tessarin\\galdern\\agent"}];
    values = {{L"InstallRoot", 1, testing::utf16(L"C:\\Agent")}};
    EXPECT_EQ(GetInstallRoot(), L"C:\\Agent");
    EXPECT_EQ(GetIdsRoot(), L"C:\\Agent\\IDS");
    EXPECT_EQ(GetIpsRoot(), L"C:\\Agent\\IPS");
    EXPECT_EQ(GetLogInstallRoot(), L".\\");
    values.push_back({L"LogInstallRoot", 1, testing::utf16(L"D:\\Logs")});
    EXPECT_EQ(GetLogInstallRoot(), L"D:\\Logs");
}

}  // namespace
}  // namespace lathwind
