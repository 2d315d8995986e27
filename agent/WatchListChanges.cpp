#include "agent/WatchListChanges.h"

#include <utility>

#include "filewatch/FileWatchSubject.h"
#include "utils/Digests.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind::agent {
namespace {

constexpr std::size_t kFileLists = 2;  // the first ones of kWatchLists

constexpr std::uint32_t bitOf(std::size_t list) {
    return list < kFileLists ? FileWatchSubject::kFileLists : FileWatchSubject::kLogLists;
}

bool isAbsent(platform::ErrorCode code) {
    return code == platform::error::FileNotFound || code == platform::error::PathNotFound;
}

}  // namespace

WatchListChanges::Content WatchListChanges::readContent(const std::wstring& path) {
    std::array<std::uint8_t, kMd5Bytes> digest{};
    if (!HashFileMd5(path, digest.data())) {
        platform::FileFacts facts;
        return isAbsent(platform::files().query(path, facts)) ? Content(std::wstring())
                                                              : std::nullopt;
    }
    std::wstring text;
    Md5ToHex(digest.data(), digest.size(), text);
    return text;
}

// A list that cannot be read now is compared at the next look.
WatchListChanges::WatchListChanges(Reader reader) : reader_(std::move(reader)) {
    for (std::size_t i = 0; i < kLists; ++i) {
        lists_[i].inForce = lists_[i].last = reader_(std::wstring(watchFiles::kWatchLists[i]));
    }
}

// The lists of one bit are read together: none of them is while one is still being written.
std::uint32_t WatchListChanges::look() {
    std::uint32_t settled = 0;
    std::uint32_t unsettled = 0;
    for (std::size_t i = 0; i < kLists; ++i) {
        List& list = lists_[i];
        Content now = reader_(std::wstring(watchFiles::kWatchLists[i]));
        if (!now.has_value() || (now != list.inForce && now != list.last)) {
            unsettled |= bitOf(i);
        } else if (now != list.inForce) {
            settled |= bitOf(i);
        }
        list.last = std::move(now);
    }
    unsettled_ = unsettled != 0;
    const std::uint32_t bits = settled & ~unsettled;
    for (std::size_t i = 0; i < kLists; ++i) {
        if ((bits & bitOf(i)) != 0) {
            lists_[i].inForce = lists_[i].last;
        }
    }
    return bits;
}

void WatchListChanges::forget(std::uint32_t bits) {
    for (std::size_t i = 0; i < kLists; ++i) {
        if ((bits & bitOf(i)) != 0) {
            lists_[i] = {};
        }
    }
}

}  // namespace lathwind::agent
