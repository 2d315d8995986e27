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
        state_.store(1, std::memory_order_relaxed);
        event_->reset();
        lock_->acquire();
    }

    void unlockBatch() RELEASE(*lock_) {
        if (!this->hasNone()) {
            state_.store(1, std::memory_order_relaxed);
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
        if (this->hasNone()) {
            event_->reset();
        }
        return first;
    }

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

    // Set while there are complete batches to pop.
    Event& event() const noexcept { return *event_; }

private:
    const std::unique_ptr<Lock> lock_;
    const std::unique_ptr<Event> event_;
    // 1 for a store in service, the only state there is. Written outside the lock.
    std::atomic<std::int32_t> state_{1};
};

}  // namespace lathwind
