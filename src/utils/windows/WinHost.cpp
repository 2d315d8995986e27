#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "utils/windows/CodePage.h"
#include "utils/windows/LocalClock.h"
#include "utils/windows/TextOutput.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using platform::ErrorCode;
using platform::ServiceState;

constexpr std::size_t kHostNameBytes = 1024;

// The socket library, started for one question.
class Sockets {
public:
    Sockets() : code_(static_cast<ErrorCode>(::WSAStartup(MAKEWORD(1, 1), &data_))) {}
    ~Sockets() {
        if (code_ == ERROR_SUCCESS) {
            ::WSACleanup();
        }
    }
    Sockets(const Sockets&) = delete;
    Sockets& operator=(const Sockets&) = delete;
    ErrorCode code() const { return code_; }

private:
    WSADATA data_{};
    const ErrorCode code_;
};

ErrorCode socketError() {
    return static_cast<ErrorCode>(::WSAGetLastError());
}

// Between a Sockets' construction and its end.
ErrorCode narrowHostName(char (&name)[kHostNameBytes]) {
    return ::gethostname(name, kHostNameBytes) == 0 ? ERROR_SUCCESS : socketError();
}

ErrorCode firstAddress(const char* name, std::wstring& dotted) {
    const hostent* entry = ::gethostbyname(name);
    if (entry == nullptr) {
        return socketError();
    }
    if (entry->h_addrtype != AF_INET || entry->h_addr_list[0] == nullptr) {
        return WSANO_DATA;
    }
    in_addr address{};
    std::memcpy(&address, entry->h_addr_list[0], sizeof address);
    dotted = widenFromCodePage(::inet_ntoa(address));
    return ERROR_SUCCESS;
}

using DisableRedirection = BOOL(WINAPI*)(void**);
using RevertRedirection = BOOL(WINAPI*)(void*);

class WinHost final : public platform::Host {
public:
    std::wstring widen(std::string_view bytes) override { return widenFromCodePage(bytes); }

    std::string narrow(std::wstring_view text) override {
        std::string bytes;
        appendToCodePage(bytes, text);
        return bytes;
    }

    std::wstring errorText(ErrorCode code) override;
    std::wstring errnoText(int number) override;
    void setLastError(ErrorCode code) override { ::SetLastError(code); }
    ErrorCode lastError() override { return ::GetLastError(); }

    ErrorCode osVersion(bool extendedForm, platform::OsVersion& version) override;
    bool isWow64Process() override;
    std::wstring windowsDirectory() override;
    ErrorCode environment(const std::wstring& name, std::wstring& value) override;
    ErrorCode hostName(std::wstring& name) override;
    ErrorCode ipAddress(std::wstring& dotted) override;
    ServiceState serviceState(const std::wstring& name) override;
    ErrorCode disableFsRedirection(void*& cookie) override;
    ErrorCode revertFsRedirection(void* cookie) override;

    std::int64_t currentTimeMs() override { return systemTimeMs(); }
    std::int64_t bootTime() override { return (systemTimeMs() - steadyTimeMs()) / 1000; }
    std::int64_t steadyTimeMs() override { return static_cast<std::int64_t>(::GetTickCount64()); }
    void sleepMs(std::uint32_t milliseconds) override { ::Sleep(milliseconds); }
    platform::TimeZoneFacts timeZone() override { return localZone(); }
    bool isDaylightAt(std::int64_t utcSeconds, std::int32_t& biasMinutes) override {
        return isLocalDaylight(utcSeconds, biasMinutes);
    }

    bool writeOutput(std::wstring_view text) override { return output_.write(text); }
    bool writeError(std::wstring_view text) override {
        output_.flush();  // where both go to one place, the error comes behind what led to it
        return error_.write(text);
    }
    bool flushOutput() override { return output_.flush(); }
    bool isErrorTerminal() override { return error_.isConsole(); }

private:
    TextOutput output_{STD_OUTPUT_HANDLE, true};
    TextOutput error_{STD_ERROR_HANDLE, false};
};

std::wstring WinHost::errorText(ErrorCode code) {
    UniqueLocal<LPWSTR> buffer;
    const DWORD units = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<LPWSTR>(buffer.put()), 0, nullptr);
    if (units == 0) {
        return L"Unknown error " + std::to_wstring(code);
    }
    const std::wstring_view text(buffer.get(), units);
    return std::wstring(text.substr(0, text.find_last_not_of(L"\r\n ") + 1));
}

