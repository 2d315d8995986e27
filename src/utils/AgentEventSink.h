#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "utils/HighWaterQueue.h"
#include "utils/Logging.h"

// The road from a log record to an event that policy can match. The log writer lives below the
// event record; it hands the facts of an event to whatever is installed here, and the events
// library makes the event and owns the queue of the agent's own events.
namespace lathwind {

// Where an event of the agent's own comes from.
struct AgentEventOrigin {
    std::uint32_t processId = 0;
    std::wstring processName;
    std::wstring processOwner;
    std::wstring ipAddress;
    std::wstring hostName;
    std::wstring logonDomain;
};

// Positions of the strings that a log record fills; the other nine stay empty.
namespace agentEventField {
inline constexpr std::size_t Code = 2;
inline constexpr std::size_t Module = 7;
inline constexpr std::size_t Message = 11;
inline constexpr std::size_t Count = 12;
}  // namespace agentEventField

// The control flag that says that the priority below was set.
inline constexpr std::uint32_t kPriorityControlFlag = 16;

struct AgentEventFacts {
    AgentEventOrigin origin;
    Severity severity = Severity::Status;  // of the record
    std::uint32_t eventSeverity = 0;       // 3 status, 1 warning, 0 error
    std::uint32_t eventCode = 0;           // 10 status, 9 warning and error
    std::wstring type;                     // "MSTD" or "MERR"
    std::uint32_t priority = 0;            // 55 warning, 85 error; the rule id as well
    std::uint32_t controlFlags = 0;        // kPriorityControlFlag for warning and error
    std::wstring rawText;                  // the whole line
    std::array<std::wstring, agentEventField::Count> fields;
};

// Called on the log writer's thread, or on the logging thread while "Unsafe Exit On Crash" is on.
class AgentEventSink {
public:
    virtual ~AgentEventSink() = default;
    // Makes the event and pushes it: with the plain push for an error, with the checked push
    // otherwise. A refused event is destroyed by the sink.
    virtual PushResult push(AgentEventFacts facts) = 0;
    // Destroys every event that is still queued.
    virtual void drain() = 0;
};

}  // namespace lathwind
