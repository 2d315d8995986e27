#include "filewatch/VirtualPathSpec.h"

#include <algorithm>
#include <utility>

#include "filewatch/VirtualPath.h"
#include "utils/FileIO.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kFoldedToken = L"{virtual_tag}";
constexpr int kInstanceLevels = 2;

}  // namespace

VirtualPathSpec::VirtualPathSpec(std::wstring path, std::int32_t recursionLevel,
                                 bool monitorAccessTime, std::wstring virtualEntry)
    : WatchedPathSpec(std::move(path), recursionLevel, monitorAccessTime),
      wildcardEntry_(VirtualTagToWildcard(virtualEntry)),
      virtualEntry_(std::move(virtualEntry)) {
    const std::wstring_view directory = splitAtLastBackslash(virtualEntry_).directory;
    const auto token = toLower(directory).find(kFoldedToken);
    if (token == std::wstring::npos) {
        root_ = directory;
        return;
    }
    root_ = directory.substr(0, token);
    auto behind = token + kFoldedToken.size();
    if (behind < directory.size() && directory[behind] == L'\\') {
        ++behind;
    }
    tail_ = directory.substr(behind);
}

// `rest` is a path behind the root. Gives the length of the instance's part of it, npos when what
// follows is not what the entry asks for.
std::size_t VirtualPathSpec::InstanceLength(std::wstring_view rest) const {
    auto end = rest.find(L'\\');
    if (tail_.empty()) {
        return FileIO::MatchesMask(splitAtLastBackslash(rest).name, GetMask(), true)
                   ? end
                   : std::wstring_view::npos;
    }
    const WatchedPathSpec behind(tail_ + GetMask(), GetRecursionLevel(), false);
    for (int tries = 0; tries < kInstanceLevels && end != std::wstring_view::npos; ++tries) {
        if (behind.Matches(rest.substr(end + 1))) {
            return end;
        }
        end = rest.find(L'\\', end + 1);
    }
    return std::wstring_view::npos;
}

bool VirtualPathSpec::Matches(std::wstring_view path) const {
    return path.starts_with(root_) &&
           InstanceLength(path.substr(root_.size())) != std::wstring_view::npos;
}

std::wstring VirtualPathSpec::GetVirtualName(std::wstring_view path) const {
    if (!path.starts_with(root_)) {
        return {};
    }
    const std::wstring_view rest = path.substr(root_.size());
    auto length = InstanceLength(rest);
    if (length == std::wstring_view::npos) {
        length = std::min(rest.find(L'\\'), rest.size());  // the instance's own folder
    }
    std::wstring name = L"NAME=";
    name.append(rest.substr(0, length));
    std::replace(name.begin(), name.end(), L'\\', L'-');
    return name;
}

bool VirtualPathSpec::IsVirtualDir(std::wstring_view path, std::int32_t level) const {
    std::wstring_view directory = splitAtLastBackslash(path).directory;
    for (; level > 0 && directory.size() >= root_.size(); --level) {
        if (directory == root_) {
            return true;
        }
        directory = parentDirectory(directory);
    }
    return false;
}

bool VirtualPathSpec::IsVirtualChild(std::wstring_view path, std::int32_t level) const {
    if (!path.starts_with(root_)) {
        return false;
    }
    std::wstring_view rest = path.substr(root_.size());
    for (; level > 0; --level) {
        const auto end = rest.find(L'\\');
        if (end == std::wstring_view::npos) {
            return false;
        }
        rest.remove_prefix(end + 1);
        if (rest == tail_) {
            return true;
        }
    }
    return false;
}

}  // namespace lathwind
