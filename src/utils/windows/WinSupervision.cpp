#include <array>
#include <atomic>
#include <string>

#include "utils/windows/SystemPath.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

// Requests to stop come from the console and from the service manager, each on threads of the
// system. There is one service a process and one listener.
namespace lathwind::windows {
namespace {

using platform::ErrorCode;
using platform::ServiceStage;
using platform::StopAnswer;
using platform::StopReason;

class WinSupervision final : public platform::Supervision {
public:
    ErrorCode listen(platform::StopListener* listener) override;
    void report(const platform::ServiceReport& report) override;
    ErrorCode runService(const std::wstring& name,
                         const std::function<std::uint32_t()>& body) override;
    ErrorCode installService(const platform::ServiceDefinition& definition) override;
    ErrorCode removeService(const std::wstring& name) override;
    ErrorCode lockInstance(const std::wstring& path,
                           std::unique_ptr<platform::InstanceLock>& lock) override;

    // False where nobody listens.
    bool ask(StopReason reason, StopAnswer& answer);
    void serve();

private:
    void setStatus(DWORD state, const platform::ServiceReport& report, std::uint32_t exitCode);

    const std::unique_ptr<Lock> lock_ = makeLock();
    platform::StopListener* listener_ GUARDED_BY(*lock_) = nullptr;
    bool hasHandler_ GUARDED_BY(*lock_) = false;

