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
    static const std::unique_ptr<Lock> lock = platformFactory.createLock();
    return *lock;
}

}  // namespace lathwind
