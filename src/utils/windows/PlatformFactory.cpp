#include "utils/platform/PlatformFactory.h"

#include "utils/windows/WinServices.h"

namespace lathwind {

constinit PlatformFactory platformFactory = {
    .createLock = windows::makeLock,
    .createThread = windows::makeThread,
    .createEvent = windows::makeEvent,
};

}  // namespace lathwind
