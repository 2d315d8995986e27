#pragma once

#include <cstdint>
#include <ctime>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unordered_map>
#include <vector>

#include "utils/posix/Mutex.h"

namespace lathwind::posix {

// One folder's names, found without regard to case. Immutable.
class FolderListing {
public:
    // `names` as the folder gives them: any bytes but zero and slash.
    explicit FolderListing(const std::vector<std::string>& names);

    // The name on disk that is spelled like `name`: itself if it is there, otherwise the first
    // one by byte order among those that fold to the same text. Null without one.
    const char* find(std::string_view name) const;
    std::size_t size() const { return entries_.size(); }

private:
    struct Entry {
        std::uint64_t hash;  // of the folded name
        std::size_t offset;  // of the zero-terminated name in bytes_
    };

    std::vector<Entry> entries_;  // by hash, then name
    std::string bytes_;
};

// The listings of the folders that were asked last, each good for as long as its folder has not
// changed (PathResolver.cpp tells how that is known). Any thread may call.
class FolderCache {
public:
    static constexpr std::size_t kMaxFolders = 64;
    static constexpr std::size_t kMaxNames = 1'000'000;  // over all folders
    // A listing that was taken sooner than this after its folder's last change is not kept.
    static constexpr std::int64_t kRacyNanoseconds = 100'000'000;

    using Clock = timespec (*)();
    // `clock` gives the time of day, by which files are stamped too; null is the system's.
    explicit FolderCache(Clock clock = nullptr);

    // Finds `name` in a folder without regard to case and puts the name on disk into `found`.
    // 0, or an errno: ENOENT without such a name, ENOTDIR where there is no such folder.
    int find(const std::string& folder, std::string_view name, std::string& found);

    struct Counters {
        std::uint64_t read = 0;    // listings taken from disk
        std::uint64_t reused = 0;  // lookups that a kept listing answered
        std::size_t folders = 0;
        std::size_t names = 0;
    };
    Counters counters() const;

private:
    struct Identity {
        dev_t device = 0;
        ino_t inode = 0;
        bool operator==(const Identity&) const = default;
    };
    struct IdentityHash {
        std::size_t operator()(const Identity& identity) const noexcept;
    };
    struct Stamp {
        std::int64_t modified = 0;  // nanoseconds since 1970
        std::int64_t changed = 0;
        bool operator==(const Stamp&) const = default;
    };
    struct Kept {
        std::shared_ptr<const FolderListing> listing;
        Stamp stamp;
        std::list<Identity>::iterator age;
    };

    static Identity identityOf(const struct stat& facts);
    static Stamp stampOf(const struct stat& facts);

    std::shared_ptr<const FolderListing> kept(const Identity& identity, const Stamp& stamp);
    void keep(const Identity& identity, const Stamp& stamp,
              const std::shared_ptr<const FolderListing>& listing);
    void forget(const Identity& identity) REQUIRES(mutex_);
    int readListing(const std::string& path, std::shared_ptr<const FolderListing>& listing);

    const Clock clock_;
    mutable Mutex mutex_;
    std::unordered_map<Identity, Kept, IdentityHash> folders_ GUARDED_BY(mutex_);
    std::list<Identity> ages_ GUARDED_BY(mutex_);  // the folder asked last comes first
    Counters counters_ GUARDED_BY(mutex_);
};

}  // namespace lathwind::posix
