#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>

namespace lathwind {

// What was seen lately. Memory is bounded: where more than kMostUnits come together, the oldest are
// forgotten early, and then count as new once more. One thread at a time.
class RecentKeys {
public:
    static constexpr std::size_t kMostUnits = std::size_t{2} * 1024 * 1024;  // of UTF-16
    static constexpr std::size_t kUnitsPerKey = 64;  // charged beside a key's text

    explicit RecentKeys(std::int64_t lifetimeMs) : lifetimeMs_(lifetimeMs) {}
    RecentKeys(const RecentKeys&) = delete;
    RecentKeys& operator=(const RecentKeys&) = delete;

    // Was the key seen less than the life time ago? Seen it is from now on in either case.
    // `nowMs` must not go back.
    bool Touch(std::wstring key, std::int64_t nowMs);
    std::size_t Count() const noexcept { return places_.size(); }

private:
    struct Seen {
        std::wstring key;
        std::int64_t timeMs;
    };
    using Place = std::list<Seen>::iterator;

    static std::size_t ChargeOf(std::wstring_view key) noexcept {
        return key.size() + kUnitsPerKey;
    }
    void ForgetOldest();

    const std::int64_t lifetimeMs_;
    std::list<Seen> byAge_;                      // the oldest first
    std::map<std::wstring_view, Place> places_;  // keys lie in the list
    std::size_t units_ = 0;
};

}  // namespace lathwind
