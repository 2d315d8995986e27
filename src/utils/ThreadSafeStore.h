#pragma once

#include <cstdint>
#include <memory>

#include "utils/Exceptions.h"
#include "utils/HighWaterQueue.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

// A HighWaterQueue under a lock: any thread may call any operation. The lock is held for the list
// operation and the copy of one element only.
template <class T>
class ThreadSafeStore : public HighWaterQueue<T> {
public:
    ThreadSafeStore() : lock_(platformFactory.createLock()) {}

    PushResult push(const T& element) override {
        ScopedLock guard(*lock_);
        return this->appendSoft(element);
    }

    PushResult pushChecked(const T& element) override {
        ScopedLock guard(*lock_);
        return this->appendChecked(element);
    }

    // Throws IDSException on an empty store.
    T front() override {
        ScopedLock guard(*lock_);
        if (this->hasNone()) {
            throw IDSException(L"Attempted front() on empty ThreadSafeStore", __LINE__,
                               L"ThreadSafeStore");
        }
        return this->first();
    }

    // Throws IDSException on an empty store.
    T popFront() override {
        ScopedLock guard(*lock_);
        if (this->hasNone()) {
            throw IDSException(L"Attempted pop_front() on empty ThreadSafeStore", __LINE__,
                               L"ThreadSafeStore");
        }
        return this->takeFirst();
    }

    void setLimit(std::uint32_t limit) override {
        ScopedLock guard(*lock_);
        this->applyLimit(limit);
    }

    QueueState state() const override {
        ScopedLock guard(*lock_);
        return this->unlockedState();
    }

    bool empty() const { return size() == 0; }

    std::uint32_t size() const {
        ScopedLock guard(*lock_);
        return this->countOfElements();
    }

protected:
    Lock& lock() const RETURN_CAPABILITY(*lock_) { return *lock_; }

private:
    const std::unique_ptr<Lock> lock_;
};

}  // namespace lathwind
