#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "utils/LogSink.h"

namespace lathwind::testing {

// Takes the place of the service log for one test, and keeps what is written. For one thread.
class RecordedLog : public LogSink {
public:
    RecordedLog() { setLogSink(this); }
    ~RecordedLog() override { setLogSink(nullptr); }
    RecordedLog(const RecordedLog&) = delete;
    RecordedLog& operator=(const RecordedLog&) = delete;

    void debugOutput(std::wstring_view, int, std::wstring_view text) override {
        debugLines.emplace_back(text);
    }
    void messageOutput(Severity severity, std::wstring_view text) override {
        if (severity == Severity::Warning) {
            warnings.emplace_back(text);
        }
    }
    bool hasDebug(std::wstring_view text) const {
        return std::find(debugLines.begin(), debugLines.end(), text) != debugLines.end();
    }

    std::vector<std::wstring> debugLines;
    std::vector<std::wstring> warnings;
};

}  // namespace lathwind::testing
