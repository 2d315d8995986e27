#include "actions/FlagData.h"

#include <iterator>

#include "events/EventMacros.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

bool isOver(FlagContext& context, std::int64_t time) {
    context.purge(time);
    return context.liveCount() < 1;
}

}  // namespace

void FlagContext::add(std::int64_t time) {
    ++count_;
    if (lifetime_ == 0) {
        return;
    }
    purge(time);
    ++live_;
    if (refresh_) {
        raises_.clear();
        raises_[time] = live_;
    } else {
        ++raises_[time];
    }
}

void FlagContext::purge(std::int64_t time) {
    while (!raises_.empty() && time - raises_.begin()->first > lifetime_) {
        live_ -= raises_.begin()->second;
        raises_.erase(raises_.begin());
    }
}

void FlagData::record(const std::wstring& macro, const IDSEvent& event, std::int64_t lifetime,
                      bool refresh, std::int64_t time) {
    if (!macro_.empty() && macro_ != macro) {
        debugLog(ModuleId::ProcessEvent,
                 L"Trying to record different environment variables in same flag.  Flag may not "
                 L"function appropriately");
        return;
    }
    macro_ = macro;
    const std::wstring context = toLower(ExpandMacrosForEvent(event, macro));
    contexts_.try_emplace(context, lifetime, refresh).first->second.add(time);
}

bool FlagData::purge(std::int64_t time) {
    for (auto entry = contexts_.begin(); entry != contexts_.end();) {
        entry = isOver(entry->second, time) ? contexts_.erase(entry) : std::next(entry);
    }
    return !contexts_.empty();
}

void FlagData::purgeContext(const std::wstring& context, std::int64_t time) {
    const auto entry = contexts_.find(toLower(context));
    if (entry != contexts_.end() && isOver(entry->second, time)) {
        contexts_.erase(entry);
    }
}

void FlagData::clear() {
    contexts_.clear();
    macro_.clear();
}

std::uint32_t FlagData::countOf(const std::wstring& context) const {
    const auto entry = contexts_.find(toLower(context));
    return entry == contexts_.end() ? 0 : entry->second.count();
}

std::map<std::wstring, std::uint32_t> FlagData::counts() const {
    std::map<std::wstring, std::uint32_t> result;
    for (const auto& [context, raises] : contexts_) {
        result.emplace_hint(result.end(), context, raises.count());
    }
    return result;
}

}  // namespace lathwind
