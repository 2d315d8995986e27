#include "events/IDSEvent.h"

#include <algorithm>
#include <limits>

#include "utils/DateTime.h"
#include "utils/Logging.h"
#include "utils/ProcessObject.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

bool takesVirtualTag(std::uint32_t kind) noexcept {
    return kind == sourceKind::EventLog || kind == sourceKind::FileWatch ||
           kind == sourceKind::SysLog;
}

std::wstring numberUnlessNegative(std::int32_t number) {
    return number < 0 ? std::wstring() : std::to_wstring(number);
}

}  // namespace

std::int32_t eventNumberOf(std::wstring_view text) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<long long>(parseDecimal(text), Limits::min(), Limits::max()));
}

IDSEvent::IDSEvent() : collectTime_(platform::host().currentTimeMs() / 1000) {}

IDSEvent::~IDSEvent() = default;

void IDSEvent::SetEventText(const std::wstring& text) {
    eventText_ = text;
    rawText_.clear();
}

void IDSEvent::takeEventText(std::wstring text) noexcept {
    eventText_ = std::move(text);
    rawText_.clear();
}

void IDSEvent::appendEventText(const std::wstring& text) {
    eventText_ += text;
    rawText_.clear();
}

const std::wstring& IDSEvent::GetPolicyName() const noexcept {
    static const std::wstring unnamed = L"Policy";
    return policyName_ ? *policyName_ : unnamed;
}

const std::wstring& IDSEvent::GetRuleName() const noexcept {
    static const std::wstring unnamed = L"Rule";
    return ruleName_ ? *ruleName_ : unnamed;
}

void IDSEvent::GetFields(std::vector<std::wstring>& list, std::uint32_t sequence,
                         const std::wstring& extra) const {
    list.reserve(list.size() + eventField::FirstValue + values_.size());
    list.emplace_back(sourceKindText(sourceKind_));
    list.push_back(std::to_wstring(sequence));
    list.push_back(DateTime::FormatTimeStamp(collectTime_, 0));
    list.push_back(GetSeverityLetter());
    list.push_back(std::to_wstring(priority_));
    list.push_back(systemStateText(systemState_));
    list.push_back(policyGuid_);
    list.push_back(correlation_);
    list.push_back(GetRuleName());
    list.push_back(extra);
    if (hasProcessFields(sourceKind_)) {
        list.push_back(userName_);
        list.push_back(numberUnlessNegative(sessionId_));
        list.push_back(processFullName_);
        list.push_back(numberUnlessNegative(processId_));
    }
    list.insert(list.end(), values_.begin(), values_.end());
}

std::wstring IDSEvent::GetField(std::int32_t index) const {
    std::vector<std::wstring> list;
    GetFields(list, 0, {});
    const auto position = static_cast<std::size_t>(index);
    return index >= 0 && position < list.size() ? std::move(list[position]) : std::wstring();
}

bool IDSEvent::setEventField(std::int32_t id, const std::wstring& text) {
    if (sourceKind_ == sourceKind::LogWatch) {
        fieldsWritable_ = true;
    }
    if (!fieldsWritable_ && !passesWithoutLogWatch(id, text)) {
        return false;
    }
    if (id >= eventField::FirstValue) {
        setValue(static_cast<std::size_t>(id - eventField::FirstValue), text);
        return true;
    }
    if (id >= eventField::UserName) {
        setOriginField(id, text);
        return true;
    }
    return setHeadField(id, text);
}

bool IDSEvent::passesWithoutLogWatch(std::int32_t id, const std::wstring& text) const {
    if (!takesVirtualTag(sourceKind_)) {
        debugLog(ModuleId::Utils, L"setEventField(%d, %ls): currently only supported by LOGWATCH",
                 id, text);
        return false;
    }
    if (id != eventField::VirtualTag) {
        debugLog(ModuleId::Utils,
                 L"setEventField(%d, %ls): is not supported by EVENT_LOG, SYSLOG or FILEWATCH", id,
                 text);
        return false;
    }
    return true;
}

bool IDSEvent::setHeadField(std::int32_t id, const std::wstring& text) {
    switch (id) {
        case eventField::Type:
            SetSourceKindText(text, true);
            return true;
        case eventField::Sequence:
            debugLog(ModuleId::Utils, L"The sequence number cannot be overwritten");
            return false;
        case eventField::Date:
            SetCollectTimeText(text);
            return true;
        case eventField::Severity:
            SetSeverityLetter(text, true);
            return true;
        case eventField::Priority:
            SetPriority(text);
            return true;
        case eventField::SystemState:
            debugLog(ModuleId::Utils, L"The system state cannot be overwritten");
            return false;
        case eventField::PolicyGuid:
            SetPolicyGuid(text);
            return true;
        case eventField::Correlation:
            SetCorrelation(text);
            return true;
        case eventField::RuleName:
            SetRuleName(text);
            return true;
        case eventField::ActionText:
            SetUserDefinedText(text);
            return true;
        default:
            return false;  // a negative id is no field
    }
}

