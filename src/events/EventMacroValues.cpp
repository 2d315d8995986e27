// What the macros read from an event and write into it: the second half of EventMacros.h.

#include <algorithm>
#include <iterator>
#include <limits>

#include "events/EventMacros.h"
#include "events/IDSEvent.h"
#include "utils/AgentInfo.h"
#include "utils/DateTime.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kUnknownMacro = L"Unknown Macro";

// "Event Specific Value 1" to "Event Specific Value 20".
constexpr std::int32_t kFirstValueMacro = 28;
constexpr std::int32_t kLastValueMacro = 47;
constexpr std::int32_t kFirstValueField = 17;  // VALUE1

bool isValueMacro(std::int32_t macroId) {
    return macroId >= kFirstValueMacro && macroId <= kLastValueMacro;
}

// The description stands between VALUE4 and VALUE5 and is not counted.
std::int32_t fieldOfValueMacro(std::int32_t macroId) {
    const std::int32_t field = kFirstValueField + macroId - kFirstValueMacro;
    return field < eventField::Description ? field : field + 1;
}

// Local times rest on the run-time's time zone, which belongs to the whole process. Never
// destroyed, so that threads may still expand macros while the process ends.
Lock& valuesLock() {
    static Lock* const lock = platformFactory.createLock().release();
    return *lock;
}

DateTime localTimeOf(const IDSEvent& event) {
    return DateTime(event.GetCollectTime());
}

// ---- One row a macro id: how its value is read, and how it is written, if it is.

using Read = std::wstring (*)(const IDSEvent& event);
using Write = void (*)(IDSEvent& event, const std::wstring& text, bool keepProcessFacts);

struct MacroAccess {
    Read read;
    Write write;
};

template <auto getter>
std::wstring textOf(const IDSEvent& event) {
    return (event.*getter)();
}

template <auto getter>
std::wstring numberOf(const IDSEvent& event) {
    return std::to_wstring((event.*getter)());
}

template <auto getter>
std::wstring localPartOf(const IDSEvent& event) {
    return std::to_wstring((localTimeOf(event).*getter)());
}

template <auto setter>
void store(IDSEvent& event, const std::wstring& text, bool /*keepProcessFacts*/) {
    (event.*setter)(text);
}

constexpr Write kReadOnly = nullptr;

