#include "actions/Flag.h"

#include <algorithm>
#include <utility>

#include "events/EventMacros.h"
#include "events/IDSEvent.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

std::int64_t presentTime() {
    return platform::host().currentTimeMs() / 1000;
}

}  // namespace

Flag::Flag(Clock clock)
    : clock_(clock ? std::move(clock) : Clock(presentTime)), lock_(platformFactory.createLock()) {}

std::int64_t Flag::timeOf(const IDSEvent& event, bool useEventTime) const {
    return useEventTime ? event.GetCollectTime() : clock_();
}

void Flag::configure(const FlagDefinition& definition) {
    const ScopedLock guard(*lock_);
    if (id_.empty()) {
        id_ = definition.name.empty() ? definition.id : definition.name;
    }
    if (contextMacro_.empty()) {
        contextMacro_ = definition.contextMacro;
    }
    lifetime_ = std::max(lifetime_, definition.lifetime);
    refreshOnRaise_ = refreshOnRaise_ || (definition.options & flagOption::RefreshOnRaise) != 0;
    perContext_ = perContext_ || (definition.options & flagOption::PerContext) != 0;
    refreshOnQuery_ = refreshOnQuery_ || (definition.options & flagOption::RefreshOnQuery) != 0;
}

bool Flag::isUpAt(std::int64_t time) {
    if (timeRaised_ > 0 && lifetime_ == 0) {
        return true;
    }
    if (perContext_) {
        return data_.purge(time);
    }
    return timeRaised_ > 0 && timeRaised_ + lifetime_ >= time;
}

bool Flag::isRaised(std::int64_t time) {
    {
        const ScopedLock guard(*lock_);
        if (isUpAt(time == 0 ? clock_() : time)) {
            return true;
        }
        if (!raised_) {
            return false;
        }
    }
    // A raise by another thread at this point is lost: it is taken for one just before the end.
    lower();
    return false;
}

void Flag::raise(const IDSEvent& event, bool useEventTime) {
    const std::int64_t time = timeOf(event, useEventTime);
    isRaised(time);  // what is over is lowered first, so that its count starts anew
    const ScopedLock guard(*lock_);
    raised_ = true;
    ++count_;
    bool takesTime = timeRaised_ == 0 || refreshOnRaise_;
    if (perContext_) {
        data_.record(contextMacro_, event, lifetime_, refreshOnRaise_, time);
        takesTime = takesTime || lifetime_ == 0;
    }
    if (takesTime) {
        timeRaised_ = time;
        debugLog(ModuleId::ProcessEvent,
                 L"Flag Raised %ls Identfier = %p Lifetime = %d TimeRaised = %d", id_, this,
                 lifetime_, timeRaised_);
    }
}

void Flag::refresh() {
    const ScopedLock guard(*lock_);
    if (refreshOnQuery_) {
        timeRaised_ = clock_();
    }
}

void Flag::lower() {
    const ScopedLock guard(*lock_);
    debugLog(ModuleId::ProcessEvent,
             L"Flag Lowered %ls Identifier = %p TimeRaised = %d TimeNow = %d", id_, this,
             timeRaised_, clock_());
    if (perContext_) {
        data_.clear();
    }
    count_ = 0;
    timeRaised_ = 0;
    raised_ = false;
}

void Flag::lowerContext(const IDSEvent& event, bool useEventTime) {
    const std::wstring context = contextText(event);
    const ScopedLock guard(*lock_);
    if (perContext_) {
        data_.purgeContext(context, timeOf(event, useEventTime));
    }
}

std::wstring Flag::id() const {
    const ScopedLock guard(*lock_);
    return id_;
}

std::int64_t Flag::timeRaised() const {
    const ScopedLock guard(*lock_);
    return timeRaised_;
}

std::uint32_t Flag::count() const {
    const ScopedLock guard(*lock_);
    return count_;
}

std::uint32_t Flag::instanceCount() {
    const ScopedLock guard(*lock_);
    if (!perContext_) {
        return count_ > 0 ? 1 : 0;
    }
    data_.purge(clock_());
    return data_.size();
}

std::wstring Flag::contextText(const IDSEvent& event) const {
    const ScopedLock guard(*lock_);
    return ExpandMacrosForEvent(event, contextMacro_);
}

std::uint32_t Flag::contextCount(const IDSEvent& event) {
    const std::wstring context = contextText(event);
    const ScopedLock guard(*lock_);
    if (!perContext_) {
        return 0;
    }
    data_.purge(clock_());
    return data_.countOf(context);
}

std::map<std::wstring, std::uint32_t> Flag::contexts() {
    const ScopedLock guard(*lock_);
    data_.purge(clock_());
    return data_.counts();
}

}  // namespace lathwind
