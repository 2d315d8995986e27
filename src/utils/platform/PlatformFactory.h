#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "utils/platform/Accounts.h"
#include "utils/platform/Files.h"
#include "utils/platform/Host.h"
#include "utils/platform/Libraries.h"
#include "utils/platform/Processes.h"
#include "utils/platform/Registry.h"
#include "utils/platform/Supervision.h"
#include "utils/platform/Threading.h"
#include "utils/platform/Volumes.h"

namespace lathwind {

class CachedLookup;      // utils/CachedLookup.h
class FileUtility;       // utils/FileUtility.h
class MessageCatalogue;  // utils/MessageCatalogue.h
class ProcessObject;     // utils/ProcessObject.h

// The one table through which the logic reaches the platform. It is defined once, by the platform
// target that is linked in, and is constant-initialised, so that static constructors may use it.
// The services live for the whole process; the created objects belong to the caller.
struct PlatformFactory {
    // Services.
    platform::Files& (*files)() = nullptr;
    platform::Volumes& (*volumes)() = nullptr;
    platform::Registry& (*registry)() = nullptr;
    platform::Accounts& (*accounts)() = nullptr;
    platform::Processes& (*processes)() = nullptr;
    platform::Host& (*host)() = nullptr;
    platform::Libraries& (*libraries)() = nullptr;
    platform::Supervision& (*supervision)() = nullptr;

    // Objects.
    std::unique_ptr<MessageCatalogue> (*createMessageCatalogue)() = nullptr;
    std::unique_ptr<Lock> (*createLock)() = nullptr;
    std::unique_ptr<CachedLookup> (*createLookup)() = nullptr;
    std::unique_ptr<ProcessObject> (*createProcess)(std::uint32_t processId) = nullptr;
    std::unique_ptr<Thread> (*createThread)(Runnable& runnable) = nullptr;
    // An empty name makes an anonymous event. A named one is shared between processes and open to
    // the system account and the administrators only. Throws IDSException on failure.
    std::unique_ptr<Event> (*createEvent)(const std::wstring& name) = nullptr;
    std::unique_ptr<FileUtility> (*createFileUtility)() = nullptr;

    // Set by the agent's main module: signalled when a thread died of an exception. Null while
    // nobody waits for it.
    Event* exitEvent = nullptr;
};

extern constinit PlatformFactory platformFactory;

namespace platform {
inline Files& files() {
    return platformFactory.files();
}
inline Volumes& volumes() {
    return platformFactory.volumes();
}
inline Registry& registry() {
    return platformFactory.registry();
}
inline Accounts& accounts() {
    return platformFactory.accounts();
}
inline Processes& processes() {
    return platformFactory.processes();
}
inline Host& host() {
    return platformFactory.host();
}
inline Libraries& libraries() {
    return platformFactory.libraries();
}
inline Supervision& supervision() {
    return platformFactory.supervision();
}
}  // namespace platform

}  // namespace lathwind