// The place of a row is its id.
constexpr MacroAccess kMacros[] = {
    // 0 Event Type
    {[](const IDSEvent& event) { return std::wstring(sourceKindText(event.GetSourceKind())); },
     [](IDSEvent& event, const std::wstring& text, bool) { event.SetSourceKindText(text, true); }},
    // 1 Event Severity
    {textOf<&IDSEvent::GetSeverityLetter>,
     [](IDSEvent& event, const std::wstring& text, bool) { event.SetSeverityLetter(text, true); }},
    // 2 Event Priority
    {numberOf<&IDSEvent::GetPriority>, store<&IDSEvent::SetPriority>},
    // 3 System State
    {[](const IDSEvent& event) { return systemStateText(event.GetSystemState()); },
     [](IDSEvent& event, const std::wstring& text, bool) { event.SetSystemState(text, true); }},
    // 4 Policy ID
    {textOf<&IDSEvent::GetPolicyGuid>, store<&IDSEvent::SetPolicyGuid>},
    // 5 Rule ID
    {numberOf<&IDSEvent::GetRuleId>,
     [](IDSEvent& event, const std::wstring& text, bool) {
         event.SetRuleId(static_cast<std::uint32_t>(std::clamp<long long>(
             parseDecimal(text), 0, std::numeric_limits<std::uint32_t>::max())));
     }},
    // 6 User Defined Text
    {textOf<&IDSEvent::GetUserDefinedText>, store<&IDSEvent::SetUserDefinedText>},
    // 7 Agent Label
    {textOf<&IDSEvent::GetAgentLabel>, store<&IDSEvent::SetAgentLabel>},
    // 8 Machine Name
    {textOf<&IDSEvent::GetMachineName>, store<&IDSEvent::SetMachineName>},
    // 9 Agent IP Address
    {textOf<&IDSEvent::GetAgentIp>, store<&IDSEvent::SetAgentIp>},
    // 10 Rule Name: only a name that a rule has given is replaced.
    {textOf<&IDSEvent::GetRuleName>,
     [](IDSEvent& event, const std::wstring& text, bool) {
         if ((event.GetControlFlags() & controlFlag::RuleName) != 0) {
             event.SetRuleName(text);
         }
     }},
    // 11 Policy Name
    {textOf<&IDSEvent::GetPolicyName>, store<&IDSEvent::SetPolicyName>},
    // 12 User Name
    {textOf<&IDSEvent::GetUserName>,
     [](IDSEvent& event, const std::wstring& text, bool) {
         if (!text.empty()) {
             event.SetUserName(text);
         }
     }},
    // 13 Process ID
    {numberOf<&IDSEvent::GetProcessId>,
     [](IDSEvent& event, const std::wstring& text, bool keep) {
         event.SetProcess(eventNumberOf(text), keep, keep);
     }},
    // 14 Process Name
    {textOf<&IDSEvent::GetProcessName>, store<&IDSEvent::SetProcessName>},
    // 15 Process Full Name
    {textOf<&IDSEvent::GetProcessFullName>, store<&IDSEvent::SetProcessPath>},
    // 16, without a name
    {textOf<&IDSEvent::GetExtraText>, store<&IDSEvent::SetExtraText>},
    // 17 File Name
    {textOf<&IDSEvent::GetFileName>, store<&IDSEvent::SetFileName>},
    // 18 Session ID
    {numberOf<&IDSEvent::GetSessionId>, [](IDSEvent& event, const std::wstring& text,
                                           bool) { event.SetSessionId(eventNumberOf(text)); }},
    // 19 Event Date: universal time is read, local time is written.
    {[](const IDSEvent& event) {
         return DateTime(event.GetCollectTime(), 0, TimeZone::universal()).Format(kDateTimePattern);
     },
     [](IDSEvent& event, const std::wstring& text, bool) { event.SetCollectTimeText(text); }},
    // 20 OSTYPE
    {[](const IDSEvent&) { return std::wstring(AgentInfoRef()->osName()); }, kReadOnly},
    // 21 LOCAL_EVENT_DT
    {[](const IDSEvent& event) { return localTimeOf(event).Format(kDateTimePattern); }, kReadOnly},
    // 22 LOCAL_DAYOFWEEK
    {localPartOf<&DateTime::GetDayOfWeek>, kReadOnly},
    // 23 LOCAL_YR
    {localPartOf<&DateTime::GetYear>, kReadOnly},
    // 24 LOCAL_MONTH, from 1
    {[](const IDSEvent& event) { return std::to_wstring(localTimeOf(event).GetMonth() + 1); },
     kReadOnly},
    // 25 LOCAL_DAY
    {localPartOf<&DateTime::GetDay>, kReadOnly},
    // 26 LOCAL_HOUR
    {localPartOf<&DateTime::GetHour>, kReadOnly},
    // 27 LOCAL_MINUTE
    {localPartOf<&DateTime::GetMinute>, kReadOnly},
};
static_assert(std::size(kMacros) == kFirstValueMacro);

// Null for an id that has no row.
const MacroAccess* accessOf(std::int32_t macroId) {
    return macroId >= 0 && macroId < kFirstValueMacro ? &kMacros[macroId] : nullptr;
}

}  // namespace

void EventMacroProvider::getValue(std::wstring_view tag, std::wstring& value) {
    value = FieldIdOf(tag) || MacroIdOf(tag) ? GetMacroValue(tag, event_) : std::wstring(tag);
}

std::wstring GetMacroValue(std::wstring_view name, const IDSEvent& event) {
    if (const auto field = FieldIdOf(name)) {
        return event.GetField(*field);
    }
    if (const auto macro = MacroIdOf(name)) {
        return GetMacroValueById(*macro, event);
    }
    return std::wstring(kUnknownMacro);
}

std::wstring GetMacroValueById(std::int32_t macroId, const IDSEvent& event) {
    const ScopedLock guard(valuesLock());
    if (isValueMacro(macroId)) {
        return event.GetField(fieldOfValueMacro(macroId));
    }
    const MacroAccess* const access = accessOf(macroId);
    return access != nullptr ? access->read(event) : std::wstring(kUnknownMacro);
}

void SetMacroValue(IDSEvent& event, std::wstring_view name, const std::wstring& text,
                   bool keepProcessFacts) {
    if (const auto field = FieldIdOf(name)) {
        event.setEventField(*field, text);
        return;
    }
    const std::int32_t macroId = MacroIdOf(name).value_or(-1);
    if (isValueMacro(macroId)) {
        event.setEventField(fieldOfValueMacro(macroId), text);
        return;
    }
    const MacroAccess* const access = accessOf(macroId);
    if (access != nullptr && access->write != kReadOnly) {
        access->write(event, text, keepProcessFacts);
    }
}

std::wstring ExpandMacrosForEvent(const IDSEvent& event, std::wstring_view text) {
    EventMacroProvider values(event);
    return ExpandMacros(values, text);
}

}  // namespace lathwind
