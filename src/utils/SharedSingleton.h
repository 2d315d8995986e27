#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "utils/platform/PlatformFactory.h"

namespace lathwind {

namespace detail {

// Guards the moments in which a singleton's lock comes and goes. Constant-initialised on every
// platform, which a std::mutex is not, so that static constructors may use singletons.
class CAPABILITY("mutex") SingletonGate {
public:
    constexpr SingletonGate() = default;
    void enter() noexcept ACQUIRE() {
        while (taken_.exchange(true, std::memory_order_acquire)) {
            std::this_thread::yield();
        }
    }
    void leave() noexcept RELEASE() { taken_.store(false, std::memory_order_release); }

private:
    std::atomic<bool> taken_{false};
};

class SCOPED_CAPABILITY SingletonGateGuard {
public:
    explicit SingletonGateGuard(SingletonGate& gate) ACQUIRE(gate) : gate_(gate) { gate_.enter(); }
    ~SingletonGateGuard() RELEASE() { gate_.leave(); }
    SingletonGateGuard(const SingletonGateGuard&) = delete;
    SingletonGateGuard& operator=(const SingletonGateGuard&) = delete;

private:
    SingletonGate& gate_;
};

}  // namespace detail

// How a shared singleton comes to life. Specialise it for a type that needs more than this.
template <class T>
struct SingletonTraits {
    static std::unique_ptr<T> create() { return std::make_unique<T>(); }
    // Called once after create(), when the object can be had already: what runs in here may use
    // the singleton on the same thread and finds it as create() left it. Other threads wait.
    static void load(T&) {}
};

// A process-wide object that lives while somebody holds a reference. The first reference creates
// its lock, then the object; the last release destroys the object, then the lock. Any thread may
// acquire and release.
//
// T's constructor and destructor must not refer to the singleton; its load may.
template <class T, class Traits = SingletonTraits<T>>
class SharedSingleton {
public:
    // What create() or load() throws goes to the caller, and no reference is held then.
    static T& acquire() {
        Lock& lock = enter();
        try {
            ScopedLock guard(lock);
            if (object_ == nullptr) {
                object_ = Traits::create().release();
                try {
                    Traits::load(*object_);
                } catch (...) {
                    destroy(object_);
                    throw;
                }
            }
            return *object_;
        } catch (...) {
            release();
            throw;
        }
    }

    // Once for each acquire.
    static void release() {
        detail::SingletonGateGuard guard(gate_);
        if (--references_ == 0) {
            destroy(object_);
            destroy(lock_);
        }
    }

    // A reference that lasts as long as this object.
    class Reference {
    public:
        Reference() : object_(&acquire()) {}
        ~Reference() { release(); }
        Reference(const Reference&) = delete;
        Reference& operator=(const Reference&) = delete;
        T& operator*() const noexcept { return *object_; }
        T* operator->() const noexcept { return object_; }

    private:
        T* object_;
    };

private:
    // Counts the reference before the lock is taken, so that the lock outlives whoever waits for
    // it. The gate guards the lock's own life and is never held while T is being created.
    static Lock& enter() {
        detail::SingletonGateGuard guard(gate_);
        if (lock_ == nullptr) {
            lock_ = platformFactory.createLock().release();
        }
        ++references_;
        return *lock_;
    }

    template <class Object>
    static void destroy(Object*& object) noexcept {
        delete object;
        object = nullptr;
    }

    inline static constinit detail::SingletonGate gate_;
    inline static constinit std::uint32_t references_ GUARDED_BY(gate_) = 0;
    // Plain pointers: an object that is still referred to when static destructors run must stay.
    inline static constinit Lock* lock_ GUARDED_BY(gate_) = nullptr;
    // Written under the lock while references are held, and under the gate after the last one.
    inline static constinit T* object_ = nullptr;
};

}  // namespace lathwind
