#pragma once

#include <chrono>
#include <pthread.h>

#include "utils/ThreadAnnotations.h"

namespace lathwind::posix {

// The platform layer's own mutex, which the thread-safety analysis knows.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    ~Mutex() { ::pthread_mutex_destroy(&native_); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { ::pthread_mutex_lock(&native_); }
    void unlock() RELEASE() { ::pthread_mutex_unlock(&native_); }

private:
    friend class Condition;
    pthread_mutex_t native_ = PTHREAD_MUTEX_INITIALIZER;
};

class SCOPED_CAPABILITY MutexHolder {
public:
    explicit MutexHolder(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexHolder() RELEASE() { mutex_.unlock(); }
    MutexHolder(const MutexHolder&) = delete;
    MutexHolder& operator=(const MutexHolder&) = delete;

private:
    Mutex& mutex_;
};

// Waits by the monotonic clock: a clock that is set does not stretch a time-out.
class Condition {
public:
    Condition() {
        pthread_condattr_t attributes;
        ::pthread_condattr_init(&attributes);
        ::pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        ::pthread_cond_init(&native_, &attributes);
        ::pthread_condattr_destroy(&attributes);
    }
    // Not destroyed: the C library keeps nothing in it that had to be released, and its destroy
    // waits for the last waiter to leave, which a thread that was terminated while it waited
    // never does.
    ~Condition() = default;
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    void notifyAll() { ::pthread_cond_broadcast(&native_); }
    void wait(Mutex& mutex) REQUIRES(mutex) { ::pthread_cond_wait(&native_, &mutex.native_); }
    // False once `deadline` (CLOCK_MONOTONIC) has passed.
    bool waitUntil(Mutex& mutex, const timespec& deadline) REQUIRES(mutex) {
        return ::pthread_cond_timedwait(&native_, &mutex.native_, &deadline) == 0;
    }
    static timespec deadlineIn(std::chrono::milliseconds duration) {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        const auto nanoseconds =
            std::chrono::nanoseconds(now.tv_nsec) + std::chrono::nanoseconds(duration);
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(nanoseconds);
        return {now.tv_sec + seconds.count(), (nanoseconds - seconds).count()};
    }

private:
    pthread_cond_t native_{};
};

}  // namespace lathwind::posix
