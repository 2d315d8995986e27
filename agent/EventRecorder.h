#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "actions/RecordToEventViewerAction.h"
#include "events/NamedCollector.h"

namespace lathwind {
class AgentInfo;
}

namespace lathwind::agent {

// Stands in for the policy side: every event that a collector hands on is recorded, through one
// action. Any thread may hand events on.
class EventRecorder : public EventDestination {
public:
    EventRecorder();

    // Sets the event files up as the settings say: rollover, rules, disk thresholds.
    static void configureFiles(const AgentInfo& settings);

    // While the agent stops nobody comes back with what was refused: from this call on the queue
    // counts as never full, and whoever finds it so writes first what it holds.
    void refuseNothing() noexcept { refusesNothing_.store(true); }

    bool isFull() override;
    void take(std::unique_ptr<IDSEvent> event) override;

    struct Totals {
        std::uint64_t taken = 0;
        std::uint32_t pending = 0;  // in the action's queue
        std::uint32_t dropped = 0;  // by it
    };
    Totals totals() const;

private:
    RecordToEventViewerAction action_;
    std::atomic<std::uint64_t> taken_{0};
    std::atomic<bool> refusesNothing_{false};
};

}  // namespace lathwind::agent
