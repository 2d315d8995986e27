#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The short codes by which an event's origin, system state and severity stand in its texts.
// Pure functions; docs/events.md has the tables.
namespace lathwind {

// Which collector made an event. The kinds without a name here have a text all the same; they come
// from collectors outside this program.
namespace sourceKind {
inline constexpr std::uint32_t None = 0;          // "DUNK"; a CSV record that was taken from a log
inline constexpr std::uint32_t EventLog = 1;      // "DNTL"
inline constexpr std::uint32_t FileWatch = 3;     // "DFWW"
inline constexpr std::uint32_t LogWatch = 4;      // "DGEN"
inline constexpr std::uint32_t SysLog = 6;        // "DSYS"
inline constexpr std::uint32_t AgentError = 9;    // "MERR"
inline constexpr std::uint32_t AgentStatus = 10;  // "MSTD"
}  // namespace sourceKind

// Four letters (three for 13); "DUNK" for a number without a text.
std::wstring_view sourceKindText(std::uint32_t kind) noexcept;
// False, with `kind` unchanged, for an unknown text. "DFWU" is read like "DFWW".
bool parseSourceKind(std::wstring_view text, std::uint32_t& kind);

// Do the event's user, session and process stand among its fields, ahead of the values?
bool hasProcessFields(std::uint32_t kind) noexcept;

// The letters of the set bits, "RVIPXGTCDLFSZ" from bit 1 to bit 0x1000.
std::wstring systemStateText(std::uint32_t state);
// Sets a bit for each letter that occurs anywhere in the text, in either case.
std::uint32_t parseSystemState(std::wstring_view text);

// Classes of events; each outranks the priority where severities are told.
namespace eventClass {
inline constexpr std::uint32_t Error = 0;
inline constexpr std::uint32_t Warning = 1;
inline constexpr std::uint32_t Low = 3;
inline constexpr std::uint32_t Normal = 4;
}  // namespace eventClass

// Severity by class and priority: one letter for lines of fields, a word for people.
wchar_t severityLetterOf(std::uint32_t classNumber, std::int32_t priority) noexcept;
std::wstring_view severityWordOf(std::uint32_t classNumber, std::int32_t priority) noexcept;
// The priority that a letter stands for, within its band; none for "E" and what is no letter.
std::optional<std::int32_t> priorityOfSeverityLetter(std::wstring_view letter) noexcept;

inline constexpr std::int32_t kMaxPriority = 99;

}  // namespace lathwind
