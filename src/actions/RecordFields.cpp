#include "actions/RecordFields.h"

#include "events/EventMacros.h"
#include "utils/AgentInfo.h"
#include "utils/DateTime.h"

namespace lathwind {
namespace {

constexpr std::size_t kDateIndex = 2;
constexpr std::int64_t kNoDate = -1;
constexpr std::int32_t kFirstTimeField = 210;  // "v210" to "v270" are parts of the local time

// The event that extended fields are taken from. Of the record's own fields none but the date
// stands behind such a name; the others are facts of the host.
IDSEvent makeScratchEvent(const std::vector<std::wstring>& record) {
    IDSEvent event;
    const AgentInfoRef agent;
    event.SetAgentLabel(agent->hostName());
    event.SetMachineName(agent->hostName());
    event.SetAgentIp(agent->ipAddress());
    event.SetCollectTime(record.size() > kDateIndex ? DateTime::ParseDate(record[kDateIndex])
                                                    : kNoDate);
    return event;
}

}  // namespace

std::optional<std::wstring> RecordFields::get(std::int32_t number) {
    if (number >= kFirstExtended) {
        return getExtended(number);
    }
    if (number < 1 || static_cast<std::size_t>(number) > record_.size()) {
        return std::nullopt;
    }
    return record_[static_cast<std::size_t>(number) - 1];
}

std::optional<std::wstring> RecordFields::getExtended(std::int32_t number) {
    const std::optional<std::int32_t> macro = MacroIdOf(L'v' + std::to_wstring(number));
    if (!macro) {
        return std::nullopt;
    }
    if (!event_) {
        event_ = makeScratchEvent(record_);
    }
    if (number >= kFirstTimeField && event_->GetCollectTime() < 0) {
        return std::nullopt;
    }
    std::wstring value = GetMacroValueById(*macro, *event_);
    if (value.empty()) {
        return std::nullopt;
    }
    return value;
}

}  // namespace lathwind
