#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "utils/StatisticsRow.h"
#include "utils/platform/Threading.h"

namespace lathwind {

// Remembers the answers of a slow lookup (a SID's account, an account's SID) for a while, and
// counts what it does. At most `limit` answers are held; the one that was used longest ago makes
// room for a new one. Any thread may call.
class CachedLookup {
public:
    static constexpr std::int64_t kExpiryAgeSeconds = 3600;
    static constexpr std::size_t kLimit = 1000;
    // Seconds of a clock that never goes back.
    using Clock = std::function<std::int64_t()>;

    // What the statistics report prints.
    struct Counters {
        std::uint32_t lookups = 0;    // questions asked
        std::uint32_t ignores = 0;    // of these, with an empty key: answered without asking
        std::uint32_t hits = 0;       // of these, answered from the cache
        std::uint32_t size = 0;       // answers held now
        std::uint32_t fails = 0;      // the system knows no answer
        std::uint32_t errors = 0;     // the system could not be asked
        std::uint32_t sidErrors = 0;  // the key was no SID
    };

    explicit CachedLookup(std::int64_t expiryAgeSeconds = kExpiryAgeSeconds,
                          std::size_t limit = kLimit, Clock clock = {});

    // True for a key that was stored less than the expiry age ago. An older answer is copied out
    // too, for a caller that would rather have it than none, but it is no hit.
    bool find(const std::wstring& key, std::wstring& answer);
    void store(const std::wstring& key, const std::wstring& answer);

    enum class Outcome { Found, Unknown, Error, BadSid };
    using Resolver = std::function<Outcome(const std::wstring& key, std::wstring& answer)>;
    // find, then on a miss `resolver` without the lock held; what it found is stored, and so is
    // "unknown" (as an empty answer), since that is as slow to learn. An error is not stored: the
    // next question asks again. False without an answer.
    bool resolve(const std::wstring& key, const Resolver& resolver, std::wstring& answer);

    Counters counters() const;
    // One row for each counter, in the report's order: `name` and the counter's label.
    std::vector<StatisticsRow> statistics(std::wstring_view name) const;
    void clear();  // forgets the answers, keeps the counters

private:
    struct Entry {
        std::wstring answer;
        std::int64_t storedAt = 0;
        std::list<const std::wstring*>::iterator age;
    };
    using Entries = std::map<std::wstring, Entry>;

    bool findLocked(const std::wstring& key, std::wstring& answer) REQUIRES(*lock_);
    void storeLocked(const std::wstring& key, const std::wstring& answer) REQUIRES(*lock_);

    const std::int64_t expiryAge_;
    const std::size_t limit_;
    const Clock clock_;
    const std::unique_ptr<Lock> lock_;
    Entries entries_ GUARDED_BY(*lock_);
    std::list<const std::wstring*> ages_ GUARDED_BY(*lock_);  // keys, used longest ago first
    Counters counters_ GUARDED_BY(*lock_);
};

std::unique_ptr<CachedLookup> makeCachedLookup();

}  // namespace lathwind
