#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "utils/platform/Threading.h"

namespace lathwind {

// One timer: what it was asked to do, and how far it is. Times are seconds, calendar times seconds
// since 1970.
class TimerItem {
public:
    enum class Kind : std::int32_t {
        Absolute = 0,  // the first sleep is the calendar time of the first expiry
        Relative = 1,  // the first sleep is the seconds until it
    };

    // A period of 0 makes a timer that expires once.
    TimerItem(std::int64_t timerId, std::wstring timerName, Kind timerKind,
              std::int64_t timerFirstSleep, std::int32_t timerPeriod);
    virtual ~TimerItem() = default;
    TimerItem(const TimerItem&) = default;
    TimerItem& operator=(const TimerItem&) = default;
    virtual void SetId(std::int64_t value) { id = value; }
    virtual std::int64_t GetId() const { return id; }

    const std::wstring& GetName() const noexcept { return name; }
    std::int32_t GetPeriod() const noexcept { return period; }
    // A running sleep is moved along by as much, and ends in a second at the earliest.
    void SetPeriod(std::int32_t seconds);
    std::int64_t GetRemaining() const noexcept { return remaining; }
    std::uint32_t GetExpiryCount() const noexcept { return expiryCount; }

private:
    friend class ThreadForTimers;

    std::int64_t id;
    std::wstring name;  // for log lines only
    Kind kind;
    std::int64_t firstSleep;
    std::int32_t period;
    std::uint32_t expiryCount = 0;  // since activation
    bool firstRun = true;           // until the first expiry
    std::int64_t due = 0;           // calendar time of the next expiry, on the timer's grid
    std::int64_t lastLook = 0;      // calendar time up to which `remaining` counts; 0 when stopped
    std::int64_t remaining = 0;     // seconds still to sleep, as of the last look
};

// A timer service with one thread and a resolution of one second: it sleeps as long as the nearest
// timer needs, and calls one operation for each expiry. Of timers that are due in the same second
// the one that was started first comes first.
//
// Any thread may call the operations; the lock they take is held while TimerExpired runs, so a long
// handler makes them wait. A handler may call them too, the lock being recursive.
class ThreadForTimers : public Runnable {
public:
    ThreadForTimers();
    // A derived class calls Stop in its own destructor: the thread uses its operations.
    ~ThreadForTimers() override;
    ThreadForTimers(const ThreadForTimers&) = delete;
    ThreadForTimers& operator=(const ThreadForTimers&) = delete;

    // The thread's loop: Step until told to stop. What a handler throws is logged and passed on,
    // which ends the thread.
    void run() override;
    // One round: sleeps until the nearest timer is due or something wakes the thread, then fires
    // what is due. False once told to stop.
    bool Step();

    virtual void Start();
    // Waits for the thread and forgets every timer. Not to be called by a handler.
    virtual void Stop();

    // Takes the timer over. False, with the timer destroyed, for an id that is registered already;
    // else the result of the start, or true without one.
    bool AddTimer(std::unique_ptr<TimerItem> timer, bool start);
    bool RemoveTimer(std::int64_t id);  // false for an unknown id
    // False for a timer that runs or is unknown, and for a single expiry that lies in the past.
    bool StartTimer(std::int64_t id);
    // The timer stays registered. False when it was not running. An expiry that has been found but
    // not been fired yet still comes.
    bool CancelTimer(std::int64_t id);
    // A copy of a registered timer; null for an unknown id.
    std::unique_ptr<TimerItem> GetTimer(std::int64_t id) const;

protected:
    // Called on the thread, with the lock held. A handler may change the period of the timer it is
    // given, and then gives true, which asks for another look at the sleeps.
    virtual bool TimerExpired(std::int64_t now, TimerItem& timer) = 0;
    // Calendar time in seconds.
    virtual std::int64_t GetNow();
    // Waits on `wake`; kWaitForever is no limit.
    virtual void WaitForWake(Event& wake, std::int32_t milliseconds);

    Lock& lock() const RETURN_CAPABILITY(*lock_) { return *lock_; }

private:
    using Registered = std::multimap<std::int64_t, std::unique_ptr<TimerItem>>;
    using Running = std::multimap<std::int64_t, TimerItem*>;

    std::int64_t PrepareSleep();
    void AdjustTimers(std::int64_t now);
    bool FireExpired(std::int64_t now);
    void RestartAll(std::int64_t now) REQUIRES(*lock_);
    bool Activate(TimerItem& timer, std::int64_t now) REQUIRES(*lock_);
    static std::int64_t TakeDrift(TimerItem& timer, std::int64_t now);
    bool CountDown(TimerItem& timer, std::int64_t now) REQUIRES(*lock_);
    Registered::iterator FindRegistered(std::int64_t id) REQUIRES(*lock_);
    Running::iterator FindRunning(std::int64_t id) REQUIRES(*lock_);

    const std::unique_ptr<Event> wake_;
    std::unique_ptr<Thread> thread_;
    const std::unique_ptr<Lock> lock_;
    std::atomic<bool> exit_{false};
    Registered registered_ GUARDED_BY(*lock_);  // every timer, by its first sleep when registered
    Running running_ GUARDED_BY(*lock_);        // those that count down, by what remains
    std::list<TimerItem*> expired_ GUARDED_BY(*lock_);  // found expired, not yet fired
    std::int64_t currentSleep_ GUARDED_BY(*lock_) = 0;  // seconds; 0 while sleeping without limit
    std::int64_t lastWake_ GUARDED_BY(*lock_) = 0;      // calendar time at which the sleep began
    std::int64_t now_ = 0;                              // of the thread alone
};

}  // namespace lathwind
