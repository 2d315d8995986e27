#pragma once

#include <string>
#include <vector>

#include "utils/Logging.h"

namespace lathwind {

// What travels through the log writer's queue. Copied by value into and out of it.
struct LogRecord {
    std::wstring line;  // the complete line with its line feed
    std::wstring code;  // the catalogue code ("FWC_0033"), empty when the text has none
    Severity severity = Severity::Debug;
    std::wstring module;                  // the module's name, empty for a debug line
    std::vector<std::wstring> arguments;  // carried along for an event's consumer; none is filled
};

}  // namespace lathwind
