#include "plugins/DiffModule.h"

#include <atomic>
#include <memory>

#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

std::atomic<DiffModule*> currentModule = nullptr;

}  // namespace

DiffModule* diffModule() noexcept {
    return currentModule.load();
}

void setDiffModule(DiffModule* module) noexcept {
    currentModule.store(module);
}

Lock& diffLock() {
    // Never destroyed: a thread may still hold it while the process ends.
    static Lock& lock = *platformFactory.createLock().release();
    return lock;
}

}  // namespace lathwind
