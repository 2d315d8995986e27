#pragma once

#include <cstdint>

#include "filewatch/IPSFilterInterface.h"

namespace lathwind::testing {

// The other side of the test filter: what a test makes the library do, and asks it afterwards. Any
// thread, but not one that the library calls back on.
class TestFilterControl {
public:
    enum class Call : std::uint32_t { GetInterface, Start, Stop, IsMonitored, Add, Remove };
    static constexpr std::uint32_t kCalls = 6;

    // What a call gives from now on; 0 at first. GetInterface gives no interface unless it is 0.
    virtual void SetResult(Call call, std::int32_t result) = 0;
    // Makes a call throw. Of use only where an exception finds its way out of a library.
    virtual void SetThrowing(Call call, bool isThrowing) = 0;
    virtual std::uint32_t CountOf(Call call) const = 0;
    virtual bool IsWatched(const char* path) const = 0;  // added, and not removed since

    // Queues an event for the library's own thread, which hands events on in order while the filter
    // is started. The event is copied. With `repeats` that many are handed on, with "0", "1" and so
    // on behind the path.
    virtual void Push(const IPSFilterEvent& event, std::uint32_t repeats = 0) = 0;
    // Waits until everything that was queued has been handed on, or the filter is stopped.
    virtual void Drain() = 0;
    virtual std::uint32_t CountOfEvents() const = 0;  // handed on

protected:
    ~TestFilterControl() = default;
};

// The library's second export, beside GetIPSFilterInterface.
inline constexpr const char* kTestFilterEntry = "GetTestFilterControl";
using TestFilterEntry = TestFilterControl* (*)();

}  // namespace lathwind::testing
