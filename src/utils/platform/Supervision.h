#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "utils/platform/Errors.h"

// What stands above a program that runs for long: whoever asks it to stop, the service manager, and
// the rule that there is one of it.
namespace lathwind::platform {

enum class StopReason { Interrupt, Termination, ConsoleClosed, Logoff, Shutdown, ServiceStop };

enum class StopAnswer {
    Ignore,    // the program goes on
    Stop,      // the program is going to end
    HoldOpen,  // likewise; the system ends the process when it has the answer, so it gets none
};

class StopListener {
public:
    virtual ~StopListener() = default;
    // On a thread of the platform, one at a time. Returns at once.
    virtual StopAnswer onStopRequest(StopReason reason) = 0;
};

enum class ServiceStage { Starting, Running, Stopping };

struct ServiceReport {
    ServiceStage stage = ServiceStage::Starting;
    std::uint32_t checkpoint = 0;  // counts the reports of one stage that is under way
    std::uint32_t waitHintMs = 0;  // the next report, or the end of the stage, comes within
};

struct ServiceDefinition {
    std::wstring name;
    std::wstring displayName;
    std::wstring description;
    std::wstring commandLine;  // program and words, quoted as the system reads them
};

// Held as long as the object lives, and no longer than the process.
class InstanceLock {
public:
    virtual ~InstanceLock() = default;
};

class Supervision {
public:
    virtual ~Supervision() = default;

    // Has `listener` told of requests to stop, instead of the process being ended by them. Null
    // puts the former manner back; no call is under way then. A request that the process was
    // started to ignore stays ignored.
    virtual ErrorCode listen(StopListener* listener) = 0;

    // Tells the service manager how far the program is. Nothing happens without one. Any thread.
    virtual void report(const ServiceReport& report) = 0;

    // Runs `body` as the service of that name, and returns when it has ended, which the manager is
    // told together with the body's result: 0, or an error number of the program's own.
    // ServiceControllerConnect if this process was not started by the manager.
    virtual ErrorCode runService(const std::wstring& name,
                                 const std::function<std::uint32_t()>& body) = 0;
    // CallNotImplemented where services are not registered by programs.
    virtual ErrorCode installService(const ServiceDefinition& definition) = 0;
    // A running service is told to stop, and is gone when it has.
    virtual ErrorCode removeService(const std::wstring& name) = 0;

    // Locks the file, which is made if need be and then holds the process's id as text; others may
    // read it. SharingViolation while another process has it locked.
    virtual ErrorCode lockInstance(const std::wstring& path,
                                   std::unique_ptr<InstanceLock>& lock) = 0;
};

}  // namespace lathwind::platform
