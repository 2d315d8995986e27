#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "events/EventCodes.h"
#include "utils/Serializable.h"

namespace lathwind {

// Fields that were set by force: a setter without the force argument leaves them alone.
namespace controlFlag {
inline constexpr std::uint32_t SourceKind = 1;
inline constexpr std::uint32_t Priority = 16;
inline constexpr std::uint32_t SystemState = 64;
inline constexpr std::uint32_t PolicyGuid = 128;
inline constexpr std::uint32_t RuleId = 0x100;
inline constexpr std::uint32_t RuleName = 0x200;
}  // namespace controlFlag

// Ids of an event's fields: their positions in GetFields, for the kinds of events that have the
// four fields from UserName on. Id 14 is the first value, and so on.
namespace eventField {
inline constexpr std::int32_t Type = 0;  // the source kind's text
inline constexpr std::int32_t Sequence = 1;
inline constexpr std::int32_t Date = 2;
inline constexpr std::int32_t Severity = 3;
inline constexpr std::int32_t Priority = 4;
inline constexpr std::int32_t SystemState = 5;
inline constexpr std::int32_t PolicyGuid = 6;
inline constexpr std::int32_t Correlation = 7;
inline constexpr std::int32_t RuleName = 8;
inline constexpr std::int32_t ActionText = 9;  // written, it is the user-defined text
inline constexpr std::int32_t UserName = 10;
inline constexpr std::int32_t SessionId = 11;
inline constexpr std::int32_t ProcessPath = 12;
inline constexpr std::int32_t ProcessId = 13;
inline constexpr std::int32_t FirstValue = 14;
inline constexpr std::int32_t Description = 21;
inline constexpr std::int32_t VirtualTag = 38;
inline constexpr std::int32_t BinaryData = 45;
}  // namespace eventField

// One thing that happened on the host: origin, time, severity and an ordered list of values. Every
// collector makes events of this class, and every action consumes them; subclasses only compose
// the text. docs/events.md lists the fields, the values and their macros.
//
// An event belongs to one thread at a time. Copies are independent.
class IDSEvent : public Serializable {
public:
    IDSEvent();  // collected now
    ~IDSEvent() override;
    IDSEvent(const IDSEvent&) = default;
    IDSEvent& operator=(const IDSEvent&) = default;

    // The human text. The raw text does not outlive it.
    virtual void SetEventText(const std::wstring& text);
    // Appends the fields of a CSV line. `sequence` and `extra` are the line's own: its number and
    // the action's text. Kinds of events without process fields (hasProcessFields) have their
    // values from position 10 on, the others from position 14 on.
    virtual void GetFields(std::vector<std::wstring>& list, std::uint32_t sequence,
                           const std::wstring& extra) const;

    // The record: every text a string record, every number four bytes. Source kind, system state,
    // control flags, user-defined and raw text are not part of it. Both throw SerializeException:
    // a text of more than kMaxStringUnits cannot be written, and after a failed read the fields
    // that came ahead of the damage have their new values.
    void WriteObject(std::ostream& stream) override;
    void ReadObject(std::istream& stream) override;

    // One field of the list with sequence 0 and no extra text; empty when out of range.
    std::wstring GetField(std::int32_t index) const;
    // Writes one field by its id (eventField). A log-watch event takes all of them, and goes on
    // taking them when its source kind is changed; file, event log and system log events take the
    // virtual tag alone, other kinds nothing. The value list grows up to the id asked for.
    //
    // False, with a debug line and the event as before, for a field that cannot be written. A
    // number or a date that cannot be read is no such failure.
    bool setEventField(std::int32_t id, const std::wstring& text);

    // The event for human readers, one fact to a line.
    std::wstring GetPrintedForm() const;
    // Writes the printed form, in the system code page, as a new file, and remembers its path.
    // False, and nothing remembered, when the file cannot be written.
    bool WriteToFile(const std::wstring& path);

