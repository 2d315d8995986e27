#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "filewatch/ThreadForTimers.h"
#include "support/LogCapture.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::LogCapture;
using Kind = TimerItem::Kind;

constexpr std::int64_t kStart = 1'000'000;

// Timers on a clock that moves only while the thread would sleep, by as much as it would.
class SteppedTimers : public ThreadForTimers {
public:
    ~SteppedTimers() override { Stop(); }

    void Add(std::int64_t id, Kind kind, std::int64_t firstSleep, std::int32_t period) {
        EXPECT_TRUE(AddTimer(std::make_unique<TimerItem>(id, L"t", kind, firstSleep, period), true))
            << id;
    }
    // Expiries as "id@seconds since the start".
    std::string RunUntil(std::int64_t seconds) {
        fired.clear();
        horizon = kStart + seconds;
        while (!isIdle && clock < kStart + seconds) {
            Step();
        }
        return fired;
    }

    std::int64_t clock = kStart;
    std::int64_t horizon = kStart;
    std::int64_t late = 0;  // seconds that the next wake comes too late; negative for too early
    std::int64_t jump = 0;  // moves the clock at the next wake instead of the sleep
    std::string fired;
    std::vector<std::int64_t> sleeps;
    bool isIdle = false;  // went to sleep without limit
    std::int64_t toCancel = -1;
    std::int64_t toStart = -1;
    std::int64_t toRemove = -1;
    std::int32_t newPeriod = 0;

protected:
    std::int64_t GetNow() override { return clock; }
    void WaitForWake(Event& /*wake*/, std::int32_t milliseconds) override {
        isIdle = milliseconds == kWaitForever;
        const std::int64_t sleep = isIdle ? 0 : milliseconds / 1000;
        sleeps.push_back(sleep);
        if (jump != 0) {
            clock += std::exchange(jump, 0);
        } else if (late != 0) {
            clock += sleep + std::exchange(late, 0);
        } else {
            clock += std::min(sleep, std::max<std::int64_t>(horizon - clock, 1));
        }
    }
    bool TimerExpired(std::int64_t now, TimerItem& timer) override {
        fired += std::to_string(timer.GetId()) + "@" + std::to_string(now - kStart) + " ";
        CancelTimer(std::exchange(toCancel, -1));
        StartTimer(std::exchange(toStart, -1));
        RemoveTimer(std::exchange(toRemove, -1));
        if (newPeriod != 0) {
            timer.SetPeriod(std::exchange(newPeriod, 0));
            return true;
        }
        return false;
    }
};

TEST(ThreadForTimersTest, ExpiriesComeOnTheirGrid) {
    struct Case {
        const char* name;
        Kind kind;
        std::int64_t firstSleep;
        std::int32_t period;
        const char* expected;
    };
    const Case cases[] = {
        {"relative", Kind::Relative, 10, 60, "1@10 1@70 1@130 1@190 "},
        {"relative, at once", Kind::Relative, 0, 100, "1@0 1@100 "},
        {"relative, once", Kind::Relative, 20, 0, "1@20 "},
        {"absolute, to come", Kind::Absolute, kStart + 30, 100, "1@30 1@130 "},
        {"absolute, to come, longer than its period", Kind::Absolute, kStart + 150, 20,
         "1@150 1@170 1@190 "},
        {"absolute, once", Kind::Absolute, kStart + 30, 0, "1@30 "},
        {"absolute, past", Kind::Absolute, kStart - 3600 + 50, 600, "1@50 "},
        {"absolute, past, short period", Kind::Absolute, kStart - 5, 60, "1@55 1@115 1@175 "},
        {"absolute, now", Kind::Absolute, kStart, 150, "1@0 1@150 "},
    };
    for (const Case& test : cases) {
        SteppedTimers timers;
        timers.Add(1, test.kind, test.firstSleep, test.period);
        if (test.firstSleep == 0 || test.firstSleep == kStart) {
            // A sleep of nothing is one without limit: the start itself wakes the thread.
            timers.RunUntil(1);
            timers.isIdle = false;
            EXPECT_EQ(timers.fired.substr(0, 4), "1@0 ") << test.name;
            continue;
        }
        EXPECT_EQ(timers.RunUntil(200), test.expected) << test.name;
    }
    SteppedTimers timers;
    EXPECT_FALSE(timers.AddTimer(std::make_unique<TimerItem>(7, L"", Kind::Absolute, 5, 0), true));
    EXPECT_NE(timers.GetTimer(7), nullptr) << "a start that lies in the past leaves it registered";
}

