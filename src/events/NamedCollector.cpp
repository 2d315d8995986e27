#include "events/NamedCollector.h"

#include <utility>

namespace lathwind {

void NamedCollector::attach(EventDestination& destination) noexcept {
    if (destination_ == nullptr) {
        destination_ = &destination;
    }
}

void NamedCollector::detach(const EventDestination& destination) noexcept {
    if (destination_ == &destination) {
        destination_ = nullptr;
    }
}

bool NamedCollector::Drain() {
    for (;;) {
        if (destination_ != nullptr && destination_->isFull()) {
            return true;
        }
        std::unique_ptr<IDSEvent> event = nextEvent();
        if (event == nullptr) {
            return false;
        }
        count_.fetch_add(1, std::memory_order_relaxed);
        if (destination_ != nullptr) {
            destination_->take(std::move(event));
        }
    }
}

}  // namespace lathwind
