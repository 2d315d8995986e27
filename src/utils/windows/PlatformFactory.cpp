#include "utils/platform/PlatformFactory.h"

#include "utils/CachedLookup.h"
#include "utils/FileUtility.h"
#include "utils/ProcessObject.h"
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
    .supervision = windows::supervision,
    .createMessageCatalogue = windows::makeResourceCatalogue,
    .createLock = windows::makeLock,
    .createLookup = makeCachedLookup,
    .createProcess = makeProcessObject,
    .createThread = windows::makeThread,
    .createEvent = windows::makeEvent,
    .createFileUtility = makeFileUtility,
    .exitEvent = nullptr,
};

}  // namespace lathwind