TEST(ThreadForTimersTest, ALateWakeShortensTheNextSleep) {
    SteppedTimers timers;
    timers.Add(1, Kind::Relative, 60, 60);
    EXPECT_EQ(timers.RunUntil(60), "1@60 ");
    timers.late = 3;
    EXPECT_EQ(timers.RunUntil(240), "1@123 1@180 1@240 ");
    EXPECT_EQ(timers.sleeps, (std::vector<std::int64_t>{60, 60, 57, 60}));
    timers.late = 130;  // two expiries slept through come as one
    EXPECT_EQ(timers.RunUntil(540), "1@430 1@480 1@540 ");
}

TEST(ThreadForTimersTest, ManyTimersShareTheThread) {
    SteppedTimers timers;
    timers.Add(3, Kind::Relative, 30, 30);
    timers.Add(1, Kind::Relative, 30, 30);
    timers.Add(2, Kind::Relative, 45, 45);
    // Of those due together the one that was started first is first.
    EXPECT_EQ(timers.RunUntil(90), "3@30 1@30 2@45 3@60 1@60 3@90 1@90 2@90 ");

    timers.toCancel = 1;  // found expired already: it fires once more
    EXPECT_EQ(timers.RunUntil(150), "3@120 1@120 2@135 3@150 ");
    timers.toRemove = 2;
    EXPECT_EQ(timers.RunUntil(240), "3@180 3@210 3@240 ");
    EXPECT_TRUE(timers.StartTimer(1));
    EXPECT_EQ(timers.RunUntil(300), "3@270 1@270 3@300 1@300 ");

    timers.toCancel = timers.toStart = 1;  // the expiry found before the new start tells no grid
    EXPECT_EQ(timers.RunUntil(330), "3@330 1@330 ");
    timers.late = 4;
    EXPECT_EQ(timers.RunUntil(420), "3@364 1@364 3@390 1@390 3@420 1@420 ");
}

TEST(ThreadForTimersTest, AnEarlyWakeFiresNothing) {
    SteppedTimers timers;
    timers.Add(1, Kind::Relative, 30, 30);
    timers.late = -10;
    EXPECT_EQ(timers.RunUntil(30), "1@30 ");
    EXPECT_EQ(timers.sleeps, (std::vector<std::int64_t>{30, 10}));
}

TEST(ThreadForTimersTest, AClockSetBackRestartsAll) {
    SteppedTimers timers;
    timers.Add(1, Kind::Relative, 100, 50);
    timers.Add(2, Kind::Absolute, kStart + 300, 0);
    timers.jump = -7200;
    timers.Step();
    EXPECT_EQ(timers.fired, "");
    EXPECT_EQ(timers.RunUntil(-7200 + 200), "1@-7100 1@-7050 1@-7000 ");
    timers.CancelTimer(1);
    EXPECT_TRUE(timers.CancelTimer(2));
    EXPECT_TRUE(timers.StartTimer(2));
    EXPECT_EQ(timers.RunUntil(300), "2@300 ") << "a single moment stays where it is";
}

TEST(ThreadForTimersTest, AClockSetBackLeavesAGridWhereItIs) {
    SteppedTimers timers;
    timers.Add(1, Kind::Absolute, kStart + 100, 1000);
    EXPECT_EQ(timers.RunUntil(1100), "1@100 1@1100 ");
    timers.jump = -3333;
    timers.Step();
    EXPECT_EQ(timers.RunUntil(100), "1@-1900 1@-900 1@100 ");
}

