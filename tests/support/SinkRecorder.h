#pragma once

#include <string>
#include <vector>

#include "utils/LogSink.h"

namespace lathwind::testing {

// Collects what is logged while it lives, on one thread: debug texts as they are, messages with
// their severity's number and a blank in front.
class SinkRecorder : public LogSink {
public:
    SinkRecorder() : previous_(logSink()) { setLogSink(this); }
    ~SinkRecorder() override { setLogSink(previous_); }
    SinkRecorder(const SinkRecorder&) = delete;
    SinkRecorder& operator=(const SinkRecorder&) = delete;

    void debugOutput(std::wstring_view, int, std::wstring_view text) override {
        debugLines.emplace_back(text);
    }
    void messageOutput(Severity severity, std::wstring_view text) override {
        messages.push_back(std::to_wstring(static_cast<int>(severity)).append(L" ").append(text));
    }

    std::vector<std::wstring> debugLines;
    std::vector<std::wstring> messages;

private:
    LogSink* previous_;
};

}  // namespace lathwind::testing
