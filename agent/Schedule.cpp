#include "agent/Schedule.h"

#include <algorithm>
#include <utility>

namespace lathwind::agent {

void Schedule::add(std::uint32_t firstMs, Task task) {
    entries_.push_back({clock_() + firstMs, std::move(task)});
}

std::int32_t Schedule::step() {
    for (Entry& entry : entries_) {
        if (clock_() >= entry.due) {
            const std::uint32_t next = entry.task();
            entry.due = clock_() + next;
        }
    }
    std::int64_t wait = kLongestWaitMs;
    const std::int64_t now = clock_();
    for (const Entry& entry : entries_) {
        wait = std::min(wait, entry.due - now);
    }
    return static_cast<std::int32_t>(std::max<std::int64_t>(wait, 0));
}

}  // namespace lathwind::agent
