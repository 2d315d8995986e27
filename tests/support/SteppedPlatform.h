#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "support/HostDecorator.h"
#include "support/ScopedOverride.h"

namespace lathwind::testing {

// A wait without a limit, for something that nobody is left to do.
class NothingToWaitFor : public std::logic_error {
public:
    NothingToWaitFor() : std::logic_error("a wait that nothing will end") {}
};

// While it lives, no thread starts and nobody sleeps: a test calls the steps of whatever would have
// run, and every wait that nothing ends moves the clock by as much as it would have taken. So a
// whole engine runs on one thread, in an order that the test sets. One at a time.
class SteppedPlatform : public HostDecorator {
public:
    SteppedPlatform()
        : HostDecorator(install(*this)), nowMs_(HostDecorator::currentTimeMs() - kBehindMs) {}
    ~SteppedPlatform() override { current() = nullptr; }
    SteppedPlatform(const SteppedPlatform&) = delete;
    SteppedPlatform& operator=(const SteppedPlatform&) = delete;

    void sleepMs(std::uint32_t milliseconds) override { advance(milliseconds); }
    std::int64_t currentTimeMs() override { return nowMs_; }
    std::int64_t steadyTimeMs() override { return steadyMs_; }

    void advance(std::int64_t milliseconds) {
        nowMs_ += milliseconds;
        steadyMs_ += milliseconds;
        if (whenTimePasses) {
            whenTimePasses();
        }
    }
    std::function<void()> whenTimePasses;                                // what others do meanwhile
    void setBack(std::int64_t milliseconds) { nowMs_ -= milliseconds; }  // by an operator

private:
    // The test's clock stays behind that of the file system, so that to polling every change is
    // one of this very moment: a folder may change twice within one step of its time stamp.
    static constexpr std::int64_t kBehindMs = std::int64_t{30} * 24 * 3600 * 1000;

    class SteppedThread : public Thread {
    public:
        void start(const std::wstring&) override {}
        bool wait() override { return true; }
        void terminate() override {}
        bool isRunning() const override { return true; }
    };

    class SteppedEvent : public Event {
    public:
        void set() override { isSet_ = true; }
        void reset() override { isSet_ = false; }
        WaitResult wait(std::int32_t milliseconds, bool) override {
            if (isSet_) {
                return WaitResult::Signalled;
            }
            if (milliseconds == kWaitForever) {
                throw NothingToWaitFor();
            }
            current()->advance(milliseconds);
            return WaitResult::TimeOut;
        }

    private:
        bool isSet_ = false;
    };

    static platform::Host& install(SteppedPlatform& stepped) {
        current() = &stepped;
        return platform::host();
    }
    static SteppedPlatform*& current() {
        static SteppedPlatform* stepped = nullptr;
        return stepped;
    }

    std::int64_t nowMs_;
    std::int64_t steadyMs_ = 1;
    ScopedOverride<platform::Host& (*)()> host_{platformFactory.host,
                                                +[]() -> platform::Host& { return *current(); }};
    ScopedOverride<std::unique_ptr<Thread> (*)(Runnable&)> threads_{
        platformFactory.createThread,
        +[](Runnable&) -> std::unique_ptr<Thread> { return std::make_unique<SteppedThread>(); }};
    ScopedOverride<std::unique_ptr<Event> (*)(const std::wstring&)> events_{
        platformFactory.createEvent, +[](const std::wstring&) -> std::unique_ptr<Event> {
            return std::make_unique<SteppedEvent>();
        }};
};

}  // namespace lathwind::testing
