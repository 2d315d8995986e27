#include "filewatch/VirtualPath.h"

#include <algorithm>

#include "utils/Text.h"

namespace lathwind {

namespace {

constexpr std::wstring_view kFoldedMarker = L"{virtual_tag}";

bool sameRest(std::wstring_view first, std::wstring_view second, std::wstring_view folded) {
    while (true) {
        const auto marker = folded.find(kFoldedMarker);
        if (marker == std::wstring_view::npos) {
            return first == second;
        }
        if (!first.starts_with(second.substr(0, marker))) {
            return false;
        }
        // The marker stands for the rest of one level: go on behind that level's backslash on both
        // sides. A level that nothing follows leaves an empty rest.
        const auto level = first.find(L'\\', marker);
        first = level == std::wstring_view::npos ? std::wstring_view() : first.substr(level + 1);
        auto behind = marker + kFoldedMarker.size();
        if (behind < second.size() && second[behind] == L'\\') {
            ++behind;
        }
        second.remove_prefix(behind);
        folded.remove_prefix(behind);
    }
}

}  // namespace

std::size_t FindVirtualTag(std::wstring_view path) {
    return toLower(path).find(kFoldedMarker);
}

bool PathHasVirtualTag(std::wstring_view path) {
    return FindVirtualTag(path) != std::wstring::npos;
}

std::wstring VirtualTagToWildcard(std::wstring_view path) {
    const std::wstring folded = toLower(path);
    std::wstring mask;
    std::size_t begin = 0;
    for (std::size_t found = folded.find(kFoldedMarker); found != std::wstring::npos;
         found = folded.find(kFoldedMarker, begin)) {
        mask += path.substr(begin, found - begin);
        mask += L'*';
        begin = found + kFoldedMarker.size();
    }
    mask += path.substr(begin);
    return mask;
}

std::wstring VirtualNameOf(std::wstring_view path) {
    const std::size_t found = FindVirtualTag(path);
    if (found == std::wstring::npos) {
        return std::wstring(path);
    }
    const std::size_t behind = found + kFoldedMarker.size() + 1;
    return std::wstring(path.substr(std::min(behind, path.size())));
}

bool SameVirtualPath(const std::wstring& first, const std::wstring& second, bool exact) {
    const std::wstring folded = toLower(second);
    return exact ? sameRest(first, second, folded) : sameRest(toLower(first), folded, folded);
}

}  // namespace lathwind
