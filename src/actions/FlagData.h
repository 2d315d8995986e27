#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace lathwind {

class IDSEvent;  // events/IDSEvent.h

// When one context of a flag was raised. Times are seconds since 1970.
class FlagContext {
public:
    // `lifetime` in seconds, 0 for ever. `refresh`: a raise makes the earlier ones as young as it.
    FlagContext(std::int64_t lifetime, bool refresh) : lifetime_(lifetime), refresh_(refresh) {}

    void add(std::int64_t time);
    // Drops the raises that are older than the lifetime.
    void purge(std::int64_t time);
    // Raises that count still, as of the last purge.
    std::uint32_t liveCount() const noexcept { return lifetime_ == 0 ? count_ : live_; }
    // All raises, those that are over included.
    std::uint32_t count() const noexcept { return count_; }

private:
    // The number of raises in each second: what a busy flag takes is bounded by its lifetime.
    std::map<std::int64_t, std::uint32_t> raises_;
    std::uint32_t live_ = 0;  // the sum of raises_
    std::int64_t lifetime_;
    bool refresh_;
    std::uint32_t count_ = 0;
};

// The contexts of a flag: texts, compared without regard to case. Not locked; its flag does that.
class FlagData {
public:
    // A raise of the context that `macro` gives for the event. A second macro is refused, with a
    // debug line: contexts of two kinds cannot be told apart.
    void record(const std::wstring& macro, const IDSEvent& event, std::int64_t lifetime,
                bool refresh, std::int64_t time);
    // Destroys the contexts that are over. Is any left?
    bool purge(std::int64_t time);
    // Destroys one context if it is over.
    void purgeContext(const std::wstring& context, std::int64_t time);
    void clear();

    // Contexts that are held, over or not.
    std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(contexts_.size()); }
    // The raises of a context; 0 for one that is not held.
    std::uint32_t countOf(const std::wstring& context) const;
    // Each context, in lower case, and its raises.
    std::map<std::wstring, std::uint32_t> counts() const;

private:
    std::map<std::wstring, FlagContext> contexts_;
    std::wstring macro_;
};

}  // namespace lathwind
