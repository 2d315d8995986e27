#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "utils/LogSink.h"

namespace lathwind::testing {

// Collects what the code under test logs, debug lines of every module included, while in scope.
// For one thread.
class LogCapture : public LogSink {
public:
    struct Message {
        Severity severity;
        std::wstring text;
        friend bool operator==(const Message&, const Message&) = default;
    };

    LogCapture() : previous_(logSink()) { setLogSink(this); }
    ~LogCapture() override { setLogSink(previous_); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    void debugOutput(std::wstring_view, int, std::wstring_view text) override {
        debugLines.emplace_back(text);
    }
    void messageOutput(Severity severity, std::wstring_view text) override {
        messages.push_back({severity, std::wstring(text)});
    }

    bool hasDebug(std::wstring_view text) const {
        return std::find(debugLines.begin(), debugLines.end(), text) != debugLines.end();
    }
    // The debug lines since the last call.
    std::vector<std::wstring> takeDebug() { return std::exchange(debugLines, {}); }

    std::vector<std::wstring> debugLines;
    std::vector<Message> messages;

private:
    LogSink* previous_;
};

}  // namespace lathwind::testing
