#include <gtest/gtest.h>

#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using platform::RegistryHive;
using platform::RegistryValue;
namespace access = platform::registryAccess;
namespace error = platform::error;

// A key of its own for one test, removed with all that is below it.
class WinRegistry : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(HKEY_CURRENT_USER, path_.c_str(), 0, nullptr, 0,
                                                   KEY_ALL_ACCESS, nullptr, key_.put(), nullptr));
    }
    void TearDown() override {
        key_.reset();
        ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
    }
    void put(const wchar_t* name, DWORD type, const void* data, std::size_t size) {
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegSetValueExW(key_.get(), name, 0, type, static_cast<const BYTE*>(data),
                                   static_cast<DWORD>(size)));
    }
    platform::ErrorCode query(const wchar_t* name, std::size_t limit, RegistryValue& value) {
        return registry().queryValue(RegistryHive::CurrentUser, path_, name, access::Read, limit,
                                     value);
    }

    const std::wstring path_ =
        L"Software\\Lathwind test " + std::to_wstring(::GetCurrentProcessId());
    UniqueKey key_;
};

TEST_F(WinRegistry, ValuesComeBackWhateverTheirSize) {
    for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 70000U}) {
        const std::vector<std::byte> bytes(size, std::byte{0x5A});
        put(L"blob", REG_BINARY, bytes.data(), bytes.size());
        RegistryValue value;
        ASSERT_EQ(error::Success, query(L"blob", 0, value)) << size;
        EXPECT_EQ(std::uint32_t{REG_BINARY}, value.type);
        EXPECT_EQ(bytes, value.data) << size;
    }
}

TEST_F(WinRegistry, LimitRefusesOneByteMore) {
    const std::vector<std::byte> bytes(260);
    put(L"fits", REG_SZ, bytes.data(), 260);
    put(L"larger", REG_SZ, bytes.data(), 259);
    RegistryValue value;
    EXPECT_EQ(error::Success, query(L"fits", 260, value));
    EXPECT_EQ(260U, value.data.size());
    EXPECT_EQ(error::MoreData, query(L"larger", 258, value));
    EXPECT_EQ(error::FileNotFound, query(L"none", 260, value));
    EXPECT_EQ(error::FileNotFound, registry().queryValue(RegistryHive::LocalMachine, path_, L"fits",
                                                         access::QueryValue, 0, value));
}

TEST_F(WinRegistry, EnumeratesKeysAndValues) {
    const DWORD number = 7;
    const std::vector<std::byte> large(5000, std::byte{1});
    put(L"", REG_DWORD, &number, sizeof number);
    put(L"large", REG_BINARY, large.data(), large.size());
    const std::wstring longName(255, L'k');
    for (const std::wstring& name : {std::wstring(L"a"), longName}) {
        UniqueKey child;
        ASSERT_EQ(ERROR_SUCCESS, ::RegCreateKeyExW(key_.get(), name.c_str(), 0, nullptr, 0,
                                                   KEY_ALL_ACCESS, nullptr, child.put(), nullptr));
    }
    std::vector<std::wstring> keys;
    EXPECT_EQ(error::Success,
              registry().enumerateKeys(RegistryHive::CurrentUser, path_, access::Enumerate, keys));
    EXPECT_EQ((std::vector<std::wstring>{L"a", longName}), keys);
    std::vector<RegistryValue> values;
    EXPECT_EQ(error::Success,
              registry().enumerateValues(RegistryHive::CurrentUser, path_, access::Read, values));
    ASSERT_EQ(2U, values.size());
    EXPECT_EQ(L"", values[0].name);
    EXPECT_EQ(std::uint32_t{REG_DWORD}, values[0].type);
    EXPECT_EQ(4U, values[0].data.size());
    EXPECT_EQ(L"large", values[1].name);
    EXPECT_EQ(large, values[1].data);
    EXPECT_EQ(error::FileNotFound,
              registry().enumerateKeys(RegistryHive::CurrentUser, path_ + L"\\none",
                                       access::Enumerate, keys));
}

}  // namespace
}  // namespace lathwind::windows
