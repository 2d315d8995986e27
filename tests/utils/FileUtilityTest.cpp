#include <gtest/gtest.h>

#include "support/FakeFiles.h"
#include "support/HostDecorator.h"
#include "support/ScopedOverride.h"
#include "utils/FileUtility.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::HostDecorator;
using testing::ScopedOverride;
namespace error = platform::error;

class FakeHost : public HostDecorator {
public:
    using HostDecorator::HostDecorator;
    platform::ErrorCode environment(const std::wstring& name, std::wstring& value) override {
        if (name == L"broken") {
            return error::MoreData;
        }
        if (name == L"env" || name == L"empty") {
            value = name == L"env" ? L"E%x%" : L"";
            return error::Success;
        }
        return error::FileNotFound;
    }
};

class FakeRegistry : public platform::Registry {
public:
    platform::ErrorCode queryValue(platform::RegistryHive hive, const std::wstring& key,
                                   const std::wstring& name, std::uint32_t, std::size_t limit,
                                   platform::RegistryValue& value) override {
        EXPECT_EQ(hive, platform::RegistryHive::LocalMachine);
        EXPECT_EQ(key, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment");
        EXPECT_EQ(limit, 260u);
        if (name != L"reg" && name != L"env") {
            return error::FileNotFound;
        }
        value.data = {std::byte{'R'}, std::byte{0}, std::byte{0xAC}, std::byte{0x20},
                      std::byte{0},   std::byte{0}, std::byte{'X'},  std::byte{0}};
        return error::Success;
    }
    platform::ErrorCode enumerateKeys(platform::RegistryHive, const std::wstring&, std::uint32_t,
                                      std::vector<std::wstring>&) override {
        return error::FileNotFound;
    }
    platform::ErrorCode enumerateValues(platform::RegistryHive, const std::wstring&, std::uint32_t,
                                        std::vector<platform::RegistryValue>&) override {
        return error::FileNotFound;
    }
};

TEST(FileUtility, ExpandsEachVariableOnce) {
    static FakeHost host(platform::host());
    static FakeRegistry registry;
    const ScopedOverride hosts(
        platformFactory.host, +[]() -> platform::Host& { return host; });
    const ScopedOverride registries(
        platformFactory.registry, +[]() -> platform::Registry& { return registry; });
    const std::map<std::wstring, std::wstring> table = {
        {L"env", L"never"}, {L"tab", L"T"}, {L"empty", L"filled"}, {L"reg", L"table first"}};
    const auto utility = makeFileUtility();
    const struct {
        std::wstring path;
        std::wstring expanded;
    } kCases[] = {
        {L"", L""},
        {L"plain", L"plain"},
        {L"%", L"%"},
        {L"a%%b", L"a%%b"},
        {L"%env%", L"E%x%"},
        {L"c:\\%tab%\\x%tab%", L"c:\\T\\xT"},
        {L"%empty%", L"filled"},
        {L"%reg%", L"table first"},
        {L"%none%\\%tab%", L"%none%\\T"},
        {L"<%broken%>", L"<>"},
        {L"%none%tab%tab%", L"%none%tabT"},
        {L"100%", L"100%"},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(utility->ExpandVariables(each.path, &table), each.expanded) << each.path;
    }
    EXPECT_EQ(utility->ExpandVariables(L"[%reg%]", nullptr), L"[R\x20AC]");
    const std::wstring signs(1000001, L'%');
    EXPECT_EQ(utility->ExpandVariables(signs, &table), signs);
}

TEST(FileUtility, CurrentFolderEndsInABackslash) {
    std::wstring folder;
    ASSERT_EQ(platform::files().currentDirectory(folder), error::Success);
    EXPECT_EQ(makeFileUtility()->GetCurrentFolder(), folder + L"\\");

    static testing::FakeFiles nowhere;
    const ScopedOverride override(
        platformFactory.files, +[]() -> platform::Files& { return nowhere; });
    EXPECT_EQ(makeFileUtility()->GetCurrentFolder(), L"");  // not the root of a drive
}

}  // namespace
}  // namespace lathwind