    // An unforced call leaves a field alone that was set by force. A kind or a severity letter that
    // is none changes nothing; a system state without a letter is the empty one.
    void SetSourceKind(std::uint32_t kind, bool force);
    void SetSourceKindText(std::wstring_view text, bool force);
    void SetSeverityLetter(std::wstring_view letter, bool force);  // sets the priority
    void SetSystemState(std::wstring_view letters, bool force);
    void SetSystemState(std::uint32_t state, bool force);
    // By force. `text` is decimal; numbers outside 0 to 99 become 99.
    void SetPriority(std::wstring_view text);
    // `text` as ParseDate takes it. False, with a debug line and the time as before, for another.
    bool SetCollectTimeText(std::wstring_view text);
    // Takes the id of a process (positive, or nothing happens) and looks up who it is. `keepUser`
    // and `keepName` say what is not wanted; with both there is nothing to look up, and the id is
    // not taken either. A user, a process name or a path that is there already always stays.
    void SetProcess(std::int32_t pid, bool keepUser, bool keepName);
    // Path and, from behind its last backslash, name.
    void SetProcessPath(const std::wstring& path);
    // The text as it was logged or read; emptied by SetEventText.
    void SetRawText(const std::wstring& text) { rawText_ = text; }

    std::wstring GetSeverityLetter() const;
    std::wstring GetSeverityWord() const;  // "ERROR", "LOW", "MEDIUM" or "HIGH"

    const std::wstring& GetUserName() const noexcept { return userName_; }
    const std::wstring& GetMachineName() const noexcept { return machineName_; }
    const std::wstring& GetAgentLabel() const noexcept { return agentLabel_; }
    const std::wstring& GetAgentIp() const noexcept { return agentIp_; }
    const std::wstring& GetProcessName() const noexcept { return processName_; }
    const std::wstring& GetProcessFullName() const noexcept { return processFullName_; }
    const std::wstring& GetExtraText() const noexcept { return extraText_; }
    const std::wstring& GetDomainName() const noexcept { return domainName_; }
    const std::wstring& GetUserDefinedText() const noexcept { return userDefinedText_; }
    const std::wstring& GetEventText() const noexcept { return eventText_; }
    const std::wstring& GetRawText() const noexcept { return rawText_; }
    const std::wstring& GetPolicyGuid() const noexcept { return policyGuid_; }
    const std::wstring& GetPolicyName() const noexcept;
    const std::wstring& GetRuleName() const noexcept;
    const std::wstring& GetFileName() const noexcept { return fileName_; }
    const std::wstring& GetCorrelation() const noexcept { return correlation_; }
    const std::wstring& GetOutputPath() const noexcept { return outputPath_; }
    const std::vector<std::wstring>& GetValues() const noexcept { return values_; }
    std::int32_t GetProcessId() const noexcept { return processId_; }
    std::int32_t GetSessionId() const noexcept { return sessionId_; }
    std::uint32_t GetEventClass() const noexcept { return eventClass_; }
    std::int64_t GetCollectTime() const noexcept { return collectTime_; }  // seconds since 1970
    std::uint32_t GetRuleId() const noexcept { return ruleId_; }
    std::int32_t GetSequenceField() const noexcept { return sequenceField_; }
    std::int32_t GetPriority() const noexcept { return priority_; }
    std::int32_t GetReservedNumber() const noexcept { return reservedNumber_; }
    std::uint32_t GetSourceKind() const noexcept { return sourceKind_; }
    std::uint32_t GetSystemState() const noexcept { return systemState_; }
    std::uint32_t GetControlFlags() const noexcept { return controlFlags_; }
    std::uint32_t GetFileCount() const noexcept { return fileCount_; }
    bool AreFieldsWritable() const noexcept { return fieldsWritable_; }

