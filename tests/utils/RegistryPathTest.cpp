#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

#include "support/FakeRegistry.h"
#include "support/ServiceOverride.h"
#include "utils/Exceptions.h"
#include "utils/RegistryPath.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using platform::RegistryHive;
using testing::utf16;
using View = RegistryPath::View;

std::vector<std::byte> bytes(std::initializer_list<int> values) {
    std::vector<std::byte> data;
    for (const int value : values) {
        data.push_back(static_cast<std::byte>(value));
    }
    return data;
}

class RegistryPathTest : public ::testing::Test {
protected:
    RegistryPathTest() {
        registry_.keys[{false, L"software\\a"}] = {{L"Root", 1, utf16(std::wstring(L"32\0x", 4))}};
        registry_.keys[{true, L"software\\a"}] = {{L"Root", 1, utf16(L"64")},
                                                  {L"Bits", 3, bytes({0x0A, 0xFF})}};
        registry_.keys[{true, L"software\\a\\sub"}] = {};
    }

    testing::FakeRegistry registry_;
    testing::ServiceOverride<platform::Registry> answers_{platformFactory.registry, registry_};
};

TEST(RegistryPathText, SplitsIntoViewHiveAndKey) {
    using Views = std::vector<View>;
    const std::tuple<const wchar_t*, RegistryHive, const wchar_t*, Views> cases[] = {
        {L"MACHINE\\A\\B", RegistryHive::LocalMachine, L"A\\B", {View::Bits32}},
        {L"HKEY_LOCAL_MACHINE\\A", RegistryHive::LocalMachine, L"A", {View::Bits32}},
        {L"\\machine\\A\\", RegistryHive::LocalMachine, L"A", {View::Bits32}},
        {L"6432:MACHINE\\A", RegistryHive::LocalMachine, L"A", {View::Bits64, View::Bits32}},
        {L"3264:MACHINE\\A", RegistryHive::LocalMachine, L"A", {View::Bits32, View::Bits64}},
        {L"6432:Software\\A",
         RegistryHive::CurrentUser,
         L"Software\\A",
         {View::Bits64, View::Bits32}},
        {L"HKEY_CURRENT_USER\\A", RegistryHive::CurrentUser, L"A", {View::Bits32}},
        {L"MACHINES\\A", RegistryHive::CurrentUser, L"MACHINES\\A", {View::Bits32}},
        {L"MACHINE", RegistryHive::LocalMachine, L"", {View::Bits32}},
        {L"", RegistryHive::CurrentUser, L"", {View::Bits32}}};
    for (const auto& [text, hive, key, views] : cases) {
        const RegistryPath path = RegistryPath::parse(text);
        EXPECT_EQ(path.hive, hive) << RegistryPath::parse(text).key.size();
        EXPECT_EQ(path.key, key);
        EXPECT_EQ(path.views, views);
    }
}

TEST_F(RegistryPathTest, ReadsFromTheFirstViewThatHasTheValue) {
    EXPECT_EQ(ReadRegistryValue(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\A\\Root"), L"32");
    EXPECT_EQ(ReadRegistryValue(L"6432:MACHINE\\SOFTWARE\\A\\Root"), L"64");
    registry_.masks.clear();
    EXPECT_EQ(ReadRegistryValue(L"3264:MACHINE\\SOFTWARE\\A\\Bits"), L"0aff");
    EXPECT_EQ(registry_.masks, (std::vector<std::uint32_t>{131097, 131353}));
}

TEST_F(RegistryPathTest, ThrowsWhereNoViewHasIt) {
    for (const wchar_t* path : {L"MACHINE\\SOFTWARE\\A\\Bits", L"6432:MACHINE\\SOFTWARE\\B\\Root",
                                L"SOFTWARE\\A\\Root", L"Root", L""}) {
        EXPECT_THROW(ReadRegistryValue(path), IDSException);
    }
    EXPECT_THROW(EnumerateRegistryKeys(L"MACHINE\\SOFTWARE\\A"), IDSException);
    EXPECT_THROW(EnumerateRegistryValues(L"6432:MACHINE\\Nowhere"), IDSException);
}

TEST(RegistryPathText, ValuesAsText) {
    const std::tuple<std::uint32_t, std::vector<std::byte>, const wchar_t*> cases[] = {
        {1, utf16(L"text"), L"text"},
        {2, utf16(std::wstring(L"%x%\0", 4)), L"%x%"},
        {1, bytes({0x41, 0, 0x42}), L"A"},  // half a unit at the end
        {1, {}, L""},
        {3, bytes({0, 1, 0xAB}), L"0001ab"},
        {4, bytes({1, 2, 0, 0x80}), L"2147484161"},
        {4, bytes({1, 2, 0}), L"010200"},  // too short for its type
        {5, bytes({0x80, 0, 2, 1}), L"2147484161"},
        {7, utf16(std::wstring(L"a\0b\0\0", 5)), L"a\nb"},
        {11, bytes({0, 0, 0, 0, 1, 0, 0, 0}), L"4294967296"},
        {99, bytes({7}), L"07"}};
    for (const auto& [type, data, text] : cases) {
        EXPECT_EQ(RegistryValueText({L"", type, data}), text) << type;
    }
}

TEST_F(RegistryPathTest, Dumps) {
    EXPECT_EQ(DumpRegistryKey(L"6432:MACHINE\\SOFTWARE\\A"),
              L"\nNumber of subkeys: 1\n(1) sub\n"
              L"\nNumber of Values: 2\n(1) Value: Root\tData: 64\n(2) Value: Bits\tData: 0aff\n");
    EXPECT_EQ(registry_.masks, (std::vector<std::uint32_t>{265, 131353}));
    EXPECT_EQ(DumpRegistryKey(L"MACHINE\\Nowhere"),
              L"\nNumber of subkeys: 0\n\nNumber of Values: 0\n");
}

}  // namespace
}  // namespace lathwind
