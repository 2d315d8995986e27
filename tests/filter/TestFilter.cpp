// A real-time filter without a driver: does what a test has scripted (support/TestFilterControl.h), on a
// thread of its own. It stands in for the maker's library and shares nothing with the agent but the
// interface.
#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/TestFilterControl.h"

#ifdef _WIN32
#define TEST_FILTER_EXPORT extern "C" __declspec(dllexport)
#else
#define TEST_FILTER_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace lathwind::testing {
namespace {

// An event with what its pointers point to.
class OwnedEvent {
public:
    OwnedEvent(const IPSFilterEvent& event, std::uint32_t repeats)
        : repeats_(repeats),
          event_(event),
          path_(copy(event.filePath)),
          image_(copy(event.processImage)),
          newPath_(copy(event.newPath)) {
        if (const auto* bytes = static_cast<const std::byte*>(event.userIdentifier)) {
            constexpr std::size_t kHead = 8;
            sid_.assign(bytes, bytes + kHead + 4 * std::to_integer<std::size_t>(bytes[1]));
        }
    }

    void handOn(IPSFilterCallback callback) const { handOn(callback, path_); }
    void handOn(IPSFilterCallback callback, std::uint32_t number) const {
        handOn(callback, path_.value_or(L"") + std::to_wstring(number));
    }
    std::uint32_t repeats() const { return repeats_; }

private:
    using Text = std::optional<std::wstring>;
    static Text copy(const wchar_t* text) { return text == nullptr ? std::nullopt : Text(text); }
    static const wchar_t* address(const Text& text) { return text ? text->c_str() : nullptr; }

    void handOn(IPSFilterCallback callback, const Text& path) const {
        IPSFilterEvent event = event_;
        event.filePath = address(path);
        event.processImage = address(image_);
        event.newPath = address(newPath_);
        event.userIdentifier = sid_.empty() ? nullptr : sid_.data();
        callback(&event);
    }

    std::uint32_t repeats_;
    IPSFilterEvent event_;
    Text path_;
    Text image_;
    Text newPath_;
    std::vector<std::byte> sid_;
};

class TestFilter final : public IPSFilterInterface, public TestFilterControl {
public:
    // Whoever forgets to stop the filter must not hang the end of the process.
    ~TestFilter() {
        if (thread_.joinable()) {
            thread_.detach();
        }
    }

    IPSFilterInterface* GetInterface() { return answer(Call::GetInterface) == 0 ? this : nullptr; }

    std::int32_t start(IPSFilterCallback callback) override {
        const std::int32_t result = answer(Call::Start);
        if (result == 0 && !thread_.joinable()) {
            {
                const std::lock_guard guard(mutex_);
                isStarted_ = true;
            }
            thread_ = std::thread([this, callback] { run(callback); });
        }
        return result;
    }
    std::int32_t stop() override {
        const std::int32_t result = answer(Call::Stop);
        if (result == 0 && thread_.joinable()) {
            {
                const std::lock_guard guard(mutex_);
                isStarted_ = false;
            }
            changed_.notify_all();
            thread_.join();
        }
        return result;
    }
    std::int32_t reserved() override { return 0; }
    std::int32_t isPathMonitored(const wchar_t* /*path*/) override {
        return answer(Call::IsMonitored);
    }
    std::int32_t addPath(const char* path, std::int32_t, std::int32_t, std::int32_t) override {
        const std::int32_t result = answer(Call::Add);
        const std::lock_guard guard(mutex_);
        if (result == 0) {
            watched_.insert(path);
        }
        return result;
    }
    std::int32_t removePath(const char* path, std::int32_t, std::int32_t, std::int32_t) override {
        const std::int32_t result = answer(Call::Remove);
        const std::lock_guard guard(mutex_);
        if (result == 0) {
            watched_.erase(path);
        }
        return result;
    }

    void SetResult(Call call, std::int32_t result) override {
        const std::lock_guard guard(mutex_);
        of(call).result = result;
    }
    void SetThrowing(Call call, bool isThrowing) override {
        const std::lock_guard guard(mutex_);
        of(call).isThrowing = isThrowing;
    }
    std::uint32_t CountOf(Call call) const override {
        const std::lock_guard guard(mutex_);
        return calls_[static_cast<std::size_t>(call)].count;
    }
    bool IsWatched(const char* path) const override {
        const std::lock_guard guard(mutex_);
        return watched_.contains(path);
    }
    void Push(const IPSFilterEvent& event, std::uint32_t repeats) override {
        const std::lock_guard guard(mutex_);
        queue_.emplace_back(event, repeats);
        changed_.notify_all();
    }
    void Drain() override {
        std::unique_lock guard(mutex_);
        changed_.wait(guard, [this] { return !isStarted_ || queue_.empty(); });
    }
    std::uint32_t CountOfEvents() const override {
        const std::lock_guard guard(mutex_);
        return events_;
    }

private:
    struct Scripted {
        std::int32_t result = 0;
        bool isThrowing = false;
        std::uint32_t count = 0;
    };

    Scripted& of(Call call) { return calls_[static_cast<std::size_t>(call)]; }

    std::int32_t answer(Call call) {
        const std::lock_guard guard(mutex_);
        Scripted& scripted = of(call);
        ++scripted.count;
        if (scripted.isThrowing) {
            throw std::runtime_error("as the test asked");
        }
        return scripted.result;
    }

    // An event leaves the queue behind its last call, so that Drain waits for that.
    void run(IPSFilterCallback callback) {
        std::unique_lock guard(mutex_);
        for (;;) {
            changed_.wait(guard, [this] { return !isStarted_ || !queue_.empty(); });
            if (!isStarted_) {
                return;
            }
            const OwnedEvent& event = queue_.front();  // a push moves no element
            for (std::uint32_t number = 0; isStarted_ && (number < event.repeats() || number == 0);
                 ++number) {
                guard.unlock();
                event.repeats() == 0 ? event.handOn(callback) : event.handOn(callback, number);
                guard.lock();
                ++events_;
            }
            queue_.pop_front();
            changed_.notify_all();
        }
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    bool isStarted_ = false;
    std::array<Scripted, kCalls> calls_;
    std::multiset<std::string> watched_;
    std::deque<OwnedEvent> queue_;
    std::uint32_t events_ = 0;
    std::thread thread_;  // of start and stop, which are called by one thread
};

TestFilter& filter() {
    static TestFilter instance;
    return instance;
}

}  // namespace
}  // namespace lathwind::testing

TEST_FILTER_EXPORT lathwind::IPSFilterInterface* GetIPSFilterInterface() {
    return lathwind::testing::filter().GetInterface();
}

TEST_FILTER_EXPORT lathwind::testing::TestFilterControl* GetTestFilterControl() {
    return &lathwind::testing::filter();
}
