#pragma once

#include <memory>

#include "utils/platform/Supervision.h"
#include "utils/platform/Threading.h"

namespace lathwind::agent {

// Tells the service manager again and again that a stage is under way, for as long as it lives: a
// start or a stop may take as long as the state is large, and a manager that hears nothing ends the
// process.
class StageReports : private Runnable {
public:
    // Starting or Stopping.
    explicit StageReports(platform::ServiceStage stage);
    ~StageReports() override;
    StageReports(const StageReports&) = delete;
    StageReports& operator=(const StageReports&) = delete;

private:
    void run() override;
    void report();

    const platform::ServiceStage stage_;
    std::uint32_t checkpoint_ = 0;
    const std::unique_ptr<Event> ended_;
    const std::unique_ptr<Thread> thread_;
};

}  // namespace lathwind::agent
