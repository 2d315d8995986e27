#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "utils/LogSink.h"

namespace lathwind::testing {

// Catches what is logged while it lives, on one thread.
class DebugLines : public LogSink {
public:
    DebugLines() { setLogSink(this); }
    ~DebugLines() override { setLogSink(nullptr); }
    DebugLines(const DebugLines&) = delete;
    DebugLines& operator=(const DebugLines&) = delete;

    void debugOutput(std::wstring_view, int, std::wstring_view text) override {
        lines_.emplace_back(text);
    }
    void messageOutput(Severity, std::wstring_view text) override { lines_.emplace_back(text); }

    // What came since the last call.
    std::vector<std::wstring> take() { return std::exchange(lines_, {}); }

private:
    std::vector<std::wstring> lines_;
};

}  // namespace lathwind::testing