TEST(ThreadForTimersTest, ATimerDueAtOnceWakesTheThread) {
    // Started by a handler, when the sleep that has just ended hides that the next one is nothing.
    struct Starting : SteppedTimers {
        bool TimerExpired(std::int64_t now, TimerItem& timer) override {
            if (timer.GetId() == 1 && timer.GetExpiryCount() == 1) {
                Add(2, Kind::Relative, 0, 50);
            }
            return SteppedTimers::TimerExpired(now, timer);
        }
        void WaitForWake(Event& wake, std::int32_t milliseconds) override {
            wasSet = wake.wait(0, false) == WaitResult::Signalled;
            SteppedTimers::WaitForWake(wake, milliseconds);
        }
        bool wasSet = false;
    } timers;
    timers.Add(1, Kind::Relative, 10, 10);
    timers.Step();  // what set the event at the start
    EXPECT_EQ(timers.RunUntil(10).substr(0, 5), "1@10 ");
    timers.Step();
    EXPECT_TRUE(timers.wasSet);
}

TEST(ThreadForTimersTest, PeriodsChange) {
    struct Case {
        std::int32_t from;
        std::int64_t remaining;
        std::int32_t to;
        std::int64_t expected;
    };
    const Case cases[] = {{60, 40, 100, 80}, {60, 40, 22, 2}, {60, 40, 21, 1}, {60, 40, 10, 1}};
    for (const Case& test : cases) {
        SteppedTimers timers;
        timers.Add(1, Kind::Relative, test.remaining, test.from);
        const auto timer = timers.GetTimer(1);
        timer->SetPeriod(test.to);
        EXPECT_EQ(timer->GetRemaining(), test.expected) << test.to;
        EXPECT_EQ(timer->GetPeriod(), test.to);
    }
    // From a handler: the next sleep is the new one at once.
    SteppedTimers timers;
    timers.Add(1, Kind::Relative, 10, 10);
    timers.newPeriod = 100;
    EXPECT_EQ(timers.RunUntil(110), "1@10 1@110 ");
    // In the middle of its life: the grid goes on from the next expiry.
    SteppedTimers old;
    old.Add(1, Kind::Relative, 60, 60);
    old.RunUntil(480);
    old.newPeriod = 90;
    EXPECT_EQ(old.RunUntil(720), "1@540 1@630 1@720 ");
}

TEST(ThreadForTimersTest, RegistrationRules) {
    LogCapture log;
    SteppedTimers timers;
    timers.Add(1, Kind::Relative, 5, 5);
    EXPECT_FALSE(timers.AddTimer(std::make_unique<TimerItem>(1, L"", Kind::Relative, 1, 1), false));
    EXPECT_FALSE(timers.StartTimer(1));
    EXPECT_TRUE(log.hasDebug(L"Timer 1 (t) already started"));
    EXPECT_FALSE(timers.StartTimer(2));
    EXPECT_FALSE(timers.CancelTimer(2));
    EXPECT_FALSE(timers.RemoveTimer(2));
    EXPECT_TRUE(timers.CancelTimer(1));
    EXPECT_TRUE(log.hasDebug(L"Cancelled Timer : 1 (t)"));
    EXPECT_FALSE(timers.CancelTimer(1));
    EXPECT_TRUE(timers.RemoveTimer(1));
    EXPECT_EQ(timers.GetTimer(1), nullptr);
    timers.Step();
    EXPECT_TRUE(timers.isIdle);
    EXPECT_TRUE(log.hasDebug(L"Sleeping till some action wakes me up"));
}

// The real thread, clock and event.
class RealTimers : public ThreadForTimers {
public:
    ~RealTimers() override { Stop(); }
    const std::unique_ptr<Event> done = platformFactory.createEvent(L"");

protected:
    bool TimerExpired(std::int64_t, TimerItem&) override {
        done->set();
        return false;
    }
};

TEST(ThreadForTimersThreads, ANewTimerCutsASleepShort) {
    RealTimers timers;
    timers.AddTimer(std::make_unique<TimerItem>(1, L"far", Kind::Relative, 3600, 0), true);
    timers.Start();
    timers.AddTimer(std::make_unique<TimerItem>(2, L"near", Kind::Relative, 1, 0), true);
    EXPECT_EQ(timers.done->wait(20'000, false), WaitResult::Signalled);
    timers.Stop();
    EXPECT_EQ(timers.GetTimer(1), nullptr);
}

}  // namespace
}  // namespace lathwind
