#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace lathwind {
class LogFileProperties;
}

namespace lathwind::tool {

// The record that the prevention agent leaves behind in `agentfilepointer`: how far its own reader
// of a log had come (docs/formats/agentfilepointer.md). One byte in the file comes before it.
inline constexpr std::size_t kAgentFilePointerBytes = 4364;
using AgentFilePointerRecord = std::array<std::byte, kAgentFilePointerBytes>;

struct AgentFilePointer {
    std::wstring path;         // of the log; empty in a record that breaks off
    std::uint32_t offset = 0;  // bytes read
};

AgentFilePointer DecodeAgentFilePointer(std::span<const std::byte, kAgentFilePointerBytes> record);

// The folders and files of one installation. The root has no trailing backslash; none is removed.
class InstallPaths {
public:
    // Asks the registry for the root; empty if that has none.
    InstallPaths();

    const std::wstring& GetRootPath() const { return rootPath; }
    void SetRootPath(const std::wstring& path) { rootPath = path; }

    std::wstring GetBinPath() const;
    std::wstring GetSystemPath() const;
    std::wstring GetIpsPath() const;
    std::wstring GetServiceLogPath() const;  // the default place

    // False if there is no such file; the buffer is then untouched. A file that is too short
    // leaves the rest of the buffer as it was: the caller zeroes it first.
    bool ReadAgentFilePointer(AgentFilePointerRecord& recordBuffer) const;
    // The first entry of "ipslogwatch.ini". False, with `properties` unchanged, if there is none.
    bool ReadServiceLogProperties(LogFileProperties& properties) const;

private:
    std::wstring rootPath;
};

// The process's one object, made in static initialisation.
InstallPaths& installPaths();

}  // namespace lathwind::tool
