#include <algorithm>

#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using platform::ErrorCode;
using platform::RegistryHive;
using platform::RegistryValue;

constexpr DWORD kLongestKeyName = 255;      // units, by the system's own limit
constexpr DWORD kLongestValueName = 16383;  // likewise
constexpr DWORD kFirstDataSize = 1024;

ErrorCode resultOfStatus(LSTATUS status) {
    return static_cast<ErrorCode>(status);
}

ErrorCode openKey(RegistryHive hive, const std::wstring& key, std::uint32_t access,
                  UniqueKey& handle) {
    const HKEY root = hive == RegistryHive::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    return resultOfStatus(::RegOpenKeyExW(root, key.c_str(), 0, access, handle.put()));
}

// Calls `read(data, size)` with a growing buffer while the answer is MoreData, since a value may
// grow between two calls. With a limit there is one call.
template <class Read>
ErrorCode readData(std::size_t limit, std::vector<std::byte>& data, Read read) {
    data.resize(limit != 0 ? limit : kFirstDataSize);
    for (;;) {
        auto size = static_cast<DWORD>(data.size());
        const ErrorCode code = read(reinterpret_cast<BYTE*>(data.data()), size);
        if (code == ERROR_MORE_DATA && limit == 0) {
            data.resize(std::max<std::size_t>(size, data.size() * 2));
            continue;
        }
        data.resize(code == ERROR_SUCCESS ? size : 0);
        return code;
    }
}

// `room` takes the name while it is read, so that a value keeps no more than its own.
ErrorCode enumerateValue(HKEY key, DWORD index, std::wstring& room, RegistryValue& value) {
    return readData(0, value.data, [&](BYTE* data, DWORD& size) {
        auto length = static_cast<DWORD>(room.size());
        DWORD type = 0;
        const LSTATUS status =
            ::RegEnumValueW(key, index, room.data(), &length, nullptr, &type, data, &size);
        if (status == ERROR_SUCCESS) {
            value.name.assign(room, 0, length);
            value.type = type;
        }
        return resultOfStatus(status);
    });
}

class WinRegistry final : public platform::Registry {
public:
    ErrorCode queryValue(RegistryHive hive, const std::wstring& key, const std::wstring& name,
                         std::uint32_t access, std::size_t limit, RegistryValue& value) override {
        UniqueKey handle;
        if (const ErrorCode code = openKey(hive, key, access, handle); code != ERROR_SUCCESS) {
            return code;
        }
        value.name = name;
        return readData(limit, value.data, [&](BYTE* data, DWORD& size) {
            DWORD type = 0;
            const LSTATUS status =
                ::RegQueryValueExW(handle.get(), name.c_str(), nullptr, &type, data, &size);
            value.type = type;
            return resultOfStatus(status);
        });
    }

    ErrorCode enumerateKeys(RegistryHive hive, const std::wstring& key, std::uint32_t access,
                            std::vector<std::wstring>& names) override {
        names.clear();
        UniqueKey handle;
        ErrorCode code = openKey(hive, key, access, handle);
        for (DWORD index = 0; code == ERROR_SUCCESS; ++index) {
            wchar_t name[kLongestKeyName + 1];
            DWORD length = kLongestKeyName + 1;
            code = resultOfStatus(::RegEnumKeyExW(handle.get(), index, name, &length, nullptr,
                                                  nullptr, nullptr, nullptr));
            if (code == ERROR_SUCCESS) {
                names.emplace_back(name, length);
            }
        }
        return code == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : code;
    }

    ErrorCode enumerateValues(RegistryHive hive, const std::wstring& key, std::uint32_t access,
                              std::vector<RegistryValue>& values) override {
        values.clear();
        UniqueKey handle;
        ErrorCode code = openKey(hive, key, access, handle);
        std::wstring room(kLongestValueName + 1, L'\0');
        for (DWORD index = 0; code == ERROR_SUCCESS; ++index) {
            RegistryValue value;
            code = enumerateValue(handle.get(), index, room, value);
            if (code == ERROR_SUCCESS) {
                values.push_back(std::move(value));
            }
        }
        return code == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : code;
    }
};

}  // namespace

platform::Registry& registry() {
    static auto& service = *new WinRegistry;
    return service;
}

}  // namespace lathwind::windows
