#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <stdexcept>
#include <utility>

namespace lathwind {

// What became of an element. The numbers are fixed: producers hand them on as they are.
enum class PushResult : std::int32_t {
    Stored = 0,
    HighMark = 1,  // stored, and the queue has been at the high mark since it last was low
    Full = 2,      // refused
    Stopped = 3,   // refused: the consumer was told to stop
};

// A queue's limits and counts at one moment, in elements.
struct QueueState {
    std::uint32_t limit = 0;
    std::uint32_t highMark = 0;
    std::uint32_t lowMark = 0;
    std::uint32_t count = 0;
    std::uint32_t peak = 0;     // highest count ever, refused soft pushes included
    std::uint32_t dropped = 0;  // elements refused by pushChecked
    bool warned = false;        // between the marks on the way down
};

// The bounded list at the bottom of every store: first in, first out, with two marks below its
// limit that give a producer an early warning. Not locked: one thread, or a store's lock.
//
// The stores are T-by-value: an element is copied in and moved out, and a store of pointers
// does not own what they point to.
template <class T>
class HighWaterQueue {
public:
    static constexpr std::uint32_t kDefaultLimit = 64000;
    // Beyond this many elements both pushes throw std::length_error, whatever the limit.
    static constexpr std::uint32_t kMaxElements = 42949672;
    // So many soft pushes in a row may lie above the limit, less one.
    static constexpr std::uint32_t kOverrunLength = 1000;

    HighWaterQueue() { applyLimit(kDefaultLimit); }
    virtual ~HighWaterQueue() = default;
    HighWaterQueue(const HighWaterQueue&) = delete;
    HighWaterQueue& operator=(const HighWaterQueue&) = delete;

    // The soft form, for a caller that must not lose an element to a short burst: above the limit
    // it stores on until 1000 pushes in a row have seen no element leave, and then refuses (Full)
    // until one does. Gives Stored or Full.
    virtual PushResult push(const T& element) { return appendSoft(element); }

    // The strict form: refuses (Full) above the limit. Gives HighMark from the high mark on, and
    // on the way down until the count is back at the low mark.
    virtual PushResult pushChecked(const T& element) { return appendChecked(element); }

    // The first element; the queue must not be empty.
    virtual T front() { return elements_.front(); }
    virtual T popFront() { return takeFirst(); }

    // Sets the limit, the high mark to nine tenths of it and the low mark to nine tenths of the
    // high mark, each truncated.
    virtual void setLimit(std::uint32_t limit) { applyLimit(limit); }
    virtual QueueState state() const { return state_; }

    static constexpr std::uint32_t nineTenths(std::uint32_t value) noexcept {
        return static_cast<std::uint32_t>(std::uint64_t{value} * 9 / 10);
    }

protected:
    PushResult appendChecked(const T& element) {
        PushResult result = PushResult::Stored;
        const std::uint32_t count = state_.count + 1;
        if (count <= state_.lowMark) {
            state_.warned = false;
        } else if (count >= state_.highMark) {
            if (state_.limit < count) {
                ++state_.dropped;
                return PushResult::Full;
            }
            state_.warned = true;
            result = PushResult::HighMark;
        } else if (state_.warned) {
            result = PushResult::HighMark;
        }
        append(element);
        raisePeak(count);
        return result;
    }

    PushResult appendSoft(const T& element) {
        const std::uint32_t count = state_.count + 1;
        raisePeak(count);
        if (isOverrun(count)) {
            return PushResult::Full;
        }
        append(element);
        return PushResult::Stored;
    }

    T takeFirst() {
        T first = std::move(elements_.front());
        elements_.pop_front();
        --state_.count;
        return first;
    }

    // Removes every element equal to `element`. They do not count as dropped.
    void eraseEqual(const T& element) {
        state_.count -= static_cast<std::uint32_t>(std::erase(elements_, element));
    }

    const T& first() const { return elements_.front(); }
    bool hasNone() const noexcept { return state_.count == 0; }
    std::uint32_t countOfElements() const noexcept { return state_.count; }
    const QueueState& unlockedState() const noexcept { return state_; }

    void applyLimit(std::uint32_t limit) noexcept {
        state_.limit = limit;
        state_.highMark = nineTenths(limit);
        state_.lowMark = nineTenths(state_.highMark);
    }

private:
    // The count is raised last, so that an append that throws leaves the queue as it was.
    void append(const T& element) {
        if (state_.count >= kMaxElements) {
            throw std::length_error("list<T> too long");
        }
        elements_.push_back(element);
        ++state_.count;
    }

    void raisePeak(std::uint32_t count) noexcept {
        if (count > state_.peak) {
            state_.peak = count;
        }
    }

    // Has no element left any queue of this type for a whole run of pushes above the limit?
    //
    // The run is counted over all queues of one element type together: a push to another queue
    // breaks it, which is what two stores of one type under load rely on. Two such stores hold
    // two different locks, hence the atomics; an interleaving only shifts where the soft limit
    // bites.
    bool isOverrun(std::uint32_t count) noexcept {
        constexpr auto relaxed = std::memory_order_relaxed;
        if (!sharedStarted_.exchange(true, relaxed)) {
            sharedExpected_.store(count, relaxed);
        }
        const std::uint32_t expected = sharedExpected_.fetch_add(1, relaxed) + 1;
        if (expected == count && count > state_.limit) {
            if (sharedRun_.fetch_add(1, relaxed) + 1 >= kOverrunLength) {
                sharedExpected_.fetch_sub(1, relaxed);
                return true;
            }
        } else {
            sharedExpected_.store(count, relaxed);
            sharedRun_.store(0, relaxed);
        }
        return false;
    }

    inline static std::atomic<bool> sharedStarted_{false};
    inline static std::atomic<std::uint32_t> sharedExpected_{0};
    inline static std::atomic<std::uint32_t> sharedRun_{0};

    std::deque<T> elements_;  // a linked list's order at a block's allocation cost
    QueueState state_;
};

}  // namespace lathwind
