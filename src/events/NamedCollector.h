#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "events/IDSEvent.h"

namespace lathwind {

// Where a collector's events go: the policy side.
class EventDestination {
public:
    virtual ~EventDestination() = default;
    virtual bool isFull() = 0;
    virtual void take(std::unique_ptr<IDSEvent> event) = 0;
};

// The base of every collector: a name, a count of events, and a place to hand them to.
//
// attach and detach are called with the collector's thread stopped; the count may be read by any
// thread.
class NamedCollector {
public:
    explicit NamedCollector(std::wstring name) : name_(std::move(name)) {}
    virtual ~NamedCollector() = default;
    NamedCollector(const NamedCollector&) = delete;
    NamedCollector& operator=(const NamedCollector&) = delete;

    const std::wstring& name() const noexcept { return name_; }
    std::uint64_t eventCount() const noexcept { return count_.load(std::memory_order_relaxed); }

    // The first destination stays until it is detached; detaching another one does nothing.
    void attach(EventDestination& destination) noexcept;
    void detach(const EventDestination& destination) noexcept;

    // Hands events on until there are none, or the destination is full: what it was found to be
    // last. Without a destination events are counted and destroyed.
    bool Drain();

protected:
    // The next event of the collector; null when there is none.
    virtual std::unique_ptr<IDSEvent> nextEvent() = 0;

private:
    const std::wstring name_;
    std::atomic<std::uint64_t> count_{0};
    EventDestination* destination_ = nullptr;
};

}  // namespace lathwind
