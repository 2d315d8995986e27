#pragma once

#include <utility>

#include "utils/platform/PlatformFactory.h"

namespace lathwind::testing {

// Puts `value` in the place of one entry of platformFactory (or of any other variable) and puts
// the old one back at the end:
//
//     ScopedOverride host(platformFactory.host, +[]() -> platform::Host& { return fakeHost; });
//
// An override is seen by every thread, and the entries are plain pointers: set it before the
// threads of a test start, and end them before it goes out of scope.
template <class T>
class ScopedOverride {
public:
    template <class Value>
    ScopedOverride(T& entry, Value&& value)
        : entry_(entry), previous_(std::exchange(entry, T(std::forward<Value>(value)))) {}
    ~ScopedOverride() { entry_ = std::move(previous_); }
    ScopedOverride(const ScopedOverride&) = delete;
    ScopedOverride& operator=(const ScopedOverride&) = delete;

private:
    T& entry_;
    T previous_;
};

template <class T, class Value>
ScopedOverride(T&, Value&&) -> ScopedOverride<T>;

}  // namespace lathwind::testing
