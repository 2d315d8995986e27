#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "utils/ThreadSafeStore.h"

namespace lathwind {

// A ThreadSafeStore that feeds one consumer thread. Its event is set while there is something to
// pop, and for good once the store was told to stop. A store serves one run of its thread:
// nothing makes it accept again.
//
// The event is set and reset under the lock, so the last pop and the next push are ordered and no
// wake-up is lost.
template <class T>
class SignalledStore : public ThreadSafeStore<T> {
public:
    // An empty name makes an anonymous event; a named one can be seen by other processes.
    explicit SignalledStore(const std::wstring& eventName = std::wstring())
        : event_(platformFactory.createEvent(eventName)) {}

    // Both pushes give Stopped, and store nothing, after terminate(). The event is set first: what
    // its failure throws finds the element still the caller's.
    PushResult push(const T& element) override {
        ScopedLock guard(this->lock());
        if (accepting_ == 0) {
            return PushResult::Stopped;
        }
        event_->set();
        return this->appendSoft(element);
    }

    PushResult pushChecked(const T& element) override {
        ScopedLock guard(this->lock());
        if (accepting_ == 0) {
            return PushResult::Stopped;
        }
        event_->set();
        return this->appendChecked(element);
    }

    // An empty store stops accepting and throws IDSException: its consumer has lost count.
    T popFront() override {
        ScopedLock guard(this->lock());
        if (this->hasNone()) {
            accepting_ = 0;
            event_->reset();
            throw IDSException(L"Attempted pop_front() on empty SignalledStore", __LINE__,
                               L"SignalledStore");
        }
        T first = this->takeFirst();
        if (this->hasNone() && accepting_ != 0) {
            event_->reset();
        }
        return first;
    }

    // Forgets every element equal to `element`, for an owner whose element is about to go.
    void remove(const T& element) {
        ScopedLock guard(this->lock());
        this->eraseEqual(element);
        if (this->hasNone() && accepting_ != 0) {
            event_->reset();
        }
    }

    // Tells the consumer to leave. Elements still queued stay where they are.
    void terminate() {
        ScopedLock guard(this->lock());
        accepting_ = 0;
        event_->set();
    }

    bool accepting() const {
        ScopedLock guard(this->lock());
        return accepting_ != 0;
    }

    // For the consumer to wait on; only the store sets and resets it.
    Event& event() const noexcept { return *event_; }

private:
    const std::unique_ptr<Event> event_;
    std::int32_t accepting_ GUARDED_BY(this->lock()) = 1;
};

// One turn of a consumer's loop: waits for the store's event, then hands each element to `handle`
// until the store is empty. False when the consumer has to leave: the store was told to stop
// (elements may be left in it), or its event cannot be waited on any more. A time-out gives true.
template <class T, class Handle>
bool drainStep(SignalledStore<T>& store, Handle&& handle,
               std::int32_t milliseconds = kWaitForever) {
    if (store.event().wait(milliseconds, false) == WaitResult::Failed || !store.accepting()) {
        return false;
    }
    while (!store.empty()) {
        handle(store.popFront());
    }
    return true;
}

}  // namespace lathwind
