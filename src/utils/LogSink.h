#pragma once

#include <string_view>

#include "utils/Logging.h"

namespace lathwind {

// Takes the place of the service log for the whole process while one is installed: texts go to
// it instead of becoming lines, and module switches are not looked at. Called on the thread that
// logs, without any lock.
class LogSink {
public:
    virtual ~LogSink() = default;
    // `file` is the source file as a debug line prints it.
    virtual void debugOutput(std::wstring_view file, int line, std::wstring_view text) = 0;
    virtual void messageOutput(Severity severity, std::wstring_view text) = 0;
};

// Null by default; null uninstalls. The sink is not owned and must outlive its installation.
void setLogSink(LogSink* sink) noexcept;
LogSink* logSink() noexcept;

}  // namespace lathwind
