#include <gtest/gtest.h>

#include "filewatch/LogFileProperties.h"
#include "support/Bytes.h"
#include "support/FakeRegistry.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "tools/InstallPaths.h"

namespace lathwind::tool {
namespace {

using testing::FakeRegistry;
using testing::utf16;

std::wstring rootFor(const std::vector<platform::RegistryValue>& values) {
    FakeRegistry registry;
    registry.keys[{false, L"software\\tessarin\\galdern\\agent"}] = values;
    const testing::ServiceOverride answers(platformFactory.registry, registry);
    return InstallPaths().GetRootPath();
}

TEST(InstallPaths, TakeTheRootOfTheRegistry) {
    const std::wstring whole(130, L'x');  // fills the buffer of 260 bytes
    EXPECT_EQ(rootFor({{L"InstallRoot", 1, utf16(std::wstring(L"C:\\A\0y", 6))}}), L"C:\\A");
    EXPECT_EQ(rootFor({{L"InstallRoot", 4, utf16(L"D:")}}), L"D:") << "of whatever type";
    EXPECT_EQ(rootFor({{L"InstallRoot", 1, utf16(whole)}}), whole);
    EXPECT_EQ(rootFor({{L"InstallRoot", 1, utf16(whole + L"x")}}), L"");
    EXPECT_EQ(rootFor({{L"LogInstallRoot", 1, utf16(L"C:\\L")}}), L"");
}

TEST(InstallPaths, HangFromTheRoot) {
    InstallPaths paths;
    paths.SetRootPath(L"C:\\A\\");
    EXPECT_EQ(paths.GetBinPath(), L"C:\\A\\\\IDS\\bin") << "no backslash is removed";
    EXPECT_EQ(paths.GetSystemPath(), L"C:\\A\\\\IDS\\system");
    EXPECT_EQ(paths.GetIpsPath(), L"C:\\A\\\\IPS");
    EXPECT_EQ(paths.GetServiceLogPath(), L"C:\\A\\\\rvmklog\\QVRIPSService.log");
}

TEST(InstallPaths, AShortHandOverRecordLeavesTheRestOfTheBuffer) {
    const testing::TempDir root;
    InstallPaths paths;
    paths.SetRootPath(root.path());
    AgentFilePointerRecord record;
    record.fill(std::byte{0x20});
    EXPECT_FALSE(paths.ReadAgentFilePointer(record));
    EXPECT_EQ(record[0], std::byte{0x20});

    root.makeFolder("IPS");
    root.write("IPS/agentfilepointer",
               testing::Bytes().u8(1).units(L"c:\\a").padTo(1025).u16(0x1234).str());
    EXPECT_TRUE(paths.ReadAgentFilePointer(record));
    const AgentFilePointer pointer = DecodeAgentFilePointer(record);
    EXPECT_EQ(pointer.path, L"c:\\a");
    EXPECT_EQ(pointer.offset, 0x20201234u);
}

TEST(InstallPaths, TheFirstEntryTellsOfTheServiceLog) {
    const testing::TempDir root;
    root.makeFolder("IDS/system");
    InstallPaths paths;
    paths.SetRootPath(root.path());
    const auto read = [&](LogFileProperties& properties) {
        return paths.ReadServiceLogProperties(properties);
    };
    LogFileProperties properties;
    EXPECT_FALSE(read(properties));
    root.write("IDS/system/ipslogwatch.ini", "[Log Files]\nFiles=0\n[File1]\nEncoding=UTF-8\n");
    EXPECT_FALSE(read(properties));
    EXPECT_TRUE(properties == LogFileProperties());
    root.write("IDS/system/ipslogwatch.ini",
               "[Log Files]\nFiles=2\n[File1]\nEncoding=UTF-8\n[File2]\nEncoding=UTF-16\n");
    EXPECT_TRUE(read(properties));
    EXPECT_EQ(properties.GetEncoding(), L"UTF-8");
}

}  // namespace
}  // namespace lathwind::tool
