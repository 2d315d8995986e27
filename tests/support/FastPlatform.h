#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "support/HostDecorator.h"
#include "support/ScopedOverride.h"

namespace lathwind::testing {

// While it lives, time runs kSpeed times as fast: both clocks, sleeps, and waits for events that
// were made meanwhile. Threads are real ones. So what happens once a minute happens several times a
// second, and nothing is left out. Set up before the threads start, one at a time.
class FastPlatform : public HostDecorator {
public:
    static constexpr std::int32_t kSpeed = 200;

    FastPlatform()
        : HostDecorator(install(*this)),
          startMs_(HostDecorator::currentTimeMs() - kBehindMs),
          steadyStartMs_(HostDecorator::steadyTimeMs()) {}

    std::int64_t currentTimeMs() override {
        return startMs_ + (HostDecorator::steadyTimeMs() - steadyStartMs_) * kSpeed;
    }
    std::int64_t steadyTimeMs() override { return HostDecorator::steadyTimeMs() * kSpeed; }
    void sleepMs(std::uint32_t milliseconds) override {
        HostDecorator::sleepMs(std::max<std::uint32_t>(milliseconds / kSpeed, 1));
    }

private:
    // Behind the clock of the file system, which is not a fast one: to polling every change is one
    // of this very moment, and it looks again.
    static constexpr std::int64_t kBehindMs = std::int64_t{30} * 24 * 3600 * 1000;

    using CreateEvent = std::unique_ptr<Event> (*)(const std::wstring&);

    class FastEvent : public Event {
    public:
        explicit FastEvent(std::unique_ptr<Event> event) : event_(std::move(event)) {}
        void set() override { event_->set(); }
        void reset() override { event_->reset(); }
        WaitResult wait(std::int32_t milliseconds, bool alertable) override {
            const bool isLimited = milliseconds > 0;
            return event_->wait(isLimited ? std::max(milliseconds / kSpeed, 1) : milliseconds,
                                alertable);
        }

    private:
        const std::unique_ptr<Event> event_;
    };

    static platform::Host& install(FastPlatform& fast) {
        current() = &fast;
        realEvents() = platformFactory.createEvent;
        return platform::host();
    }
    static FastPlatform*& current() {
        static FastPlatform* fast = nullptr;
        return fast;
    }
    static CreateEvent& realEvents() {
        static CreateEvent create = nullptr;
        return create;
    }

    const std::int64_t startMs_;
    const std::int64_t steadyStartMs_;
    ScopedOverride<platform::Host& (*)()> host_{platformFactory.host,
                                                +[]() -> platform::Host& { return *current(); }};
    ScopedOverride<CreateEvent> events_{platformFactory.createEvent,
                                        +[](const std::wstring& name) -> std::unique_ptr<Event> {
                                            return std::make_unique<FastEvent>(realEvents()(name));
                                        }};
};

}  // namespace lathwind::testing
