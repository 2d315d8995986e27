#pragma once

#include <atomic>
#include <optional>

#include "agent/StageReports.h"
#include "utils/platform/Supervision.h"
#include "utils/platform/Threading.h"

namespace lathwind::agent {

// What a request to stop means to the agent. A service outlives the people who log off; and where
// the system ends a process together with its console or session, it has to wait for the state to
// be saved.
platform::StopAnswer answerTo(platform::StopReason reason, bool asService) noexcept;

const wchar_t* wordsFor(platform::StopReason reason) noexcept;

// Remembers the first request that counts, tells the service manager from then on that the program
// is stopping, and wakes the main thread, which may be busy for a while.
class StopRequest : public platform::StopListener {
public:
    // `wake` is not owned.
    StopRequest(Event& wake, bool asService) : wake_(wake), asService_(asService) {}

    platform::StopAnswer onStopRequest(platform::StopReason reason) override;

    bool isMade() const noexcept { return made_.load(); }
    // Where one is made.
    platform::StopReason reason() const noexcept { return reason_.load(); }

private:
    Event& wake_;
    const bool asService_;
    std::atomic<platform::StopReason> reason_{platform::StopReason::Interrupt};
    std::atomic<bool> made_{false};
    std::optional<StageReports> stopping_;
};

}  // namespace lathwind::agent
