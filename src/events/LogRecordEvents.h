#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "events/IDSEvent.h"

// Events that a watched log holds in a form of its own (docs/formats/injected-events.md).
namespace lathwind {

using FieldMap = std::map<std::wstring, std::wstring>;  // macro name to text

// Applies a log rule's captured values to a fresh event, in the map's order. Names that are no
// macro are passed over.
void DefaultFieldRules(IDSEvent& event, const FieldMap& fields);

// The parts of an injected event's text: lines that end in CR LF (the last one may go without), of
// which the first is the kind, the second the number of INI lines that follow, then those lines and
// an empty one if there are any, and then the message, each line with its CR LF. `fields` are the
// pairs of the INI text's section "IDSEvent". False, with a debug line and nothing changed, for a
// text of another form.
bool ParseInjectedEvent(const std::wstring& text, std::wstring& kind, std::wstring& message,
                        FieldMap& fields);

// The forms of a record that are turned into an event whole.
namespace logRecordFormat {
inline constexpr std::uint32_t Csv = 1;       // a line of an event file
inline constexpr std::uint32_t Injected = 2;  // several lines
}  // namespace logRecordFormat

// One record of a log.
struct LogRecordFacts {
    std::wstring machineName;      // empty for the agent's own
    std::uint32_t format = 0;      // one of logRecordFormat
    std::wstring text;             // the record
    std::uint32_t stateValue = 0;  // system state of an event that does not bring one
    bool isCsvRecord = false;      // the log's entry has source type 0: marker lines count
    std::wstring logPath;          // of the log that is being read
};

// Turns one record into an event at the end of `events`. False when it made none: another format,
// a record that cannot be split, or a marker line of a CSV file. The marker of the file's end
// deletes the log; the caller closes it first, where an open file cannot be deleted.
bool CreateLogEvent(EventList& events, const LogRecordFacts& record);

}  // namespace lathwind
