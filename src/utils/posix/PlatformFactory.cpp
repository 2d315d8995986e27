#include "utils/platform/PlatformFactory.h"

#include "utils/CachedLookup.h"
#include "utils/FileUtility.h"
#include "utils/MessageCatalogue.h"
#include "utils/ProcessObject.h"
#include "utils/posix/Services.h"

namespace lathwind {

constinit PlatformFactory platformFactory = {
    .files = posix::files,
    .volumes = posix::volumes,
    .registry = posix::registry,
    .accounts = posix::accounts,
    .processes = posix::processes,
    .host = posix::host,
    .libraries = posix::libraries,
    .supervision = posix::supervision,
    .createMessageCatalogue = makeTableCatalogue,
    .createLock = posix::makeLock,
    .createLookup = makeCachedLookup,
    .createProcess = makeProcessObject,
    .createThread = posix::makeThread,
    .createEvent = posix::makeEvent,
    .createFileUtility = makeFileUtility,
    .exitEvent = nullptr,
};

}  // namespace lathwind
