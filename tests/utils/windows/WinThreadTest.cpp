#include <gtest/gtest.h>

#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

// Tells that it runs and waits until it may end.
class Gate : public Runnable {
public:
    void run() override {
        entered->set();
        leave->wait(kWaitForever, false);
    }
    std::unique_ptr<Event> entered = makeEvent(L"");
    std::unique_ptr<Event> leave = makeEvent(L"");
};

TEST(WinThreads, RunsUntilTheRunnableReturns) {
    Gate gate;
    const auto thread = makeThread(gate);
    EXPECT_FALSE(thread->isRunning());
    EXPECT_FALSE(thread->wait()) << "there is no thread to wait for";
    thread->start(L"Gate");
    gate.entered->wait(kWaitForever, false);
    EXPECT_TRUE(thread->isRunning());
    gate.leave->set();
    EXPECT_TRUE(thread->wait());
    EXPECT_FALSE(thread->isRunning());
}

TEST(WinThreads, TerminateLeavesNothingToWaitFor) {
    Gate gate;
    const auto thread = makeThread(gate);
    thread->start(L"Gate");
    gate.entered->wait(kWaitForever, false);
    thread->terminate();
    EXPECT_FALSE(thread->wait());
    thread->terminate();
}

TEST(WinThreads, LockIsRecursiveAndKeepsOthersOut) {
    class Counter : public Runnable {
    public:
        void run() override {
            for (int round = 0; round < 10000; ++round) {
                const ScopedLock outer(*lock);
                const ScopedLock inner(*lock);
                ++count;
            }
        }
        std::unique_ptr<Lock> lock = makeLock();
        int count = 0;
    } counter;
    const auto first = makeThread(counter);
    const auto second = makeThread(counter);
    first->start(L"First");
    second->start(L"Second");
    EXPECT_TRUE(first->wait());
    EXPECT_TRUE(second->wait());
    EXPECT_EQ(20000, counter.count);
}

}  // namespace
}  // namespace lathwind::windows
