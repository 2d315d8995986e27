#include "utils/ThreadBody.h"

#include "utils/Exceptions.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr int kUnexpectedErrorRow = 118;
constexpr int kUnexpectedErrorWithReasonRow = 199;
constexpr std::uint32_t kPauseMs = 1000;

std::atomic<bool> exitForced{false};

}  // namespace

void runThreadBody(Runnable& runnable, const std::wstring& name, std::atomic<bool>& running) {
    running = true;
    try {
        runnable.run();
        running = false;
    } catch (const IDSException& exception) {
        running = false;
        logCatalogued(Severity::Error, ModuleId::Utils, kUnexpectedErrorWithReasonRow, name,
                      exception.message);
        platform::host().sleepMs(kPauseMs);
        if (platformFactory.exitEvent == nullptr) {
            throw;
        }
        platformFactory.exitEvent->set();
    } catch (...) {
        running = false;
        logCatalogued(Severity::Error, ModuleId::Utils, kUnexpectedErrorRow, name);
        platform::host().sleepMs(kPauseMs);
        if (platformFactory.exitEvent == nullptr) {
            throw;
        }
        exitForced = true;
        platformFactory.exitEvent->set();
    }
}

bool isExitForced() noexcept {
    return exitForced;
}

}  // namespace lathwind
