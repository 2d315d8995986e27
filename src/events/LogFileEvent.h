#pragma once

#include <string>

#include "events/DescribedEvent.h"

namespace lathwind {

// A line of a watched log file.
class LogFileEvent : public DescribedEvent {
public:
    LogFileEvent(const std::wstring& name, const std::wstring& message);
    // The older form, without the line: it tells of the log as of a changed file, with no action.
    explicit LogFileEvent(const std::wstring& name);
};

}  // namespace lathwind
