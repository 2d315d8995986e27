#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "actions/FlagData.h"
#include "utils/platform/Threading.h"

namespace lathwind {

namespace flagOption {
inline constexpr std::uint32_t RefreshOnRaise = 1;
inline constexpr std::uint32_t PerContext = 2;
inline constexpr std::uint32_t RefreshOnQuery = 4;
}  // namespace flagOption

// What a policy says of a flag.
struct FlagDefinition {
    std::wstring name;
    std::wstring id;
    std::int32_t lifetime = 0;  // seconds, 0 for ever
    std::uint32_t options = 0;  // bits of flagOption
    std::wstring contextMacro;  // text with macros that gives an event's context
};

// A named marker that policies raise and lower, so that one event can depend on what came before
// (docs/flags.md). Nothing runs by the clock: that a flag or a context is over is noticed when
// someone asks or raises.
//
// Times are seconds since 1970. "Use event's time" takes the time at which the event was collected
// in place of the present. Any thread may call.
class Flag {
public:
    using Clock = std::function<std::int64_t()>;  // the present time; the host's by default

    explicit Flag(Clock clock = {});

    // Several definitions merge: the largest lifetime in numbers (so "for ever" gives way), every
    // option that one of them has, and the first id and context macro that is given. The id is a
    // definition's name if it has one.
    void configure(const FlagDefinition& definition) EXCLUDES(*lock_);

    // At a time, 0 for now. A flag that is found to be over is lowered.
    bool isRaised(std::int64_t time = 0) EXCLUDES(*lock_);
    void raise(const IDSEvent& event, bool useEventTime) EXCLUDES(*lock_);
    // With "refresh on query" the flag counts as raised just now; for a caller that has found it
    // raised.
    void refresh() EXCLUDES(*lock_);
    void lower() EXCLUDES(*lock_);
    // Per context only: forgets the event's context if it is over.
    void lowerContext(const IDSEvent& event, bool useEventTime) EXCLUDES(*lock_);

    std::wstring id() const EXCLUDES(*lock_);
    std::int64_t timeRaised() const EXCLUDES(*lock_);  // 0 when not raised
    std::uint32_t count() const EXCLUDES(*lock_);      // raises since it was last lowered
    // Per context the contexts that are raised now, else 1 for a flag with a count.
    std::uint32_t instanceCount() EXCLUDES(*lock_);
    // The context macro's text for the event.
    std::wstring contextText(const IDSEvent& event) const EXCLUDES(*lock_);
    // The raises of the event's context. 0 if that is not raised, and for a flag without contexts.
    std::uint32_t contextCount(const IDSEvent& event) EXCLUDES(*lock_);
    // Each context that is raised, in lower case, with its raises.
    std::map<std::wstring, std::uint32_t> contexts() EXCLUDES(*lock_);

private:
    std::int64_t timeOf(const IDSEvent& event, bool useEventTime) const;
    bool isUpAt(std::int64_t time) REQUIRES(*lock_);

    const Clock clock_;
    const std::unique_ptr<Lock> lock_;
    std::wstring id_ GUARDED_BY(*lock_);
    bool refreshOnRaise_ GUARDED_BY(*lock_) = false;
    std::int32_t lifetime_ GUARDED_BY(*lock_) = 0;  // seconds, 0 for ever
    std::int64_t timeRaised_ GUARDED_BY(*lock_) = 0;
    bool perContext_ GUARDED_BY(*lock_) = false;
    std::uint32_t count_ GUARDED_BY(*lock_) = 0;
    bool refreshOnQuery_ GUARDED_BY(*lock_) = false;
    bool raised_ GUARDED_BY(*lock_) = false;
    FlagData data_ GUARDED_BY(*lock_);
    std::wstring contextMacro_ GUARDED_BY(*lock_);
};

}  // namespace lathwind
