#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "utils/ThreadAnnotations.h"

// Mutual exclusion, events and threads. Created through PlatformFactory only.
namespace lathwind {

// A recursive mutual exclusion object, as a critical section is.
class CAPABILITY("mutex") Lock {
public:
    virtual ~Lock() = default;
    virtual void acquire() ACQUIRE() = 0;
    virtual void release() RELEASE() = 0;
};

class SCOPED_CAPABILITY ScopedLock {
public:
    explicit ScopedLock(Lock& lock) ACQUIRE(lock) : lock_(&lock) { lock_->acquire(); }
    ~ScopedLock() RELEASE() {
        if (lock_ != nullptr) {
            lock_->release();
        }
    }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

private:
    Lock* lock_;
};

enum class WaitResult : std::int32_t { Signalled = 0, TimeOut = 1, Completion = 2, Failed = 3 };
inline constexpr std::int32_t kWaitForever = -1;

// Manual reset: it stays signalled until reset. set and reset throw IDSException when the
// platform refuses them.
class Event {
public:
    virtual ~Event() = default;
    virtual void set() = 0;
    virtual void reset() = 0;
    // `alertable` lets a queued completion of the calling thread end the wait.
    virtual WaitResult wait(std::int32_t milliseconds, bool alertable) = 0;
};

class Runnable {
public:
    virtual ~Runnable() = default;
    virtual void run() = 0;
};

// One native thread over a Runnable, which it does not own and which must outlive it.
class Thread {
public:
    virtual ~Thread() = default;
    virtual void start(const std::wstring& name) = 0;
    virtual bool wait() = 0;       // until the thread has ended; false without a thread
    virtual void terminate() = 0;  // last resort of a shutdown that has given up
    virtual bool isRunning() const = 0;
};

}  // namespace lathwind
