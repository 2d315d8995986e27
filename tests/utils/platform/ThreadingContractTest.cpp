#include <atomic>
#include <functional>
#include <gtest/gtest.h>

#include "utils/platform/PlatformFactory.h"
#include "utils/platform/Threading.h"

// Both Lock and Event are waited for from a second thread here, so that a wrong answer shows as a
// wrong value and not as a hang: each wait has a limit far beyond what a right answer takes.
namespace lathwind {
namespace {

constexpr std::int32_t kLongMs = 30'000;

class Task : public Runnable {
public:
    explicit Task(std::function<void()> action) : action_(std::move(action)) {}
    void run() override { action_(); }

private:
    std::function<void()> action_;
};

std::unique_ptr<Event> makeEvent(const std::wstring& name = L"") {
    return platformFactory.createEvent(name);
}

TEST(ThreadingContractThreads, EventStaysSetUntilReset) {
    const auto event = makeEvent();
    EXPECT_EQ(event->wait(0, false), WaitResult::TimeOut);
    EXPECT_EQ(event->wait(1, true), WaitResult::TimeOut);
    event->set();
    event->set();
    EXPECT_EQ(event->wait(0, false), WaitResult::Signalled);
    EXPECT_EQ(event->wait(kWaitForever, true), WaitResult::Signalled);
    event->reset();
    EXPECT_EQ(event->wait(0, false), WaitResult::TimeOut);
}

TEST(ThreadingContractThreads, EventWakesEveryWaiter) {
    const auto go = makeEvent();
    std::atomic<int> woken = 0;
    Task task([&] {
        if (go->wait(kLongMs, false) == WaitResult::Signalled) {
            ++woken;
        }
    });
    const auto first = platformFactory.createThread(task);
    const auto second = platformFactory.createThread(task);
    first->start(L"first");
    second->start(L"second");
    go->set();
    EXPECT_TRUE(first->wait());
    EXPECT_TRUE(second->wait());
    EXPECT_EQ(woken, 2);
}

TEST(ThreadingContractThreads, EventsOfOneNameAreOne) {
    const auto event = makeEvent(L"lathwind-contract-a");
    const auto same = makeEvent(L"lathwind-contract-a");
    const auto other = makeEvent(L"lathwind-contract-b");
    event->set();
    EXPECT_EQ(same->wait(0, false), WaitResult::Signalled);
    EXPECT_EQ(other->wait(0, false), WaitResult::TimeOut);
}

// The analysis knows no recursive locks.
void countUnderLockHeldTwice(Lock& lock, int& counter) NO_THREAD_SAFETY_ANALYSIS {
    const ScopedLock outer(lock);
    const ScopedLock inner(lock);
    ++counter;
}

TEST(ThreadingContractThreads, LockIsRecursiveAndExcludesOthers) {
    const auto lock = platformFactory.createLock();
    int counter = 0;
    Task task([&] {
        for (int i = 0; i < 20'000; ++i) {
            countUnderLockHeldTwice(*lock, counter);
        }
    });
    const auto first = platformFactory.createThread(task);
    const auto second = platformFactory.createThread(task);
    first->start(L"first");
    second->start(L"second");
    EXPECT_TRUE(first->wait());
    EXPECT_TRUE(second->wait());
    EXPECT_EQ(counter, 40'000);
}

TEST(ThreadingContractThreads, ThreadIsRunningBetweenStartAndEnd) {
    const auto started = makeEvent();
    const auto finish = makeEvent();
    Task task([&] {
        started->set();
        finish->wait(kLongMs, false);
    });
    const auto thread = platformFactory.createThread(task);
    EXPECT_FALSE(thread->isRunning());
    EXPECT_FALSE(thread->wait());  // never started
    thread->start(L"a name that is longer than what the system keeps of it");
    EXPECT_EQ(started->wait(kLongMs, false), WaitResult::Signalled);
    EXPECT_TRUE(thread->isRunning());
    finish->set();
    EXPECT_TRUE(thread->wait());
    EXPECT_FALSE(thread->isRunning());
    EXPECT_TRUE(thread->wait());  // still ended
}

TEST(ThreadingContractThreads, ThreadOutlivesItsObject) {
    const auto finish = makeEvent();
    const auto finished = makeEvent();
    Task task([&] {
        finish->wait(kLongMs, false);
        finished->set();
    });
    auto thread = platformFactory.createThread(task);
    thread->start(L"orphan");
    thread.reset();
    finish->set();
    EXPECT_EQ(finished->wait(kLongMs, false), WaitResult::Signalled);
}

// Not a suite of the thread sanitizer: a thread that is taken away in the middle of anything is
// what it is there to complain about.
TEST(ThreadingContract, TerminatedThreadRunsNoFurther) {
    static const std::unique_ptr<Event> never = makeEvent();  // the thread goes while it waits
    static const std::unique_ptr<Event> started = makeEvent();
    static Task task([] {
        started->set();
        never->wait(kWaitForever, false);
    });
    const auto thread = platformFactory.createThread(task);
    thread->start(L"stuck");
    ASSERT_EQ(started->wait(kLongMs, false), WaitResult::Signalled);
    thread->terminate();
    EXPECT_FALSE(thread->wait());
    thread->terminate();  // nothing left to end
}

}  // namespace
}  // namespace lathwind
