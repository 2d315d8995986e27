#pragma once

#include <atomic>
#include <cstdint>

#include "support/HostDecorator.h"
#include "support/ScopedOverride.h"

namespace lathwind::testing {

// While it lives, nobody sleeps: the milliseconds are added up instead.
class SleeplessHost : public HostDecorator {
public:
    SleeplessHost() : HostDecorator(install(*this)) {}
    void sleepMs(std::uint32_t milliseconds) override { slept += milliseconds; }

    std::atomic<std::uint32_t> slept{0};

private:
    static platform::Host& install(SleeplessHost& host) {
        current() = &host;
        return platform::host();
    }
    static SleeplessHost*& current() {
        static SleeplessHost* host = nullptr;
        return host;
    }

    ScopedOverride<platform::Host& (*)()> override_{
        platformFactory.host, +[]() -> platform::Host& { return *current(); }};
};

}  // namespace lathwind::testing
