#include "utils/CachedLookup.h"

#include <utility>

#include "utils/platform/PlatformFactory.h"

namespace lathwind {

CachedLookup::CachedLookup(std::int64_t expiryAgeSeconds, std::size_t limit, Clock clock)
    : expiryAge_(expiryAgeSeconds),
      limit_(limit),
      clock_(clock ? std::move(clock) : [] { return platform::host().steadyTimeMs() / 1000; }),
      lock_(platformFactory.createLock()) {}

bool CachedLookup::find(const std::wstring& key, std::wstring& answer) {
    const ScopedLock guard(*lock_);
    ++counters_.lookups;
    return findLocked(key, answer);
}

void CachedLookup::store(const std::wstring& key, const std::wstring& answer) {
    const ScopedLock guard(*lock_);
    storeLocked(key, answer);
}

bool CachedLookup::findLocked(const std::wstring& key, std::wstring& answer) {
    const auto found = entries_.find(key);
    if (found == entries_.end()) {
        return false;
    }
    Entry& entry = found->second;
    answer = entry.answer;
    if (clock_() - entry.storedAt >= expiryAge_) {
        return false;
    }
    ages_.splice(ages_.end(), ages_, entry.age);
    ++counters_.hits;
    return true;
}

void CachedLookup::storeLocked(const std::wstring& key, const std::wstring& answer) {
    if (limit_ == 0) {
        return;
    }
    const auto [place, isNew] = entries_.try_emplace(key);
    Entry& entry = place->second;
    if (isNew) {
        entry.age = ages_.insert(ages_.end(), &place->first);
    } else {
        ages_.splice(ages_.end(), ages_, entry.age);
    }
    entry.answer = answer;
    entry.storedAt = clock_();
    if (entries_.size() > limit_) {
        const auto oldest = entries_.find(*ages_.front());
        ages_.pop_front();
        entries_.erase(oldest);
    }
}

bool CachedLookup::resolve(const std::wstring& key, const Resolver& resolver,
                           std::wstring& answer) {
    answer.clear();
    {
        const ScopedLock guard(*lock_);
        ++counters_.lookups;
        if (key.empty()) {
            ++counters_.ignores;
            return false;
        }
        if (findLocked(key, answer)) {
            return !answer.empty();
        }
    }
    answer.clear();
    const Outcome outcome = resolver(key, answer);
    const ScopedLock guard(*lock_);
    switch (outcome) {
        case Outcome::Found:
            storeLocked(key, answer);
            return true;
        case Outcome::Unknown:
            ++counters_.fails;
            storeLocked(key, {});
            break;
        case Outcome::Error:
            ++counters_.errors;
            break;
        case Outcome::BadSid:
            ++counters_.sidErrors;
            break;
    }
    answer.clear();
    return false;
}

CachedLookup::Counters CachedLookup::counters() const {
    const ScopedLock guard(*lock_);
    Counters counters = counters_;
    counters.size = static_cast<std::uint32_t>(entries_.size());
    return counters;
}

std::vector<StatisticsRow> CachedLookup::statistics(std::wstring_view name) const {
    const Counters now = counters();
    const std::wstring label(name);
    return {{label + L" lookups", now.lookups},     {label + L" ignores", now.ignores},
            {label + L" cache hits", now.hits},     {label + L" cache size", now.size},
            {label + L" lookup fails", now.fails},  {label + L" errors", now.errors},
            {label + L" SID errors", now.sidErrors}};
}

void CachedLookup::clear() {
    const ScopedLock guard(*lock_);
    ages_.clear();
    entries_.clear();
}

std::unique_ptr<CachedLookup> makeCachedLookup() {
    return std::make_unique<CachedLookup>();
}

}  // namespace lathwind
