#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "support/LogCapture.h"
#include "utils/LockingStore.h"
#include "utils/QueueWarningLatch.h"
#include "utils/SignalledStore.h"

namespace lathwind {
namespace {

// The soft push counts over all queues of one element type, so each test brings its own.
template <int>
struct Item {
    int number = 0;
};

bool isSet(const Event& event) {
    return const_cast<Event&>(event).wait(0, false) == WaitResult::Signalled;
}

void expectThrow(const std::function<void()>& operation, const std::wstring& text) {
    try {
        operation();
        FAIL() << "nothing thrown";
    } catch (const IDSException& exception) {
        EXPECT_TRUE(exception.message.starts_with(text + L" at line "))
            << exception.message.c_str();
    }
}

TEST(HighWaterQueue, KeepsItsMarksAtNineTenths) {
    HighWaterQueue<int> queue;
    const struct {
        std::uint32_t limit, high, low;
    } rows[] = {{64000, 57600, 51840},
                {7500, 6750, 6075},
                {5, 4, 3},
                {0, 0, 0},
                {4294967295u, 3865470565u, 3478923508u}};
    for (const auto& row : rows) {
        if (row.limit != HighWaterQueue<int>::kDefaultLimit) {
            queue.setLimit(row.limit);
        }
        EXPECT_EQ(queue.state().limit, row.limit);
        EXPECT_EQ(queue.state().highMark, row.high);
        EXPECT_EQ(queue.state().lowMark, row.low);
    }
}

TEST(HighWaterQueue, WarnsFromTheHighMarkDownToTheLowOne) {
    HighWaterQueue<int> queue;
    queue.setLimit(100);  // 90, 81
    int pushed = 0;
    const auto fillTo = [&](std::uint32_t count, PushResult expected) {
        while (queue.state().count < count) {
            ASSERT_EQ(queue.pushChecked(pushed++), expected) << queue.state().count;
        }
    };
    fillTo(89, PushResult::Stored);
    fillTo(100, PushResult::HighMark);
    EXPECT_EQ(queue.pushChecked(-1), PushResult::Full);
    EXPECT_EQ(queue.pushChecked(-1), PushResult::Full);
    EXPECT_EQ(queue.state().count, 100u);
    EXPECT_EQ(queue.state().dropped, 2u);
    EXPECT_EQ(queue.state().peak, 100u);
    int popped = 0;
    const auto drainTo = [&](std::uint32_t count) {
        while (queue.state().count > count) {
            ASSERT_EQ(queue.front(), popped);
            ASSERT_EQ(queue.popFront(), popped++);
        }
    };
    drainTo(81);
    fillTo(82, PushResult::HighMark);  // still between the marks
    drainTo(80);
    fillTo(89, PushResult::Stored);
    drainTo(0);
    EXPECT_EQ(queue.state().peak, 100u);
}

TEST(HighWaterQueue, RefusesTheThousandthSoftPushInARowAboveTheLimit) {
    using Queue = HighWaterQueue<Item<1>>;
    Queue queue;
    queue.setLimit(10);
    const auto stored = [&](int pushes) {
        for (int i = 0; i < pushes; ++i) {
            if (queue.push({}) != PushResult::Stored) {
                return i;
            }
        }
        return pushes;
    };
    EXPECT_EQ(stored(10), 10);
    EXPECT_EQ(stored(2000), 999);
    EXPECT_EQ(queue.state().count, 1009u);
    EXPECT_EQ(queue.state().peak, 1010u);  // the refused push was counted
    EXPECT_EQ(queue.state().dropped, 0u);
    EXPECT_EQ(stored(3), 0);
    queue.popFront();
    EXPECT_EQ(stored(2000), 1000);  // the first one after a pop begins the run anew
    Queue other;
    EXPECT_EQ(other.push({}), PushResult::Stored);  // a push to a sister queue breaks the run
    EXPECT_EQ(stored(2000), 1000);
}

TEST(HighWaterQueue, EndsAtTheLengthOfItsList) {
    HighWaterQueue<char> queue;
    queue.setLimit(UINT32_MAX);
    for (std::uint32_t i = 0; i < HighWaterQueue<char>::kMaxElements; ++i) {
        queue.pushChecked('x');
    }
    for (const bool checked : {true, false}) {
        try {
            checked ? queue.pushChecked('y') : queue.push('y');
            FAIL();
        } catch (const std::length_error& error) {
            EXPECT_STREQ(error.what(), "list<T> too long");
        }
    }
    EXPECT_EQ(queue.state().count, HighWaterQueue<char>::kMaxElements);
}

struct Fragile {
    Fragile() = default;
    Fragile(const Fragile&) {
        if (fails) {
            throw std::bad_alloc();
        }
    }
    static inline bool fails = false;
};

TEST(HighWaterQueue, StaysAsItWasWhenACopyThrows) {
    HighWaterQueue<Fragile> queue;
    const Fragile element;
    Fragile::fails = true;
    EXPECT_THROW(queue.push(element), std::bad_alloc);
    EXPECT_THROW(queue.pushChecked(element), std::bad_alloc);
    EXPECT_EQ(queue.state().count, 0u);
    Fragile::fails = false;
    EXPECT_EQ(queue.pushChecked(element), PushResult::Stored);
    EXPECT_EQ(queue.state().count, 1u);
}

TEST(ThreadSafeStore, ThrowsOnEmptyAndGoesOn) {
    ThreadSafeStore<int> store;
    expectThrow([&] { store.front(); }, L"Attempted front() on empty ThreadSafeStore");
    expectThrow([&] { store.popFront(); }, L"Attempted pop_front() on empty ThreadSafeStore");
    EXPECT_TRUE(store.empty());
    store.push(1);
    store.pushChecked(2);
    EXPECT_EQ(store.size(), 2u);
    EXPECT_EQ(store.front(), 1);
    EXPECT_EQ(store.popFront(), 1);
    EXPECT_EQ(store.popFront(), 2);
}

TEST(SignalledStore, SignalsWhileThereIsSomethingToPop) {
    SignalledStore<int> store;
    store.setLimit(1);
    EXPECT_FALSE(isSet(store.event()));
    store.push(1);
    EXPECT_TRUE(isSet(store.event()));
    store.event().reset();
    EXPECT_EQ(store.pushChecked(2), PushResult::Full);
    EXPECT_TRUE(isSet(store.event()));  // whatever the result was
    EXPECT_EQ(store.popFront(), 1);
    EXPECT_FALSE(isSet(store.event()));
}

TEST(SignalledStore, KeepsItsElementsAndItsSignalOnceToldToStop) {
    SignalledStore<int> store;
    store.push(1);
    store.push(2);
    store.terminate();
    EXPECT_FALSE(store.accepting());
    EXPECT_EQ(store.push(3), PushResult::Stopped);
    EXPECT_EQ(store.pushChecked(3), PushResult::Stopped);
    EXPECT_EQ(store.size(), 2u);
    int handled = 0;
    EXPECT_FALSE(drainStep(store, [&](int) { ++handled; }));
    EXPECT_EQ(handled, 0);
    EXPECT_EQ(store.popFront(), 1);
    EXPECT_EQ(store.popFront(), 2);
    EXPECT_TRUE(isSet(store.event()));
}

TEST(SignalledStore, StopsWhenPoppedEmpty) {
    SignalledStore<int> store;
    expectThrow([&] { store.popFront(); }, L"Attempted pop_front() on empty SignalledStore");
    EXPECT_FALSE(store.accepting());
    EXPECT_FALSE(isSet(store.event()));
    expectThrow([&] { store.front(); }, L"Attempted front() on empty ThreadSafeStore");
}

TEST(SignalledStore, DrainsInSteps) {
    SignalledStore<int> store;
    std::string seen;
    const auto handle = [&](int element) {
        seen += static_cast<char>('0' + element);
        if (element == 1) {
            store.push(3);  // a consumer may feed itself
        }
    };
    EXPECT_TRUE(drainStep(store, handle, 0));
    store.push(1);
    store.push(2);
    EXPECT_TRUE(drainStep(store, handle));
    EXPECT_EQ(seen, "123");
}

TEST(LockingStore, SignalsACompleteBatch) {
    LockingStore<int> store;
    store.lockBatch();
    store.unlockBatch();
    EXPECT_FALSE(isSet(store.event()));
    store.lockBatch();
    EXPECT_EQ(store.push(1), PushResult::Stored);
    EXPECT_EQ(store.pushChecked(2), PushResult::Stored);
    EXPECT_EQ(store.front(), 1);
    EXPECT_FALSE(isSet(store.event()));
    store.unlockBatch();
    EXPECT_TRUE(isSet(store.event()));
    EXPECT_EQ(store.popFront(), 1);
    store.lockBatch();  // an empty batch signals what was left before it
    EXPECT_FALSE(isSet(store.event()));
    store.unlockBatch();
    EXPECT_TRUE(isSet(store.event()));
    EXPECT_EQ(store.popFront(), 2);
    EXPECT_FALSE(isSet(store.event()));
    expectThrow([&] { store.popFront(); }, L"Attempted pop_front() on empty LockingStore");
}

TEST(LockingStore, StaysSignalledOnceToldToStop) {
    LockingStore<int> store;
    store.lockBatch();
    store.push(1);
    store.unlockBatch();
    store.terminate();
    EXPECT_TRUE(store.stopped());
    EXPECT_EQ(store.popFront(), 1);
    EXPECT_TRUE(isSet(store.event()));  // a consumer in the middle of a pop still hears of it
    store.lockBatch();
    store.unlockBatch();
    EXPECT_FALSE(store.stopped());
}

TEST(QueueWarningLatch, ReportsAFullQueueOnceAnEpisode) {
    using enum PushResult;
    const testing::LogCapture log;
    QueueWarningLatch latch;
    const struct {
        PushResult result;
        int written;
    } rows[] = {{Stored, 0}, {HighMark, 0}, {HighMark, 0}, {Full, 1},   {Full, 0}, {HighMark, 0},
                {Full, 0},   {Stopped, 0},  {Full, 0},     {Stored, 0}, {Full, 1}, {Full, 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(latch.report(row.result, ModuleId::FilewatchCollector, 170, 171), row.written);
    }
    ASSERT_EQ(log.messages.size(), 2u);
    EXPECT_EQ(log.messages[0].severity, Severity::Error);
    EXPECT_TRUE(log.messages[0].text.starts_with(L"FWC_0008"));
}

}  // namespace
}  // namespace lathwind
