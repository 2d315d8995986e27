#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace lathwind::testing {

// Keeps what is written to standard output and error for as long as it lives. `terminalStep`,
// unless 0, makes standard error a terminal and moves the steady clock by so many milliseconds at
// each look. One at a time.
class ScopedCapture {
public:
    explicit ScopedCapture(std::int64_t terminalStep = 0);
    ~ScopedCapture();
    ScopedCapture(const ScopedCapture&) = delete;
    ScopedCapture& operator=(const ScopedCapture&) = delete;

    std::string output() const;  // UTF-8, line ends as LF
    std::string error() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lathwind::testing
