#include "utils/posix/FolderCache.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "utils/Text.h"

namespace lathwind::posix {
namespace {

std::wstring fold(std::string_view name) {
    std::wstring text = utf16FromUtf8(name);
    makeLower(text);
    return text;
}

std::uint64_t hashOf(const std::wstring& folded) {
    return std::hash<std::wstring>()(folded);
}

std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

timespec systemClock() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using FolderHandle = std::unique_ptr<DIR, CloseFolder>;

}  // namespace

FolderListing::FolderListing(const std::vector<std::string>& names) {
    entries_.reserve(names.size());
    for (const std::string& name : names) {
        entries_.push_back({hashOf(fold(name)), bytes_.size()});
        bytes_.append(name.c_str(), name.size() + 1);
    }
    std::sort(entries_.begin(), entries_.end(), [this](const Entry& a, const Entry& b) {
        if (a.hash != b.hash) {
            return a.hash < b.hash;
        }
        return std::strcmp(&bytes_[a.offset], &bytes_[b.offset]) < 0;
    });
}

const char* FolderListing::find(std::string_view name) const {
    const std::wstring folded = fold(name);
    const std::uint64_t hash = hashOf(folded);
    auto entry = std::lower_bound(entries_.begin(), entries_.end(), hash,
                                  [](const Entry& e, std::uint64_t h) { return e.hash < h; });
    const char* best = nullptr;
    for (; entry != entries_.end() && entry->hash == hash; ++entry) {
        const char* candidate = &bytes_[entry->offset];
        if (candidate == name) {
            return candidate;
        }
        if (best == nullptr && fold(candidate) == folded) {
            best = candidate;
        }
    }
    return best;
}

FolderCache::FolderCache(Clock clock) : clock_(clock != nullptr ? clock : systemClock) {}

std::size_t FolderCache::IdentityHash::operator()(const Identity& identity) const noexcept {
    return static_cast<std::size_t>(identity.inode * 0x9E3779B97F4A7C15u ^ identity.device);
}

FolderCache::Identity FolderCache::identityOf(const struct stat& facts) {
    return {facts.st_dev, facts.st_ino};
}

FolderCache::Stamp FolderCache::stampOf(const struct stat& facts) {
    return {nanoseconds(facts.st_mtim), nanoseconds(facts.st_ctim)};
}

int FolderCache::find(const std::string& folder, std::string_view name, std::string& found) {
    struct stat facts {};
    if (::stat(folder.c_str(), &facts) != 0) {
        return errno == ENOENT ? ENOTDIR : errno;  // a dangling link
    }
    if (!S_ISDIR(facts.st_mode)) {
        return ENOTDIR;
    }
    auto listing = kept(identityOf(facts), stampOf(facts));
    if (!listing) {
        const int number = readListing(folder, listing);
        if (number != 0) {
            return number;
        }
    }
    const char* real = listing->find(name);
    if (real == nullptr) {
        return ENOENT;
    }
    found = real;
    return 0;
}

std::shared_ptr<const FolderListing> FolderCache::kept(const Identity& identity,
                                                       const Stamp& stamp) {
    const MutexHolder holder(mutex_);
    const auto folder = folders_.find(identity);
    if (folder == folders_.end()) {
        return nullptr;
    }
    if (folder->second.stamp != stamp) {
        forget(identity);
        return nullptr;
    }
    ages_.splice(ages_.begin(), ages_, folder->second.age);
    ++counters_.reused;
    return folder->second.listing;
}

// The folder is opened first and stamped through the handle, so that stamp and names are those of
// one folder whatever is renamed meanwhile.
int FolderCache::readListing(const std::string& path,
                             std::shared_ptr<const FolderListing>& listing) {
    const FolderHandle folder(::opendir(path.c_str()));
    struct stat before {};
    if (!folder || ::fstat(::dirfd(folder.get()), &before) != 0) {
        return errno;
    }
    const std::int64_t taken = nanoseconds(clock_());
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        names.emplace_back(entry->d_name);
    }
    if (errno != 0) {
        return errno;
    }
    listing = std::make_shared<const FolderListing>(names);

    const Stamp stamp = stampOf(before);
    const bool racy = taken - std::max(stamp.modified, stamp.changed) < kRacyNanoseconds;
    {
        const MutexHolder holder(mutex_);
        ++counters_.read;
    }
    if (!racy) {
        keep(identityOf(before), stamp, listing);
    }
    return 0;
}

void FolderCache::keep(const Identity& identity, const Stamp& stamp,
                       const std::shared_ptr<const FolderListing>& listing) {
    const MutexHolder holder(mutex_);
    forget(identity);
    ages_.push_front(identity);
    folders_[identity] = {listing, stamp, ages_.begin()};
    counters_.names += listing->size();
    // The newest listing stays even when it alone is beyond the limit: without it each lookup in
    // that folder would read it again.
    while (ages_.size() > kMaxFolders || (counters_.names > kMaxNames && ages_.size() > 1)) {
        forget(Identity(ages_.back()));
    }
}

void FolderCache::forget(const Identity& identity) {
    const auto folder = folders_.find(identity);
    if (folder == folders_.end()) {
        return;
    }
    counters_.names -= folder->second.listing->size();
    ages_.erase(folder->second.age);
    folders_.erase(folder);
}

FolderCache::Counters FolderCache::counters() const {
    const MutexHolder holder(mutex_);
    Counters counters = counters_;
    counters.folders = folders_.size();
    return counters;
}

}  // namespace lathwind::posix