    std::wstring serviceName_;
    const std::function<std::uint32_t()>* body_ = nullptr;
    std::atomic<SERVICE_STATUS_HANDLE> status_{nullptr};
};

WinSupervision& supervisor() {
    static auto& service = *new WinSupervision;
    return service;
}

bool isReason(DWORD type, StopReason& reason) {
    switch (type) {
        case CTRL_C_EVENT:
            reason = StopReason::Interrupt;
            return true;
        case CTRL_BREAK_EVENT:
            reason = StopReason::Termination;
            return true;
        case CTRL_CLOSE_EVENT:
            reason = StopReason::ConsoleClosed;
            return true;
        case CTRL_LOGOFF_EVENT:
            reason = StopReason::Logoff;
            return true;
        case CTRL_SHUTDOWN_EVENT:
            reason = StopReason::Shutdown;
            return true;
        default:
            return false;
    }
}

// Each call comes on a thread of its own.
BOOL WINAPI onConsoleEvent(DWORD type) {
    StopReason reason{};
    StopAnswer answer{};
    if (!isReason(type, reason) || !supervisor().ask(reason, answer)) {
        return FALSE;  // the system does what it did before
    }
    if (answer == StopAnswer::HoldOpen) {
        ::Sleep(INFINITE);  // the process ends with its main thread
    }
    return TRUE;
}

DWORD WINAPI onServiceControl(DWORD control, DWORD, void*, void*) {
    StopAnswer answer{};
    switch (control) {
        case SERVICE_CONTROL_STOP:
            supervisor().ask(StopReason::ServiceStop, answer);
            return NO_ERROR;
        case SERVICE_CONTROL_SHUTDOWN:
        case SERVICE_CONTROL_PRESHUTDOWN:
            supervisor().ask(StopReason::Shutdown, answer);
            return NO_ERROR;
        case SERVICE_CONTROL_INTERROGATE:
            return NO_ERROR;
        default:
            return ERROR_CALL_NOT_IMPLEMENTED;
    }
}

void WINAPI serviceMain(DWORD, wchar_t**) {
    supervisor().serve();
}

bool WinSupervision::ask(StopReason reason, StopAnswer& answer) {
    const ScopedLock guard(*lock_);
    if (listener_ == nullptr) {
        return false;
    }
    answer = listener_->onStopRequest(reason);
    return true;
}

// The handler is never taken out again: the system would wait for its calls to return, and one that
// holds the process open does not.
ErrorCode WinSupervision::listen(platform::StopListener* listener) {
    const ScopedLock guard(*lock_);
    listener_ = listener;
    if (listener == nullptr || hasHandler_) {
        return ERROR_SUCCESS;
    }
    hasHandler_ = ::SetConsoleCtrlHandler(onConsoleEvent, TRUE) != FALSE;
    return resultOf(hasHandler_ ? TRUE : FALSE);
}

void WinSupervision::setStatus(DWORD state, const platform::ServiceReport& report,
                               std::uint32_t exitCode) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    // The manager waits longer before the shutdown than during it, and what stops may take its time
    // to save.
    status.dwControlsAccepted =
        state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_PRESHUTDOWN : 0;
    status.dwWin32ExitCode = exitCode == 0 ? NO_ERROR : ERROR_SERVICE_SPECIFIC_ERROR;
    status.dwServiceSpecificExitCode = exitCode;
    status.dwCheckPoint = report.checkpoint;
    status.dwWaitHint = report.waitHintMs;
    if (const SERVICE_STATUS_HANDLE handle = status_.load(); handle != nullptr) {
        ::SetServiceStatus(handle, &status);
    }
}

void WinSupervision::report(const platform::ServiceReport& report) {
    constexpr std::array<DWORD, 3> kStates = {SERVICE_START_PENDING, SERVICE_RUNNING,
                                              SERVICE_STOP_PENDING};
    setStatus(kStates[static_cast<std::size_t>(report.stage)], report, 0);
}

void WinSupervision::serve() {
    status_.store(::RegisterServiceCtrlHandlerExW(serviceName_.c_str(), onServiceControl, nullptr));
    if (status_.load() == nullptr) {
        return;  // nobody could stop it
    }
    const std::uint32_t exitCode = (*body_)();
    setStatus(SERVICE_STOPPED, {}, exitCode);
}

ErrorCode WinSupervision::runService(const std::wstring& name,
                                     const std::function<std::uint32_t()>& body) {
    serviceName_ = name;
    body_ = &body;
    const std::array<SERVICE_TABLE_ENTRYW, 2> table = {
        {{serviceName_.data(), serviceMain}, {nullptr, nullptr}}};
    return resultOf(::StartServiceCtrlDispatcherW(table.data()));
}

ErrorCode WinSupervision::installService(const platform::ServiceDefinition& definition) {
    const UniqueService manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE));
    if (!manager) {
        return ::GetLastError();
    }
    const UniqueService service(::CreateServiceW(
        manager.get(), definition.name.c_str(), definition.displayName.c_str(), SERVICE_ALL_ACCESS,
        SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
        definition.commandLine.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (!service) {
        return ::GetLastError();
    }
    std::wstring text = definition.description;
    SERVICE_DESCRIPTIONW description{text.data()};
    ::ChangeServiceConfig2W(service.get(), SERVICE_CONFIG_DESCRIPTION, &description);
    return ERROR_SUCCESS;
}

ErrorCode WinSupervision::removeService(const std::wstring& name) {
    const UniqueService manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager) {
        return ::GetLastError();
    }
    const UniqueService service(::OpenServiceW(manager.get(), name.c_str(), SERVICE_STOP | DELETE));
    if (!service) {
        return ::GetLastError();
    }
    SERVICE_STATUS status{};
    ::ControlService(service.get(), SERVICE_CONTROL_STOP, &status);  // it may not be running
    return resultOf(::DeleteService(service.get()));
}

class FileLock final : public platform::InstanceLock {
public:
    explicit FileLock(UniqueHandle file) : file_(std::move(file)) {}

private:
    UniqueHandle file_;
};

// The open file is the lock: nobody else may open it for writing. It goes with the process.
ErrorCode WinSupervision::lockInstance(const std::wstring& path,
                                       std::unique_ptr<platform::InstanceLock>& lock) {
    UniqueHandle file(validHandle(
        ::CreateFileW(systemPath(path).c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                      nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)));
    if (!file) {
        return ::GetLastError();
    }
    const std::string id = std::to_string(::GetCurrentProcessId()) + "\r\n";
    DWORD written = 0;
    // Only a help to people: the lock holds without it.
    ::WriteFile(file.get(), id.data(), static_cast<DWORD>(id.size()), &written, nullptr);
    lock = std::make_unique<FileLock>(std::move(file));
    return ERROR_SUCCESS;
}

}  // namespace

platform::Supervision& supervision() {
    return supervisor();
}

}  // namespace lathwind::windows
