#include "actions/FlagTags.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "actions/Flag.h"
#include "events/EventMacros.h"
#include "utils/CsvField.h"
#include "utils/DateTime.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::ProcessEvent;
constexpr std::wstring_view kFlag = L"flag";

std::wstring contextList(Flag& flag) {
    std::wstring list;
    for (const auto& [context, raises] : flag.contexts()) {
        if (!list.empty()) {
            list += L", ";
        }
        list += context;
    }
    return list;
}

using Answer = std::wstring (*)(Flag& flag);
constexpr std::pair<std::wstring_view, Answer> kAnswers[] = {
    {L"contextcount", [](Flag& flag) { return std::to_wstring(flag.contexts().size()); }},
    {L"count", [](Flag& flag) { return std::to_wstring(flag.count()); }},
    {L"instancecount", [](Flag& flag) { return std::to_wstring(flag.instanceCount()); }},
    {L"contexts", contextList},
    {L"raised", [](Flag& flag) { return std::wstring(flag.isRaised() ? L"1" : L"0"); }},
    {L"raisedtime", [](Flag& flag) { return DateTime::FormatDate(flag.timeRaised()); }},
};

class FlagTags : public MacroProvider {
public:
    explicit FlagTags(const FlagContexts& flags) : flags_(flags) {}

    void getValue(std::wstring_view tag, std::wstring& value) override {
        const std::wstring_view head = tag.substr(0, tag.find(L'.'));
        value = equalsNoCase(head, kFlag) ? answer(tag) : std::wstring(tag);
    }

private:
    std::wstring answer(std::wstring_view tag) const {
        std::vector<std::wstring> parts;
        if (!SplitFields(tag, parts, L'.') || parts.size() < 2) {
            debugLog(kModule, L"Badly formatted flag macro tag: %ls", tag);
            return {};
        }
        const bool isOnlyFlag = flags_.size() == 1 && parts.size() == 2;
        Flag* const flag = isOnlyFlag ? flags_.front() : find(parts[1]);
        if (flag == nullptr) {
            debugLog(kModule, L"Flag specified by flag macro tag not found: %ls", tag);
            return {};
        }
        if (!isOnlyFlag && parts.size() == 2) {
            debugLog(kModule, L"Flag macro tag must specify what to retrieve: %ls", tag);
            return {};
        }
        const auto* const row = std::find_if(
            std::begin(kAnswers), std::end(kAnswers),
            [&](const auto& entry) { return equalsNoCase(entry.first, parts.back()); });
        if (row == std::end(kAnswers)) {
            debugLog(kModule, L"Flag macro tag specified invalid value to retrieve: %ls", tag);
            return {};
        }
        return row->second(*flag);
    }

    Flag* find(const std::wstring& id) const {
        const auto flag = std::find_if(flags_.begin(), flags_.end(), [&](const Flag* candidate) {
            return equalsNoCase(candidate->id(), id);
        });
        return flag == flags_.end() ? nullptr : *flag;
    }

    const FlagContexts& flags_;
};

}  // namespace

std::wstring ExpandFlagTags(std::wstring_view text, const FlagContexts& flags) {
    FlagTags tags(flags);
    return ExpandMacros(tags, text);
}

bool HasFlagTag(std::wstring_view text) {
    return text.find(L"{Flag.") != std::wstring_view::npos ||
           text.find(L"{flag.") != std::wstring_view::npos;
}

}  // namespace lathwind
