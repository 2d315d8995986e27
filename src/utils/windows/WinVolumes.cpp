#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using platform::DriveType;
using platform::ErrorCode;

constexpr DWORD kPathUnits = MAX_PATH + 1;
constexpr DWORD kDeviceUnits = 522;

// Keeps the system from asking the user for a medium while this thread looks at a drive without.
class NoMediaDialog {
public:
    NoMediaDialog() { ::SetThreadErrorMode(SEM_FAILCRITICALERRORS, &former_); }
    ~NoMediaDialog() { ::SetThreadErrorMode(former_, nullptr); }
    NoMediaDialog(const NoMediaDialog&) = delete;
    NoMediaDialog& operator=(const NoMediaDialog&) = delete;

private:
    DWORD former_ = 0;
};

// `buffer` is a list of zero-terminated texts that ends with an empty one.
void splitList(const wchar_t* buffer, std::vector<std::wstring>& list) {
    while (*buffer != L'\0') {
        list.emplace_back(buffer);
        buffer += list.back().size() + 1;
    }
}

class WinVolumes final : public platform::Volumes {
public:
    ErrorCode drives(std::vector<std::wstring>& roots) override {
        roots.clear();
        std::wstring buffer(kPathUnits, L'\0');
        const auto room = [&] { return static_cast<DWORD>(buffer.size()) - 1; };
        DWORD length = ::GetLogicalDriveStringsW(room(), buffer.data());
        while (length > room()) {
            buffer.resize(length + 1);
            length = ::GetLogicalDriveStringsW(room(), buffer.data());
        }
        if (length == 0) {
            return ::GetLastError();
        }
        splitList(buffer.c_str(), roots);
        return ERROR_SUCCESS;
    }

    ErrorCode mountPoints(const std::wstring& root, std::vector<std::wstring>& points) override {
        points.clear();
        const NoMediaDialog quiet;
        wchar_t point[kPathUnits];
        const UniqueVolumeMountPoint search(
            validHandle(::FindFirstVolumeMountPointW(root.c_str(), point, kPathUnits)));
        BOOL found = static_cast<bool>(search);
        while (found) {
            points.emplace_back(point);
            found = ::FindNextVolumeMountPointW(search.get(), point, kPathUnits);
        }
        const DWORD code = ::GetLastError();
        return code == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : code;
    }

    ErrorCode volumeName(const std::wstring& mountPoint, std::wstring& name) override {
        const NoMediaDialog quiet;
        wchar_t buffer[kPathUnits] = {};
        const DWORD code =
            resultOf(::GetVolumeNameForVolumeMountPointW(mountPoint.c_str(), buffer, kPathUnits));
        return deliver(code, buffer, name);
    }

    ErrorCode dosDevice(const std::wstring& device, std::wstring& target) override {
        wchar_t buffer[kDeviceUnits] = {};
        const DWORD code = resultOf(::QueryDosDeviceW(device.c_str(), buffer, kDeviceUnits) != 0);
        return deliver(code, buffer, target);
    }

    ErrorCode information(const std::wstring& volume, platform::VolumeInformation& facts) override {
        const NoMediaDialog quiet;
        wchar_t label[kPathUnits] = {};
        wchar_t fileSystem[kPathUnits] = {};
        DWORD serialNumber = 0;
        DWORD flags = 0;
        if (!::GetVolumeInformationW(volume.c_str(), label, kPathUnits, &serialNumber, nullptr,
                                     &flags, fileSystem, kPathUnits)) {
            return ::GetLastError();
        }
        facts = {label, fileSystem, serialNumber, flags};
        return ERROR_SUCCESS;
    }

    DriveType driveType(const std::wstring& root) override {
        return static_cast<DriveType>(::GetDriveTypeW(root.c_str()));
    }

    ErrorCode universalName(const std::wstring& path, std::wstring& name) override {
        std::vector<std::byte> buffer(sizeof(UNIVERSAL_NAME_INFOW) + kPathUnits * sizeof(wchar_t));
        DWORD code = ERROR_MORE_DATA;
        for (int attempt = 0; code == ERROR_MORE_DATA && attempt < 2; ++attempt) {
            auto size = static_cast<DWORD>(buffer.size());
            code = ::WNetGetUniversalNameW(path.c_str(), UNIVERSAL_NAME_INFO_LEVEL, buffer.data(),
                                           &size);
            if (code == ERROR_MORE_DATA) {
                buffer.resize(size);
            }
        }
        if (code == ERROR_SUCCESS) {
            name = reinterpret_cast<const UNIVERSAL_NAME_INFOW*>(buffer.data())->lpUniversalName;
        }
        return code;
    }

    ErrorCode volumePath(const std::wstring& path, std::wstring& root) override {
        const NoMediaDialog quiet;
        wchar_t buffer[kPathUnits] = {};
        const DWORD code = resultOf(::GetVolumePathNameW(path.c_str(), buffer, kPathUnits));
        return deliver(code, buffer, root);
    }

    // The system takes folders only.
    ErrorCode space(const std::wstring& path, platform::VolumeSpace& space) override {
        std::wstring root;
        const ErrorCode code = volumePath(path, root);
        if (code != ERROR_SUCCESS) {
            return code;
        }
        const NoMediaDialog quiet;
        ULARGE_INTEGER free = {};
        ULARGE_INTEGER total = {};
        const DWORD result = resultOf(::GetDiskFreeSpaceExW(root.c_str(), &free, &total, nullptr));
        if (result == ERROR_SUCCESS) {
            space = {total.QuadPart, free.QuadPart};
        }
        return result;
    }

private:
    static ErrorCode deliver(DWORD code, const wchar_t* text, std::wstring& target) {
        if (code == ERROR_SUCCESS) {
            target = text;
        }
        return code;
    }
};

}  // namespace

platform::Volumes& volumes() {
    static auto& service = *new WinVolumes;
    return service;
}

}  // namespace lathwind::windows
