// A timer keeps what remains of its sleep as of a last look, and the running timers are ordered by
// that. A round sleeps for the first one's remainder, then takes the time that has passed off
// every timer. One that has nothing left goes to the expired list and, if it repeats, starts its
// next sleep at once, shortened by what it woke too late: a period so keeps to its own grid.
//
// A clock that was set back would make every remainder wrong, and one that was corrected by hours
// would keep a timer silent for as long. All running timers are started anew then.
#include "filewatch/ThreadForTimers.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;
constexpr std::int64_t kMillisecondsPerSecond = 1000;
constexpr std::int64_t kShortestSleep = 1;  // a sleep of nothing would make the thread spin

std::int32_t toMilliseconds(std::int64_t seconds) {
    if (seconds < 1) {
        return kWaitForever;
    }
    constexpr std::int64_t longest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(seconds, longest / kMillisecondsPerSecond) *
                                     kMillisecondsPerSecond);
}

}  // namespace

TimerItem::TimerItem(std::int64_t timerId, std::wstring timerName, Kind timerKind,
                     std::int64_t timerFirstSleep, std::int32_t timerPeriod)
    : id(timerId),
      name(std::move(timerName)),
      kind(timerKind),
      firstSleep(timerFirstSleep),
      period(timerPeriod) {}

void TimerItem::SetPeriod(std::int32_t seconds) {
    if (period > 0) {
        const std::int64_t moved = remaining + seconds - period;
        remaining = moved < 2 ? kShortestSleep : moved;
        due = lastLook + remaining;  // a grid of its own from the next expiry on
    }
    period = seconds;
}

ThreadForTimers::ThreadForTimers()
    : wake_(platformFactory.createEvent(std::wstring())), lock_(platformFactory.createLock()) {}

ThreadForTimers::~ThreadForTimers() {
    ThreadForTimers::Stop();
}

void ThreadForTimers::Start() {
    if (thread_ != nullptr) {
        return;
    }
    exit_.store(false);
    thread_ = platformFactory.createThread(*this);
    thread_->start(L"ThreadForTimers");
}

void ThreadForTimers::Stop() {
    exit_.store(true);
    wake_->set();
    if (thread_ != nullptr) {
        thread_->wait();
        thread_.reset();
    }
    const ScopedLock guard(*lock_);
    running_.clear();
    expired_.clear();
    registered_.clear();
}

void ThreadForTimers::run() {
    now_ = GetNow();
    try {
        while (Step()) {
        }
    } catch (...) {
        debugLog(kModule, L"Internal error occurred in Timer action module");
        throw;
    }
}

bool ThreadForTimers::Step() {
    if (now_ == 0) {
        now_ = GetNow();
    }
    WaitForWake(*wake_, toMilliseconds(PrepareSleep()));
    debugLog(kModule, L"Timer Thread has Woken up");
    wake_->reset();
    if (exit_.load()) {
        return false;
    }
    now_ = GetNow();
    AdjustTimers(now_);
    if (FireExpired(now_)) {
        AdjustTimers(now_);
    }
    return true;
}

// Gives the seconds to sleep, 0 for without limit.
std::int64_t ThreadForTimers::PrepareSleep() {
    const ScopedLock guard(*lock_);
    lastWake_ = now_;
    if (running_.empty()) {
        currentSleep_ = 0;
        debugLog(kModule, L"Sleeping till some action wakes me up");
        return currentSleep_;
    }
    const TimerItem& nearest = *running_.begin()->second;
    currentSleep_ = running_.begin()->first;
    debugLog(kModule, L"Sleeping for %ld seconds for Timer %ld (%ls)", currentSleep_, nearest.id,
             nearest.name);
    return currentSleep_;
}

std::int64_t ThreadForTimers::GetNow() {
    return platform::host().currentTimeMs() / kMillisecondsPerSecond;
}

void ThreadForTimers::WaitForWake(Event& wake, std::int32_t milliseconds) {
    wake.wait(milliseconds, false);  // a failed wait looks like a wake
}

ThreadForTimers::Registered::iterator ThreadForTimers::FindRegistered(std::int64_t id) {
    return std::find_if(registered_.begin(), registered_.end(),
                        [id](const auto& row) { return row.second->GetId() == id; });
}

ThreadForTimers::Running::iterator ThreadForTimers::FindRunning(std::int64_t id) {
    return std::find_if(running_.begin(), running_.end(),
                        [id](const auto& row) { return row.second->GetId() == id; });
}

bool ThreadForTimers::AddTimer(std::unique_ptr<TimerItem> timer, bool start) {
    const ScopedLock guard(*lock_);
    const std::int64_t id = timer->GetId();
    if (FindRegistered(id) != registered_.end()) {
        return false;
    }
    const std::int64_t key = timer->firstSleep;
    registered_.emplace(key, std::move(timer));
    return !start || StartTimer(id);
}

bool ThreadForTimers::RemoveTimer(std::int64_t id) {
    const ScopedLock guard(*lock_);
    CancelTimer(id);
    const auto row = FindRegistered(id);
    if (row == registered_.end()) {
        return false;
    }
    // A timer that is gone cannot fire, though its expiry may have been found already.
    expired_.remove(row->second.get());
    registered_.erase(row);
    return true;
}

