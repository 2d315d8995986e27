#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "utils/Text.h"
#include "utils/platform/Registry.h"

namespace lathwind::testing {

// A value's data: UTF-16 as it stands, without a terminator.
inline std::vector<std::byte> utf16(std::wstring_view text) {
    std::vector<std::byte> data;
    for (const wchar_t unit : text) {
        data.push_back(static_cast<std::byte>(unit & 0xFF));
        data.push_back(static_cast<std::byte>(unit >> 8 & 0xFF));
    }
    return data;
}

// Keys of HKEY_LOCAL_MACHINE in two views, told apart by the access mask's bit. Like the real one
// it does not mind the case of a key.
class FakeRegistry : public platform::Registry {
public:
    using Key = std::pair<bool, std::wstring>;  // 64-bit view, path in lower case
    std::map<Key, std::vector<platform::RegistryValue>> keys;
    std::vector<std::uint32_t> masks;

    platform::ErrorCode queryValue(platform::RegistryHive hive, const std::wstring& key,
                                   const std::wstring& name, std::uint32_t access,
                                   std::size_t limit, platform::RegistryValue& value) override {
        std::vector<platform::RegistryValue> values;
        const platform::ErrorCode code = enumerateValues(hive, key, access, values);
        for (const platform::RegistryValue& candidate : values) {
            if (candidate.name == name) {
                if (limit != 0 && candidate.data.size() > limit) {
                    return platform::error::MoreData;
                }
                value = candidate;
                return platform::error::Success;
            }
        }
        return code != 0 ? code : platform::error::FileNotFound;
    }
    platform::ErrorCode enumerateKeys(platform::RegistryHive, const std::wstring& key,
                                      std::uint32_t access,
                                      std::vector<std::wstring>& names) override {
        masks.push_back(access);
        for (const auto& [path, values] : keys) {
            if (path.first == isBits64(access) && path.second.starts_with(toLower(key) + L"\\")) {
                names.push_back(path.second.substr(key.size() + 1));
            }
        }
        return names.empty() ? platform::error::FileNotFound : platform::error::Success;
    }
    platform::ErrorCode enumerateValues(platform::RegistryHive hive, const std::wstring& key,
                                        std::uint32_t access,
                                        std::vector<platform::RegistryValue>& values) override {
        masks.push_back(access);
        const auto found = keys.find({isBits64(access), toLower(key)});
        if (hive != platform::RegistryHive::LocalMachine || found == keys.end()) {
            return platform::error::FileNotFound;
        }
        values = found->second;
        return platform::error::Success;
    }

private:
    static bool isBits64(std::uint32_t access) { return (access & 0x100) != 0; }
};

}  // namespace lathwind::testing
