#pragma once

#include <string>

#include "events/DescribedEvent.h"

namespace lathwind {

// A line of a watched log file.
class LogFileEvent : public DescribedEvent {
public:
    LogFileEvent(const std::wstring& name, const std::wstring& message);
};

}  // namespace lathwind
