#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "utils/Serializable.h"

namespace lathwind {

// Which collector made an event. The text form, four letters, stands in the CSV line. Kinds that
// have no name here come from collectors outside this program.
namespace sourceKind {
inline constexpr std::uint32_t None = 0;          // "DUNK"; a CSV record that was taken from a log
inline constexpr std::uint32_t EventLog = 1;      // "DNTL"
inline constexpr std::uint32_t FileWatch = 3;     // "DFWW"
inline constexpr std::uint32_t LogWatch = 4;      // "DGEN"
inline constexpr std::uint32_t SysLog = 6;        // "DSYS"
inline constexpr std::uint32_t AgentError = 9;    // "MERR"
inline constexpr std::uint32_t AgentStatus = 10;  // "MSTD"
}  // namespace sourceKind

// Four letters; "DUNK" for a number without a name.
std::wstring_view sourceKindText(std::uint32_t kind) noexcept;
// False, with `kind` unchanged, for an unknown text. "DFWU" is read like "DFWW".
bool parseSourceKind(std::wstring_view text, std::uint32_t& kind);

// The letters of the set bits, "RVIPXGTCDLFSZ" from bit 1 to bit 0x1000.
std::wstring systemStateText(std::uint32_t state);
// Sets a bit for each letter that occurs anywhere in the text, in either case.
std::uint32_t parseSystemState(std::wstring_view text);

// Fields that were set by force: a setter without the force argument leaves them alone.
namespace controlFlag {
inline constexpr std::uint32_t SourceKind = 1;
inline constexpr std::uint32_t Priority = 16;
inline constexpr std::uint32_t SystemState = 64;
inline constexpr std::uint32_t PolicyGuid = 128;
inline constexpr std::uint32_t RuleId = 0x100;
inline constexpr std::uint32_t RuleName = 0x200;
}  // namespace controlFlag

// Field ids that the code names; they are positions of GetFields. Id 14 is the first value.
namespace eventField {
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
    // Appends the CSV fields; their positions are the ids of setEventField.
    virtual void GetFields(std::vector<std::wstring>& list, std::uint32_t sequence,
                           const std::wstring& extra) const;

    void WriteObject(std::ostream& stream) override;
    void ReadObject(std::istream& stream) override;

    // One field of the list with sequence 0 and no extra text; empty when out of range.
    std::wstring GetField(std::int32_t index) const;
    // Writes one field by its id. False, with a debug line, for a field that cannot be written; the
    // event is as before then. File, event log and system log events take the virtual tag alone, a
    // log-watch event takes all.
    bool setEventField(std::int32_t id, const std::wstring& text);

    // The event for human readers, one fact to a line.
    std::wstring GetPrintedForm() const;
    // The printed form in the system code page as a new file. False, and nothing remembered, when
    // the file cannot be written.
    bool WriteToFile(const std::wstring& path);

    void SetSourceKind(std::uint32_t kind, bool force);
    void SetSourceKindText(std::wstring_view text, bool force);
    void SetSeverityLetter(std::wstring_view text, bool force);
    void SetSystemState(std::wstring_view letters, bool force);
    void SetSystemState(std::uint32_t state, bool force);
    // `text` is decimal; numbers outside 0 to 99 become 99.
    void SetPriority(std::wstring_view text);
    // Looks the process up. `keepUser` and `keepName` leave those as they are; a user or a name
    // that is there already always stays.
    void SetProcess(std::int32_t pid, bool keepUser, bool keepName);
    // Path and, from behind its last backslash, name.
    void SetProcessPath(const std::wstring& path);
    // The event's share of an event that this program makes for itself: who and where it is.
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
    const std::wstring& GetPolicyName() const noexcept { return policyName_; }
    const std::wstring& GetRuleName() const noexcept { return ruleName_; }
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
    void SetCollectTime(std::int64_t seconds) { collectTime_ = seconds; }
    void SetSequenceField(std::int32_t number) { sequenceField_ = number; }
    void SetPriorityNumber(std::int32_t number) { priority_ = number; }
    void SetFileCount(std::uint32_t count) { fileCount_ = count; }
    void SetControlFlags(std::uint32_t flags) { controlFlags_ = flags; }
    // These set their control flag.
    void SetPolicyGuid(const std::wstring& text);
    void SetRuleId(std::uint32_t id);
    void SetRuleName(const std::wstring& text);

private:
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
    std::uint32_t eventClass_ = 4;  // 0 error, 1 warning, 3 low, 4 normal
    std::wstring eventText_;
    std::wstring rawText_;
    std::int64_t collectTime_;  // seconds; 32 bits of it go into a record
    std::wstring policyGuid_;
    std::wstring policyName_ = L"Policy";
    std::uint32_t ruleId_ = 0;
    std::wstring ruleName_ = L"Rule";
    std::int32_t sequenceField_ = 0;
    std::int32_t priority_ = 0;  // 0 to 99
    std::wstring fileName_;
    std::int32_t reservedNumber_ = -1;
    std::wstring correlation_;
    std::uint32_t sourceKind_ = 0;
    std::uint32_t systemState_ = 0;
    std::uint32_t controlFlags_ = 0;
    std::vector<std::wstring> values_;
    std::uint32_t fileCount_ = 0;
    std::wstring outputPath_;
    bool fieldsWritable_ = false;
};

// Events on their way from an entity to its owner, in order.
using EventList = std::list<std::unique_ptr<IDSEvent>>;

}  // namespace lathwind
