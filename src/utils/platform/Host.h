#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "utils/platform/Errors.h"

// The machine, the process's surroundings, text of the system code page, the clock, the console.
namespace lathwind::platform {

// The families that a version is counted in.
namespace osPlatform {
inline constexpr std::uint32_t Linux = 0;  // the version is the kernel's
inline constexpr std::uint32_t WindowsNt = 2;
}  // namespace osPlatform

struct OsVersion {
    std::uint32_t platform = 0;
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
};

// Biases in minutes, with UTC = local time + bias (so zones east of Greenwich are negative).
struct TimeZoneFacts {
    std::int32_t standardBias = 0;
    std::int32_t daylightBias = 0;
    std::wstring standardName;
    std::wstring daylightName;
};

enum class ServiceState : std::uint32_t { Unknown = 0, Stopped = 1, Running = 4, Other = 0xFFFF };

class Host {
public:
    virtual ~Host() = default;

    // Text of the system code page. Never fails: what has no counterpart is replaced.
    virtual std::wstring widen(std::string_view bytes) = 0;
    virtual std::string narrow(std::wstring_view text) = 0;

    // The system's words for an error number, without a trailing line end; for errno likewise.
    virtual std::wstring errorText(ErrorCode code) = 0;
    virtual std::wstring errnoText(int number) = 0;
    // The calling thread's last error, GetLastError's manner.
    virtual void setLastError(ErrorCode code) = 0;
    virtual ErrorCode lastError() = 0;

    virtual ErrorCode osVersion(bool extendedForm, OsVersion& version) = 0;
    // Is this a 32-bit process on a 64-bit system? False where that cannot be asked.
    virtual bool isWow64Process() = 0;
    virtual std::wstring windowsDirectory() = 0;  // empty where there is none
    // FileNotFound for an unset variable.
    virtual ErrorCode environment(const std::wstring& name, std::wstring& value) = 0;
    virtual ErrorCode hostName(std::wstring& name) = 0;
    // One IPv4 address of the host.
    virtual ErrorCode ipAddress(std::wstring& dotted) = 0;
    virtual ServiceState serviceState(const std::wstring& name) = 0;

    // Wow64DisableWow64FsRedirection and its revert; CallNotImplemented where they are absent.
    virtual ErrorCode disableFsRedirection(void*& cookie) = 0;
    virtual ErrorCode revertFsRedirection(void* cookie) = 0;

    // Milliseconds since 1970-01-01, universal time.
    virtual std::int64_t currentTimeMs() = 0;
    // Seconds since 1970 at which the system was started; 0 where that cannot be told.
    virtual std::int64_t bootTime() = 0;
    // Milliseconds of a clock that never goes back.
    virtual std::int64_t steadyTimeMs() = 0;
    virtual void sleepMs(std::uint32_t milliseconds) = 0;
    virtual TimeZoneFacts timeZone() = 0;
    // Is daylight time in force in the local zone at that second of universal time, and how many
    // minutes is universal time ahead of local time then?
    virtual bool isDaylightAt(std::int64_t utcSeconds, std::int32_t& biasMinutes) = 0;

    // Standard output and error as text. Line feeds become the platform's line ends. False when
    // the write failed.
    virtual bool writeOutput(std::wstring_view text) = 0;
    virtual bool writeError(std::wstring_view text) = 0;
    virtual bool flushOutput() = 0;
    virtual bool isErrorTerminal() = 0;
};

}  // namespace lathwind::platform
