#include "utils/platform/PlatformFactory.h"

#include "utils/windows/WinServices.h"

namespace lathwind {

constinit PlatformFactory platformFactory = {
    .files = windows::files,
    .volumes = windows::volumes,
    .registry = windows::registry,
    .accounts = windows::accounts,
    .processes = windows::processes,
    .host = windows::host,
    .libraries = windows::libraries,
    .createMessageCatalogue = windows::makeResourceCatalogue,
    .createLock = windows::makeLock,
    .createThread = windows::makeThread,
    .createEvent = windows::makeEvent,
};

}  // namespace lathwind
