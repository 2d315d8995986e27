#include "filewatch/WatchedPathSpec.h"

#include <utility>

#include "utils/FileIO.h"

namespace lathwind {

SplitPathView splitAtLastBackslash(std::wstring_view path) noexcept {
    const auto name = path.rfind(L'\\') + 1;  // 0 without a backslash: npos wraps
    return {path.substr(0, name), path.substr(name)};
}

std::wstring_view parentDirectory(std::wstring_view directory) noexcept {
    if (directory.ends_with(L'\\')) {
        directory.remove_suffix(1);
    }
    return splitAtLastBackslash(directory).directory;
}

WatchedPathSpec::WatchedPathSpec(std::wstring path, std::int32_t recursionLevel,
                                 bool monitorAccessTime)
    : fullPath_(std::move(path)),
      recursionLevel_(recursionLevel),
      monitorAccessTime_(monitorAccessTime) {
    std::wstring_view rest = fullPath_;
    if (rest.size() > 4 && rest.back() == L'\\') {
        rest.remove_suffix(1);
    }
    const auto [directory, mask] = splitAtLastBackslash(rest);
    directory_ = directory;
    mask_ = mask;
}

bool WatchedPathSpec::MatchesAtLevel(std::wstring_view path, std::int32_t level,
                                     bool caseSensitive) const {
    return level <= recursionLevel_ &&
           FileIO::MatchesMask(splitAtLastBackslash(path).name, mask_, caseSensitive);
}

bool WatchedPathSpec::Matches(std::wstring_view path) const {
    auto [directory, name] = splitAtLastBackslash(path);
    if (!FileIO::MatchesMask(name, mask_, true)) {
        return false;
    }
    for (std::int32_t level = 1; level <= recursionLevel_; ++level) {
        if (directory == directory_) {
            return true;
        }
        if (directory.size() < directory_.size()) {
            return false;
        }
        directory = parentDirectory(directory);
    }
    return false;
}

std::wstring WatchedPathSpec::GetVirtualName(std::wstring_view /*path*/) const {
    return {};
}

bool WatchedPathSpec::IsWildCard() const {
    return fullPath_.find_first_of(L"*?") != std::wstring::npos;
}

}  // namespace lathwind
