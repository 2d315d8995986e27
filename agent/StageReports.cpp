#include "agent/StageReports.h"

#include "utils/platform/PlatformFactory.h"

namespace lathwind::agent {
namespace {

constexpr std::int32_t kIntervalMs = 2000;
// Generous, for a machine that is busy shutting down.
constexpr std::uint32_t kWaitHintMs = 30000;

}  // namespace

StageReports::StageReports(platform::ServiceStage stage)
    : stage_(stage),
      ended_(platformFactory.createEvent({})),
      thread_(platformFactory.createThread(*this)) {
    report();
    thread_->start(L"StageReports");
}

StageReports::~StageReports() {
    ended_->set();
    thread_->wait();
}

void StageReports::run() {
    while (ended_->wait(kIntervalMs, false) == WaitResult::TimeOut) {
        report();
    }
}

void StageReports::report() {
    platform::supervision().report({stage_, ++checkpoint_, kWaitHintMs});
}

}  // namespace lathwind::agent