std::wstring WinHost::errnoText(int number) {
    const wchar_t* text = ::_wcserror(number);
    return text != nullptr ? text : L"Unknown error";
}

ErrorCode WinHost::osVersion(bool extendedForm, platform::OsVersion& version) {
    OSVERSIONINFOEXW facts{};
    facts.dwOSVersionInfoSize = extendedForm ? sizeof(OSVERSIONINFOEXW) : sizeof(OSVERSIONINFOW);
    if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&facts))) {
        return ::GetLastError();
    }
    version = {facts.dwPlatformId, facts.dwMajorVersion, facts.dwMinorVersion};
    return ERROR_SUCCESS;
}

bool WinHost::isWow64Process() {
    using Ask = BOOL(WINAPI*)(HANDLE, BOOL*);
    const auto ask = entryPoint<Ask>(L"kernel32", "IsWow64Process");
    BOOL answer = FALSE;
    return ask != nullptr && ask(::GetCurrentProcess(), &answer) && answer;
}

std::wstring WinHost::windowsDirectory() {
    wchar_t buffer[MAX_PATH + 1] = {};
    const UINT units = ::GetWindowsDirectoryW(buffer, MAX_PATH + 1);
    return units <= MAX_PATH ? std::wstring(buffer, units) : std::wstring();
}

ErrorCode WinHost::environment(const std::wstring& name, std::wstring& value) {
    std::wstring text(128, L'\0');
    for (;;) {
        ::SetLastError(ERROR_SUCCESS);  // an empty value gives 0 without touching it
        const DWORD units =
            ::GetEnvironmentVariableW(name.c_str(), text.data(), static_cast<DWORD>(text.size()));
        if (units == 0 && ::GetLastError() != ERROR_SUCCESS) {
            const DWORD code = ::GetLastError();
            return code == ERROR_ENVVAR_NOT_FOUND ? ERROR_FILE_NOT_FOUND : code;
        }
        const bool fits = units < text.size();
        text.resize(units);
        if (fits) {
            value = std::move(text);
            return ERROR_SUCCESS;
        }
    }
}

ErrorCode WinHost::hostName(std::wstring& name) {
    const Sockets sockets;
    char buffer[kHostNameBytes] = {};
    ErrorCode code = sockets.code();
    if (code == ERROR_SUCCESS) {
        code = narrowHostName(buffer);
    }
    if (code == ERROR_SUCCESS) {
        name = widenFromCodePage(buffer);
    }
    return code;
}

ErrorCode WinHost::ipAddress(std::wstring& dotted) {
    const Sockets sockets;
    char buffer[kHostNameBytes] = {};
    ErrorCode code = sockets.code();
    if (code == ERROR_SUCCESS) {
        code = narrowHostName(buffer);
    }
    return code == ERROR_SUCCESS ? firstAddress(buffer, dotted) : code;
}

ServiceState WinHost::serviceState(const std::wstring& name) {
    const UniqueService manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        return ServiceState::Unknown;
    }
    const UniqueService service(::OpenServiceW(manager.get(), name.c_str(), SERVICE_QUERY_STATUS));
    SERVICE_STATUS status{};
    if (!service || !::QueryServiceStatus(service.get(), &status)) {
        return ServiceState::Unknown;
    }
    switch (status.dwCurrentState) {
        case SERVICE_STOPPED:
            return ServiceState::Stopped;
        case SERVICE_RUNNING:
            return ServiceState::Running;
        default:
            return ServiceState::Other;
    }
}

ErrorCode WinHost::disableFsRedirection(void*& cookie) {
    static const auto disable =
        entryPoint<DisableRedirection>(L"kernel32", "Wow64DisableWow64FsRedirection");
    return disable == nullptr ? ERROR_CALL_NOT_IMPLEMENTED : resultOf(disable(&cookie));
}

ErrorCode WinHost::revertFsRedirection(void* cookie) {
    static const auto revert =
        entryPoint<RevertRedirection>(L"kernel32", "Wow64RevertWow64FsRedirection");
    return revert == nullptr ? ERROR_CALL_NOT_IMPLEMENTED : resultOf(revert(cookie));
}

WinHost& makeHost() {
    auto& service = *new WinHost;
    // What a program has written goes out also when it forgets to flush.
    std::atexit([] { host().flushOutput(); });
    return service;
}

}  // namespace

platform::Host& host() {
    static auto& service = makeHost();
    return service;
}

}  // namespace lathwind::windows
