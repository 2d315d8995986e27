#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "support/ScopedOverride.h"
#include "support/SleeplessHost.h"
#include "utils/Exceptions.h"
#include "utils/SharedSingleton.h"
#include "utils/ThreadBody.h"

namespace lathwind {
namespace {

using testing::LogCapture;
using testing::ScopedOverride;

class Task : public Runnable {
public:
    explicit Task(std::function<void()> work) : work_(std::move(work)) {}
    void run() override { work_(); }

private:
    std::function<void()> work_;
};

class ExitEvent : public Event {
public:
    void set() override { ++sets; }
    void reset() override {}
    WaitResult wait(std::int32_t, bool) override { return WaitResult::TimeOut; }
    int sets = 0;
};

class ThreadBody : public ::testing::Test {
protected:
    void run(std::function<void()> work) {
        Task task(std::move(work));
        runThreadBody(task, L"Worker", running_);
    }

    testing::SleeplessHost host_;
    ExitEvent exitEvent_;
    ScopedOverride<Event*> exitOverride_{platformFactory.exitEvent, &exitEvent_};
    LogCapture log_;
    std::atomic<bool> running_{false};
};

TEST_F(ThreadBody, RunsWithTheFlagUp) {
    bool seen = false;
    run([&] { seen = running_; });
    EXPECT_TRUE(seen);
    EXPECT_FALSE(running_);
    EXPECT_TRUE(log_.messages.empty());
    EXPECT_EQ(exitEvent_.sets, 0);
}

TEST_F(ThreadBody, ReportsAnExceptionAndSetsTheExitEvent) {
    const bool forcedBefore = isExitForced();
    run([] { throw IDSException(L"no more room", 7, L"file.cpp"); });
    ASSERT_EQ(log_.messages.size(), 1u);
    EXPECT_EQ(log_.messages[0].severity, Severity::Error);
    EXPECT_EQ(log_.messages[0].text,
              L"UT_0050: Unexpected error occurred while running thread:  Worker. Error: "
              L"no more room at line 7 in file file.cpp");
    EXPECT_FALSE(running_);
    EXPECT_EQ(host_.slept, 1000u);
    EXPECT_EQ(exitEvent_.sets, 1);
    EXPECT_EQ(isExitForced(), forcedBefore);

    run([] { throw std::runtime_error("anything"); });
    ASSERT_EQ(log_.messages.size(), 2u);
    EXPECT_EQ(log_.messages[1].text,
              L"UT_0035: Unexpected error occurred while running thread:  Worker");
    EXPECT_FALSE(running_);
    EXPECT_EQ(exitEvent_.sets, 2);
    EXPECT_TRUE(isExitForced());
}

TEST_F(ThreadBody, LetsTheExceptionGoOnWithoutAnExitEvent) {
    const ScopedOverride<Event*> none(platformFactory.exitEvent, nullptr);
    EXPECT_THROW(run([] { throw SerializeException(L"x", 1, L"y"); }), SerializeException);
    EXPECT_THROW(run([] { throw 5; }), int);
    EXPECT_FALSE(running_);
    EXPECT_EQ(host_.slept, 2000u);
    EXPECT_EQ(log_.messages.size(), 2u);
}

struct Counted {
    Counted() { ++alive; }
    ~Counted() { --alive; }
    static inline std::atomic<int> alive{0};
};

TEST(SharedSingletonThreads, HoldsOneObjectWhileAnybodyRefersToIt) {
    using Singleton = SharedSingleton<Counted>;
    std::atomic<int> most{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&most] {
            for (int round = 0; round < 2000; ++round) {
                const Singleton::Reference first;
                const Singleton::Reference second;
                EXPECT_EQ(&*first, &*second);
                const int alive = Counted::alive;
                most = std::max(most.load(), alive);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(most, 1);
    EXPECT_EQ(Counted::alive, 0);
}

struct Settings {
    static inline int loads = 0;
    static inline bool fails = false;
    int value = 1;
};

}  // namespace

template <>
struct SingletonTraits<Settings> {
    static std::unique_ptr<Settings> create() { return std::make_unique<Settings>(); }
    static void load(Settings& settings) {
        // What loading calls may want the settings itself.
        const SharedSingleton<Settings>::Reference same;
        EXPECT_EQ(&*same, &settings);
        EXPECT_EQ(same->value, 1);
        if (Settings::fails) {
            throw IDSException(L"no", 1, L"f");
        }
        settings.value = 2;
        ++Settings::loads;
    }
};

namespace {

TEST(SharedSingleton, LoadsOnceAndComesBackAfterAFailure) {
    using Singleton = SharedSingleton<Settings>;
    Settings::fails = true;
    EXPECT_THROW(Singleton::acquire(), IDSException);
    Settings::fails = false;
    Settings::loads = 0;
    {
        const Singleton::Reference first;
        const Singleton::Reference second;
        EXPECT_EQ(second->value, 2);
        EXPECT_EQ(Settings::loads, 1);
    }
    EXPECT_EQ(Singleton::Reference()->value, 2);
    EXPECT_EQ(Settings::loads, 2);
}

}  // namespace
}  // namespace lathwind
