#include "filewatch/RecentKeys.h"

#include <utility>

namespace lathwind {

bool RecentKeys::Touch(std::wstring key, std::int64_t nowMs) {
    while (!byAge_.empty() && nowMs - byAge_.front().timeMs >= lifetimeMs_) {
        ForgetOldest();
    }
    const auto known = places_.find(key);
    if (known != places_.end()) {
        known->second->timeMs = nowMs;
        byAge_.splice(byAge_.end(), byAge_, known->second);
        return true;
    }
    const std::size_t charge = ChargeOf(key);
    while (!byAge_.empty() && units_ + charge > kMostUnits) {
        ForgetOldest();
    }
    byAge_.push_back({std::move(key), nowMs});
    try {
        places_.emplace(byAge_.back().key, std::prev(byAge_.end()));
    } catch (...) {  // without memory for it the key stays new
        byAge_.pop_back();
        throw;
    }
    units_ += charge;
    return false;
}

void RecentKeys::ForgetOldest() {
    units_ -= ChargeOf(byAge_.front().key);
    places_.erase(byAge_.front().key);
    byAge_.pop_front();
}

}  // namespace lathwind
