#include "utils/CollectorTable.h"

#include <algorithm>

#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::uint32_t kBits = 16;

bool hasFinishedStarting(std::uint32_t state) {
    return state == collectorState::Started || state == collectorState::Failed;
}

}  // namespace

CollectorTable::CollectorTable() : lock_(platformFactory.createLock()) {}

void CollectorTable::setEnabled(std::uint32_t bit, bool enabled) {
    const ScopedLock guard(*lock_);
    Collector& collector = collectors_[bit];
    collector.enabled = enabled;
    if (!enabled) {
        collector.state = collectorState::NotStarted;
    }
}

void CollectorTable::setState(std::uint32_t bit, std::uint32_t state) {
    const ScopedLock guard(*lock_);
    collectors_[bit].state = state;
}

bool CollectorTable::allStarted() const {
    const ScopedLock guard(*lock_);
    return std::all_of(collectors_.begin(), collectors_.end(), [](const auto& entry) {
        return !entry.second.enabled || hasFinishedStarting(entry.second.state);
    });
}

std::uint32_t CollectorTable::stateOf(std::uint32_t bit) const {
    const ScopedLock guard(*lock_);
    const auto found = collectors_.find(bit);
    return found == collectors_.end() ? collectorState::NotStarted : found->second.state;
}

bool CollectorTable::isEnabled(std::uint32_t bit) const {
    const ScopedLock guard(*lock_);
    const auto found = collectors_.find(bit);
    return found != collectors_.end() && found->second.enabled;
}

void CollectorTable::disableAll() {
    for (std::uint32_t i = 0; i < kBits; ++i) {
        setEnabled(1u << i, false);
    }
}

}  // namespace lathwind
