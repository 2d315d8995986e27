#include "tools/InstallPaths.h"

#include "filewatch/LogFileProperties.h"
#include "utils/FileIO.h"
#include "utils/IniFile.h"
#include "utils/InstallLayout.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind::tool {
namespace {

constexpr std::size_t kPathBytes = 1024;
constexpr std::size_t kRegistryBytes = 260;
constexpr const wchar_t* kAgentKey = L"SOFTWARE\\Tessarin\\Galdern\\Agent";

// UTF-16 little-endian text up to its terminating zero or the end of the block.
std::wstring textOf(std::span<const std::byte> block) {
    std::wstring text;
    for (std::size_t i = 0; i + 1 < block.size(); i += 2) {
        const auto unit = static_cast<wchar_t>(std::to_integer<unsigned>(block[i]) |
                                               std::to_integer<unsigned>(block[i + 1]) << 8);
        if (unit == 0) {
            break;
        }
        text += unit;
    }
    return text;
}

InstallPaths theInstallPaths;

}  // namespace

AgentFilePointer DecodeAgentFilePointer(std::span<const std::byte, kAgentFilePointerBytes> record) {
    AgentFilePointer pointer;
    pointer.path = textOf(record.first<kPathBytes>());
    for (std::size_t i = 4; i-- > 0;) {
        pointer.offset =
            pointer.offset << 8 | std::to_integer<std::uint32_t>(record[kPathBytes + i]);
    }
    return pointer;
}

InstallPaths& installPaths() {
    return theInstallPaths;
}

InstallPaths::InstallPaths() {
    platform::RegistryValue value;
    const platform::ErrorCode code = platform::registry().queryValue(
        platform::RegistryHive::LocalMachine, kAgentKey, L"InstallRoot",
        platform::registryAccess::QueryValue, kRegistryBytes, value);
    if (code == platform::error::Success) {
        rootPath = textOf(value.data);
    }
}

std::wstring InstallPaths::GetBinPath() const {
    return binFolderOf(rootPath);
}

std::wstring InstallPaths::GetSystemPath() const {
    return systemFolderOf(rootPath);
}

std::wstring InstallPaths::GetIpsPath() const {
    return ipsFolderOf(rootPath);
}

std::wstring InstallPaths::GetServiceLogPath() const {
    return rootPath + L"\\rvmklog\\QVRIPSService.log";
}

bool InstallPaths::ReadAgentFilePointer(AgentFilePointerRecord& recordBuffer) const {
    FileIO file;
    if (!file.Open(GetIpsPath() + L"\\agentfilepointer", L"rb")) {
        return false;
    }
    std::byte skipped{};
    file.Read(&skipped, 1);
    file.Read(recordBuffer.data(), recordBuffer.size());
    file.Close();
    return true;
}

bool InstallPaths::ReadServiceLogProperties(LogFileProperties& properties) const {
    IniFile ini;
    if (!ini.load(GetSystemPath() + L"\\ipslogwatch.ini") ||
        LogFileProperties::GetEntryCount(ini) < 1) {
        return false;
    }
    return LogFileProperties::ReadFromIni(ini, properties, 1);
}

}  // namespace lathwind::tool
