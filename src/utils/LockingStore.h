#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "utils/Exceptions.h"
#include "utils/HighWaterQueue.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

// A queue for producers that add a batch at a time: they bracket their pushes, which take no
// lock, with lockBatch and unlockBatch, and a consumer that wakes sees the whole batch. Any
// thread may pop.
template <class T>
class LockingStore : public HighWaterQueue<T> {
public:
    LockingStore()
        : lock_(platformFactory.createLock()),
          event_(platformFactory.createEvent(std::wstring())) {}

    // The event is reset before the lock is taken: a consumer that has not popped yet waits for
    // the batch to be complete.
    void lockBatch() ACQUIRE(*lock_) {
        state_.store(kInService, std::memory_order_relaxed);
        event_->reset();
        lock_->acquire();
    }

    void unlockBatch() RELEASE(*lock_) {
        if (!this->hasNone()) {
            state_.store(kInService, std::memory_order_relaxed);
            event_->set();
        }
        lock_->release();
    }

    PushResult push(const T& element) override REQUIRES(*lock_) {
        return this->appendSoft(element);
    }
    PushResult pushChecked(const T& element) override REQUIRES(*lock_) {
        return this->appendChecked(element);
    }
    T front() override REQUIRES(*lock_) { return this->first(); }

    // Takes the lock itself, since the consumer is outside any batch. Throws IDSException on an
    // empty store.
    T popFront() override {
        ScopedLock guard(*lock_);
        if (this->hasNone()) {
            throw IDSException(L"Attempted pop_front() on empty LockingStore", __LINE__,
                               L"LockingStore");
        }
        T first = this->takeFirst();
        if (this->hasNone() && !stopped()) {
            event_->reset();
        }
        return first;
    }

    // Tells the consumer to leave: stopped() holds and the event stays set. Elements still queued
    // stay where they are. The next batch puts the store back into service, so stop the producers
    // first.
    void terminate() {
        ScopedLock guard(*lock_);
        state_.store(kStopped, std::memory_order_relaxed);
        event_->set();
    }

    // For the consumer, behind each wait.
    bool stopped() const noexcept { return state_.load(std::memory_order_relaxed) == kStopped; }

    void setLimit(std::uint32_t limit) override {
        ScopedLock guard(*lock_);
        this->applyLimit(limit);
    }

    QueueState state() const override {
        ScopedLock guard(*lock_);
        return this->unlockedState();
    }

    bool empty() const {
        ScopedLock guard(*lock_);
        return this->hasNone();
    }

    // Set while there are complete batches to pop, and when the consumer has to leave.
    Event& event() const noexcept { return *event_; }

private:
    const std::unique_ptr<Lock> lock_;
    const std::unique_ptr<Event> event_;
    static constexpr std::int32_t kStopped = 0;
    static constexpr std::int32_t kInService = 1;
    std::atomic<std::int32_t> state_{kInService};  // lockBatch writes it outside the lock
};

}  // namespace lathwind
