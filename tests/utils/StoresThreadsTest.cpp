#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "utils/LockingStore.h"
#include "utils/SignalledStore.h"

namespace lathwind {
namespace {

constexpr int kProducers = 3;
constexpr int kElements = 5000;  // of each producer

struct Element {
    int producer = 0;
    int number = 0;
};

// What a consumer has seen: each producer's elements must come in their order.
class Tally {
public:
    void take(Element element) {
        const auto producer = static_cast<std::size_t>(element.producer);
        EXPECT_EQ(element.number, next_[producer]++);
        ++count_;
    }
    bool complete() const { return count_ == kProducers * kElements; }

private:
    std::array<int, kProducers> next_{};
    int count_ = 0;
};

template <class Produce>
class Producers {
public:
    explicit Producers(Produce produce) {
        for (int producer = 0; producer < kProducers; ++producer) {
            threads_.emplace_back(produce, producer);
        }
    }
    ~Producers() {
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }
    Producers(const Producers&) = delete;
    Producers& operator=(const Producers&) = delete;

private:
    std::vector<std::thread> threads_;
};

TEST(StoresThreads, ThreadSafeStoreLosesNothing) {
    ThreadSafeStore<Element> store;
    Tally tally;
    const Producers producers([&](int producer) {
        for (int number = 0; number < kElements; ++number) {
            const Element element{producer, number};
            ASSERT_EQ(number % 2 ? store.push(element) : store.pushChecked(element),
                      PushResult::Stored);
        }
    });
    while (!tally.complete()) {
        if (store.empty()) {
            std::this_thread::yield();
        } else {
            tally.take(store.popFront());
        }
    }
    EXPECT_LE(store.state().peak, std::uint32_t{kProducers * kElements});
}

TEST(StoresThreads, SignalledStoreWakesItsConsumerForEachElement) {
    SignalledStore<Element> store;
    Tally tally;
    std::thread consumer([&] {
        while (drainStep(store, [&](Element element) {
            tally.take(element);
            if (tally.complete()) {
                store.terminate();
            }
        })) {
        }
    });
    {
        const Producers producers([&](int producer) {
            for (int number = 0; number < kElements; ++number) {
                ASSERT_EQ(store.pushChecked({producer, number}), PushResult::Stored);
            }
        });
    }
    consumer.join();
    EXPECT_TRUE(tally.complete());
    EXPECT_EQ(store.push({}), PushResult::Stopped);
}

TEST(StoresThreads, SignalledStoreStopsAWaitingConsumer) {
    SignalledStore<Element> store;
    std::thread consumer([&] {
        while (drainStep(store, [](Element) {})) {
        }
    });
    store.push({});
    store.terminate();
    consumer.join();
    EXPECT_LE(store.size(), 1u);
}

TEST(StoresThreads, LockingStoreShowsWholeBatches) {
    constexpr int kBatch = 10;
    LockingStore<Element> store;
    Tally tally;
    const Producers producers([&](int producer) {
        for (int number = 0; number < kElements; number += kBatch) {
            store.lockBatch();
            for (int i = 0; i < kBatch; ++i) {
                store.push({producer, number + i});
            }
            store.unlockBatch();
        }
    });
    while (!tally.complete()) {
        store.event().wait(kWaitForever, false);
        // The event may belong to a batch that was popped already.
        for (int i = 0; i < kBatch && !store.empty(); ++i) {
            tally.take(store.popFront());
        }
    }
    EXPECT_TRUE(store.empty());
}

// The counters of the soft push are shared between stores that share no lock.
TEST(StoresThreads, SoftPushesOfTwoStoresOfOneType) {
    std::array<ThreadSafeStore<Element>, kProducers> stores;
    {
        const Producers producers([&](int producer) {
            auto& store = stores[static_cast<std::size_t>(producer)];
            store.setLimit(1);
            for (int number = 0; number < kElements; ++number) {
                store.push({producer, number});
            }
        });
    }
    for (auto& store : stores) {
        EXPECT_GE(store.size(), 1000u);
    }
}

}  // namespace
}  // namespace lathwind
