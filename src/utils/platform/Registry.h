#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "utils/platform/Errors.h"

// The registry. Linux has none: every operation there answers FileNotFound. A list that is handed
// in is emptied first.
namespace lathwind::platform {

enum class RegistryHive { LocalMachine, CurrentUser };

namespace registryAccess {
inline constexpr std::uint32_t Enumerate = 9;
inline constexpr std::uint32_t Enumerate64 = 265;
inline constexpr std::uint32_t Read = 131097;
inline constexpr std::uint32_t Read64 = 131353;
inline constexpr std::uint32_t QueryValue = 1;
}  // namespace registryAccess

struct RegistryValue {
    std::wstring name;
    std::uint32_t type = 0;  // REG_SZ 1, REG_EXPAND_SZ 2, REG_BINARY 3, REG_DWORD 4, ...
    std::vector<std::byte> data;
};

class Registry {
public:
    virtual ~Registry() = default;
    // One value's raw data. `limit` is the largest size in bytes to accept, 0 for any; a larger
    // value fails with MoreData.
    virtual ErrorCode queryValue(RegistryHive hive, const std::wstring& key,
                                 const std::wstring& name, std::uint32_t access, std::size_t limit,
                                 RegistryValue& value) = 0;
    virtual ErrorCode enumerateKeys(RegistryHive hive, const std::wstring& key,
                                    std::uint32_t access, std::vector<std::wstring>& names) = 0;
    virtual ErrorCode enumerateValues(RegistryHive hive, const std::wstring& key,
                                      std::uint32_t access, std::vector<RegistryValue>& values) = 0;
};

}  // namespace lathwind::platform