bool ThreadForTimers::StartTimer(std::int64_t id) {
    const ScopedLock guard(*lock_);
    if (const auto row = FindRunning(id); row != running_.end()) {
        debugLog(kModule, L"Timer %ld (%ls) already started", id, row->second->name);
        return false;
    }
    const auto row = FindRegistered(id);
    return row != registered_.end() && Activate(*row->second, GetNow());
}

bool ThreadForTimers::CancelTimer(std::int64_t id) {
    const ScopedLock guard(*lock_);
    const auto row = FindRunning(id);
    if (row == running_.end()) {
        return false;
    }
    TimerItem& timer = *row->second;
    running_.erase(row);
    timer.lastLook = 0;
    timer.expiryCount = 0;
    debugLog(kModule, L"Cancelled Timer : %ld (%ls)", id, timer.name);
    return true;
}

std::unique_ptr<TimerItem> ThreadForTimers::GetTimer(std::int64_t id) const {
    const ScopedLock guard(*lock_);
    for (const auto& [key, timer] : registered_) {
        if (timer->GetId() == id) {
            return std::make_unique<TimerItem>(*timer);
        }
    }
    return nullptr;
}

// `timer` is not running. False for a single expiry that lies in the past.
bool ThreadForTimers::Activate(TimerItem& timer, std::int64_t now) {
    debugLog(kModule, L"-> STARTING TIMER: %ld (%ls) with: %ld initial sleep time", timer.id,
             timer.name, timer.firstSleep);
    std::int64_t sleep = timer.firstSleep;
    if (timer.kind == TimerItem::Kind::Absolute) {
        if (sleep >= now && (timer.firstRun || timer.period == 0)) {
            sleep -= now;
        } else if (timer.period == 0) {
            return false;
        } else {
            // The next point of the grid that the start lies on, in the past or, where the clock
            // was set back, ahead.
            sleep = timer.period - (now - sleep) % timer.period;
            if (sleep > timer.period) {
                sleep -= timer.period;
            }
        }
    }
    timer.lastLook = now;
    timer.due = now + sleep;
    timer.expiryCount = 0;
    timer.remaining = sleep;
    running_.emplace(sleep, &timer);
    debugLog(kModule, L"Timer %ld (%ls) inserted with %ld initial sleep timer", timer.id,
             timer.name, sleep);
    // A sleep of nothing would be taken for one without limit.
    if (sleep < kShortestSleep || currentSleep_ == 0 || now + sleep < lastWake_ + currentSleep_) {
        wake_->set();
    }
    return true;
}

void ThreadForTimers::AdjustTimers(std::int64_t now) {
    const ScopedLock guard(*lock_);
    if (running_.empty()) {
        return;
    }
    if (now < lastWake_) {
        RestartAll(now);
        return;
    }
    Running next;
    for (const auto& [key, timer] : running_) {
        if (CountDown(*timer, now)) {
            debugLog(kModule, L"Timer %ld (%ls) Now is sleeping for %ld", timer->id, timer->name,
                     timer->remaining);
            next.emplace(timer->remaining, timer);
        }
    }
    running_ = std::move(next);
    debugLog(kModule, L"Total Active Timers: %ld", running_.size());
}

void ThreadForTimers::RestartAll(std::int64_t now) {
    const Running before = std::exchange(running_, {});
    for (const auto& [key, timer] : before) {
        Activate(*timer, now);
    }
}

// Moves the timer on to its next expiry. Gives the seconds by which the one that is being found now
// came late, negative for early: taking them off the next sleep keeps the timer on its grid. A
// relative timer has no grid before its first expiry has been told.
std::int64_t ThreadForTimers::TakeDrift(TimerItem& timer, std::int64_t now) {
    const std::int64_t drift = (now - timer.due) % timer.period;
    timer.due = now - drift + timer.period;
    if (timer.kind == TimerItem::Kind::Relative && timer.expiryCount == 0) {
        return 0;
    }
    if (drift > 0) {
        debugLog(kModule, L"Delta for Timer %ld (%ls) is %ld", timer.id, timer.name, drift);
    }
    return drift;
}

// Takes the time since the last look off the timer. True while it goes on running.
bool ThreadForTimers::CountDown(TimerItem& timer, std::int64_t now) {
    const std::int64_t elapsed = now - std::exchange(timer.lastLook, now);
    if (elapsed < timer.remaining) {
        timer.remaining = std::max(timer.remaining - elapsed, kShortestSleep);
        return true;
    }
    expired_.push_back(&timer);
    timer.firstRun = false;
    if (timer.period == 0) {
        timer.lastLook = 0;
        timer.expiryCount = 0;
        return false;
    }
    timer.remaining = std::max(timer.period - TakeDrift(timer, now), kShortestSleep);
    return true;
}

bool ThreadForTimers::FireExpired(std::int64_t now) {
    const ScopedLock guard(*lock_);
    bool wantsAdjustment = false;
    while (!expired_.empty()) {
        TimerItem& timer = *expired_.front();
        expired_.pop_front();
        ++timer.expiryCount;
        debugLog(kModule, L"Generating Timer Event for %ld (%ls)", timer.id, timer.name);
        // Each expiry is told, whatever the ones before it asked for.
        wantsAdjustment |= TimerExpired(now, timer);
    }
    return wantsAdjustment;
}

}  // namespace lathwind
