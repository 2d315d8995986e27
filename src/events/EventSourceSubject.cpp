#include "events/EventSourceSubject.h"

#include <tuple>

#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr std::uint32_t kRestMs = 500;

}  // namespace

EventSourceSubject::~EventSourceSubject() {
    while (EventSourceSubject::nextEvent() != nullptr) {
    }
}

PushResult EventSourceSubject::offer(std::unique_ptr<IDSEvent> event) {
    const PushResult result = store_.pushChecked(event.get());
    if (result == PushResult::Stored || result == PushResult::HighMark) {
        std::ignore = event.release();  // the store's now, or the consumer's already
    }
    return result;
}

// Only the collector's thread takes events out, or whoever has stopped it.
std::unique_ptr<IDSEvent> EventSourceSubject::nextEvent() {
    return std::unique_ptr<IDSEvent>(store_.empty() ? nullptr : store_.popFront());
}

bool EventSourceSubject::step(std::int32_t milliseconds) {
    if (store_.event().wait(milliseconds, false) == WaitResult::Failed || !store_.accepting()) {
        return false;
    }
    if (!store_.empty() && Drain()) {
        platform::host().sleepMs(kRestMs);
    }
    return true;
}

void EventSourceSubject::startThread(const std::wstring& threadName) {
    thread_ = platformFactory.createThread(*this);
    thread_->start(threadName);
}

void EventSourceSubject::stopThread() {
    store_.terminate();
    if (thread_ != nullptr) {
        thread_->wait();
        thread_.reset();
    }
}

}  // namespace lathwind