void IDSEvent::setOriginField(std::int32_t id, const std::wstring& text) {
    switch (id) {
        case eventField::UserName:
            if (!text.empty()) {
                SetUserName(text);
            }
            break;
        case eventField::SessionId:
            SetSessionId(eventNumberOf(text));
            break;
        case eventField::ProcessPath:
            SetProcessPath(text);
            break;
        case eventField::ProcessId:
            SetProcess(eventNumberOf(text), false, false);
            break;
        default:
            break;
    }
}

void IDSEvent::setValue(std::size_t index, const std::wstring& text) {
    if (index >= values_.size()) {
        values_.resize(index + 1);
    }
    values_[index] = text;
}

void IDSEvent::SetSourceKind(std::uint32_t kind, bool force) {
    if (!force && isForced(controlFlag::SourceKind)) {
        return;
    }
    sourceKind_ = kind;
    if (force) {
        controlFlags_ |= controlFlag::SourceKind;
    }
}

void IDSEvent::SetSourceKindText(std::wstring_view text, bool force) {
    std::uint32_t kind = sourceKind::None;
    if (parseSourceKind(text, kind)) {
        SetSourceKind(kind, force);
    }
}

void IDSEvent::SetSeverityLetter(std::wstring_view letter, bool force) {
    const auto priority = priorityOfSeverityLetter(letter);
    if (!priority || (!force && isForced(controlFlag::Priority))) {
        return;
    }
    priority_ = *priority;
    if (force) {
        controlFlags_ |= controlFlag::Priority;
    }
}

void IDSEvent::SetSystemState(std::wstring_view letters, bool force) {
    SetSystemState(parseSystemState(letters), force);
}

void IDSEvent::SetSystemState(std::uint32_t state, bool force) {
    if (!force && isForced(controlFlag::SystemState)) {
        return;
    }
    systemState_ = state;
    if (force) {
        controlFlags_ |= controlFlag::SystemState;
    }
}

void IDSEvent::SetPriority(std::wstring_view text) {
    const std::int32_t number = eventNumberOf(text);
    priority_ = number < 0 || number > kMaxPriority ? kMaxPriority : number;
    controlFlags_ |= controlFlag::Priority;
}

bool IDSEvent::SetCollectTimeText(std::wstring_view text) {
    const std::int64_t seconds = DateTime::ParseDate(text);
    if (seconds < 0) {
        debugLog(ModuleId::Utils,
                 L"Date '%ls' not in valid format. Must be \"yyyy-MM-DD HH:MM:SS\" or "
                 L"\"Www Mmm dd HH:MM:SS yyyy\".",
                 text);
        return false;
    }
    collectTime_ = seconds;
    return true;
}

void IDSEvent::SetProcess(std::int32_t pid, bool keepUser, bool keepName) {
    if (pid <= 0 || (keepUser && keepName)) {
        return;
    }
    const auto process = makeProcessObject(static_cast<std::uint32_t>(pid));
    processId_ = pid;
    if (!keepUser && userName_.empty()) {
        userName_ = process->owner();
    }
    if (!keepName && processName_.empty()) {
        processName_ = process->name();
    }
    if (!keepName && processFullName_.empty()) {
        processFullName_ = process->path();
    }
}

void IDSEvent::SetProcessPath(const std::wstring& path) {
    processFullName_ = path;
    processName_ = path.substr(path.rfind(L'\\') + 1);
}

void IDSEvent::SetPolicyGuid(const std::wstring& text) {
    policyGuid_ = text;
    controlFlags_ |= controlFlag::PolicyGuid;
}

void IDSEvent::SetRuleId(std::uint32_t id) {
    ruleId_ = id;
    controlFlags_ |= controlFlag::RuleId;
}

void IDSEvent::SetRuleName(const std::wstring& text) {
    ruleName_ = text;
    controlFlags_ |= controlFlag::RuleName;
}

std::wstring IDSEvent::GetSeverityLetter() const {
    return {severityLetterOf(eventClass_, priority_)};
}

std::wstring IDSEvent::GetSeverityWord() const {
    return std::wstring(severityWordOf(eventClass_, priority_));
}

}  // namespace lathwind
