#pragma once

#include <algorithm>
#include <chrono>
#include <limits>

// Timing for the programs that measure us against a named reference in the same run.
namespace lathwind::bench {

template <class Action>
double secondsOf(Action action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Best {
    double own = std::numeric_limits<double>::max();  // seconds
    double reference = std::numeric_limits<double>::max();
};

// The two sides in turns, and the best of each: a busy machine slows single runs, never speeds them
// up.
template <class Own, class Reference>
Best bestOf(int runs, Own own, Reference reference) {
    Best best;
    for (int run = 0; run < runs; ++run) {
        best.own = std::min(best.own, secondsOf(own));
        best.reference = std::min(best.reference, secondsOf(reference));
    }
    return best;
}

}  // namespace lathwind::bench
