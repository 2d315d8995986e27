#include <atomic>
#include <gtest/gtest.h>

#include "events/EventSourceSubject.h"
#include "support/SleeplessHost.h"

namespace lathwind {
namespace {

class TestSubject : public EventSourceSubject {
public:
    TestSubject() : EventSourceSubject(L"Test Collector") { setLimit(10); }
    ~TestSubject() override { stop(); }
    void start() { startThread(L"TestSubject"); }
    void stop() { stopThread(); }
    void run() override {
        while (step(kWaitForever)) {
        }
    }
    PushResult offerOne() { return offer(std::make_unique<IDSEvent>()); }
};

struct Destination : EventDestination {
    bool isFull() override { return taken >= room; }
    void take(std::unique_ptr<IDSEvent>) override { ++taken; }

    std::atomic<int> taken{0};
    int room = 1'000'000;
};

TEST(EventSourceSubjectTest, HandsOnUntilTheDestinationIsFull) {
    testing::SleeplessHost host;
    TestSubject subject;
    Destination destination;
    destination.room = 3;
    subject.attach(destination);
    for (int i = 0; i < 5; ++i) {
        subject.offerOne();
    }
    EXPECT_TRUE(subject.step(0));
    EXPECT_EQ(destination.taken, 3);
    EXPECT_EQ(subject.eventCount(), 3u);
    EXPECT_EQ(subject.queueState().count, 2u) << "what does not fit waits";
    EXPECT_EQ(host.slept, 500u);
    destination.room = 9;
    EXPECT_TRUE(subject.step(0));
    EXPECT_EQ(destination.taken, 5);
    EXPECT_EQ(host.slept, 500u);
}

TEST(EventSourceSubjectTest, RefusesWhatIsTooMuch) {
    TestSubject subject;
    int refused = 0;
    for (int i = 0; i < 14; ++i) {
        refused += subject.offerOne() == PushResult::Full ? 1 : 0;
    }
    EXPECT_EQ(refused, 4);
    EXPECT_TRUE(subject.step(0));
    EXPECT_EQ(subject.eventCount(), 10u) << "without a destination they are counted and gone";
    subject.stop();
    EXPECT_EQ(subject.offerOne(), PushResult::Stopped);
    EXPECT_FALSE(subject.step(0));
}

TEST(EventSourceSubjectTest, TheFirstDestinationStays) {
    TestSubject subject;
    Destination first;
    Destination second;
    subject.attach(first);
    subject.attach(second);
    subject.detach(second);
    subject.offerOne();
    subject.step(0);
    subject.detach(first);
    subject.attach(second);
    subject.offerOne();
    subject.step(0);
    EXPECT_EQ(first.taken, 1);
    EXPECT_EQ(second.taken, 1);
}

TEST(EventSourceSubjectThreads, EveryEventArrives) {
    TestSubject subject;
    Destination destination;
    subject.attach(destination);
    subject.start();
    int stored = 0;
    while (stored < 1000) {
        const PushResult result = subject.offerOne();
        stored += result == PushResult::Stored || result == PushResult::HighMark ? 1 : 0;
    }
    subject.stop();
    EXPECT_EQ(static_cast<std::uint32_t>(destination.taken) + subject.queueState().count, 1000u);
}

}  // namespace
}  // namespace lathwind