    // Plain stores.
    void SetUserName(const std::wstring& text) { userName_ = text; }
    void SetMachineName(const std::wstring& text) { machineName_ = text; }
    void SetAgentLabel(const std::wstring& text) { agentLabel_ = text; }
    void SetAgentIp(const std::wstring& text) { agentIp_ = text; }
    void SetProcessName(const std::wstring& text) { processName_ = text; }
    void SetExtraText(const std::wstring& text) { extraText_ = text; }
    void SetDomainName(const std::wstring& text) { domainName_ = text; }
    void SetUserDefinedText(const std::wstring& text) { userDefinedText_ = text; }
    void SetPolicyName(const std::wstring& text) { policyName_ = text; }
    void SetFileName(const std::wstring& text) { fileName_ = text; }
    void SetCorrelation(const std::wstring& text) { correlation_ = text; }
    void SetValues(std::vector<std::wstring> values) { values_ = std::move(values); }
    void SetProcessId(std::int32_t id) { processId_ = id; }
    void SetSessionId(std::int32_t id) { sessionId_ = id; }
    void SetEventClass(std::uint32_t number) { eventClass_ = number; }
    void SetReservedNumber(std::int32_t number) { reservedNumber_ = number; }
    void SetCollectTime(std::int64_t seconds) { collectTime_ = seconds; }
    void SetSequenceField(std::int32_t number) { sequenceField_ = number; }
    void SetPriorityNumber(std::int32_t number) { priority_ = number; }
    void SetFileCount(std::uint32_t count) { fileCount_ = count; }
    void SetControlFlags(std::uint32_t flags) { controlFlags_ = flags; }
    // These set their control flag.
    void SetPolicyGuid(const std::wstring& text);
    void SetRuleId(std::uint32_t id);
    void SetRuleName(const std::wstring& text);

protected:
    // SetEventText for derived classes, without a copy of the text.
    void takeEventText(std::wstring text) noexcept;
    void appendEventText(const std::wstring& text);

private:
    bool isForced(std::uint32_t flag) const noexcept { return (controlFlags_ & flag) != 0; }
    bool passesWithoutLogWatch(std::int32_t id, const std::wstring& text) const;
    bool setHeadField(std::int32_t id, const std::wstring& text);
    void setOriginField(std::int32_t id, const std::wstring& text);
    void setValue(std::size_t index, const std::wstring& text);

    // In the order of their meaning; the record has an order of its own.
    std::int32_t processId_ = -1;  // negative: unknown
    std::int32_t sessionId_ = -1;
    std::wstring userName_;
    std::wstring machineName_;
    std::wstring agentLabel_;
    std::wstring agentIp_ = L"-";
    std::wstring processName_;
    std::wstring processFullName_;
    std::wstring extraText_;
    std::wstring domainName_;
    std::wstring userDefinedText_;
    std::uint32_t eventClass_ = eventClass::Normal;
    std::wstring eventText_;
    std::wstring rawText_;
    std::int64_t collectTime_;  // seconds since 1970; a record holds 32 bits of it, until 2106
    std::wstring policyGuid_;
    std::optional<std::wstring> policyName_;  // most events keep the default, without memory for it
    std::uint32_t ruleId_ = 0;
    std::optional<std::wstring> ruleName_;
    std::int32_t sequenceField_ = 0;
    std::int32_t priority_ = 0;  // 0 to 99
    std::wstring fileName_;
    std::int32_t reservedNumber_ = -1;  // travels in the record, nothing reads it
    std::wstring correlation_;
    std::uint32_t sourceKind_ = sourceKind::None;
    std::uint32_t systemState_ = 0;
    std::uint32_t controlFlags_ = 0;
    std::vector<std::wstring> values_;
    std::uint32_t fileCount_ = 0;
    std::wstring outputPath_;
    bool fieldsWritable_ = false;  // by setEventField: the event was a log-watch event once
};

// A number that stands in an event's field, held within its 32 bits.
std::int32_t eventNumberOf(std::wstring_view text) noexcept;

// Events on their way from an entity to its owner, in order.
using EventList = std::deque<std::unique_ptr<IDSEvent>>;

}  // namespace lathwind
