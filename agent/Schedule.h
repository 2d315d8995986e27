#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace lathwind::agent {

// The agent's recurring work, done by the one thread that calls step. A task says itself when its
// next turn is, so that it may look closer for a while. A turn that comes late, because another
// task took long or the machine slept, is made once and not made up for.
class Schedule {
public:
    // Milliseconds of a clock that never goes back.
    using Clock = std::function<std::int64_t()>;
    // Gives the milliseconds until the next turn, counted from its end.
    using Task = std::function<std::uint32_t()>;

    explicit Schedule(Clock clock) : clock_(std::move(clock)) {}

    void add(std::uint32_t firstMs, Task task);
    // Does what is due, in the order of adding. Gives the milliseconds until the next turn of any
    // task, at most kLongestWaitMs.
    std::int32_t step();

    static constexpr std::int32_t kLongestWaitMs = 60000;

private:
    struct Entry {
        std::int64_t due = 0;
        Task task;
    };
    const Clock clock_;
    std::vector<Entry> entries_;
};

}  // namespace lathwind::agent
