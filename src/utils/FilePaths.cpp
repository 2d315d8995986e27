// The path utilities of FileIO.
#include <algorithm>

#include "utils/FileIO.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

std::wstring FileIO::NormalizePath(const std::wstring& path) {
    std::wstring normal = path;
    std::replace(normal.begin(), normal.end(), L'/', L'\\');
    const bool rooted = normal.starts_with(L'\\');
    if (rooted && (normal.size() == 1 || normal[1] != L'\\')) {
        normal.replace(0, 1, L"C:\\");
    }
    return normal;
}

std::wstring FileIO::NormalizePath(const wchar_t* path) {
    return path == nullptr ? std::wstring() : NormalizePath(std::wstring(path));
}

bool FileIO::IsAbsolutePath(const std::wstring& path) {
    const std::wstring normal = NormalizePath(path);
    return normal.size() > 1 && (normal[1] == L':' || normal.starts_with(L"\\\\"));
}

bool FileIO::IsUncPath(const std::wstring& path) {
    return NormalizePath(path).starts_with(L"\\\\");
}

std::wstring FileIO::MakeAbsolutePath(const std::wstring& path) {
    std::wstring normal = NormalizePath(path);
    std::wstring absolute;
    if (IsAbsolutePath(normal) ||
        platform::files().currentDirectory(absolute) != platform::error::Success) {
        return normal;
    }
    if (!absolute.ends_with(L'\\')) {
        absolute += L'\\';
    }
    absolute += normal;
    return CollapseParentRefs(absolute);
}

std::wstring FileIO::CollapseParentRefs(const std::wstring& path) {
    // One pass: what stands in `result` has no parent reference left, so the first one of the
    // whole text is always the one that the next character completes. A name that merely begins
    // with two dots counts as one, as it always has in paths that are keys by now.
    constexpr std::wstring_view kParent = L"\\..";
    const std::wstring normal = NormalizePath(path);
    std::wstring result;
    result.reserve(normal.size());
    for (const wchar_t unit : normal) {
        result += unit;
        if (!result.ends_with(kParent)) {
            continue;
        }
        const std::size_t found = result.size() - kParent.size();
        const std::size_t previous =
            found == 0 ? std::wstring::npos : result.rfind(L'\\', found - 1);
        if (previous == std::wstring::npos) {
            return path;
        }
        result.resize(previous);
    }
    return result;
}

void FileIO::SplitPath(const std::wstring& path, std::wstring& directory, std::wstring& name,
                       std::wstring& extension, bool includeExtension) {
    const std::wstring normal = NormalizePath(path);
    const std::size_t driveEnd = normal.size() > 1 && normal[1] == L':' ? 2 : 0;
    const std::size_t lastSlash = normal.find_last_of(L'\\');
    const std::size_t nameBegin =
        lastSlash == std::wstring::npos ? driveEnd : std::max(driveEnd, lastSlash + 1);
    const std::size_t lastDot = normal.find_last_of(L'.');
    const std::size_t nameEnd =
        lastDot == std::wstring::npos || lastDot < nameBegin ? normal.size() : lastDot;

    const bool cutSlash = nameBegin - driveEnd > 1;
    directory = normal.substr(0, cutSlash ? nameBegin - 1 : nameBegin);
    name = normal.substr(nameBegin, includeExtension ? std::wstring::npos : nameEnd - nameBegin);
    extension = nameEnd < normal.size() ? normal.substr(nameEnd + 1) : std::wstring();
}

std::wstring FileIO::GetDirectory(const std::wstring& path) {
    std::wstring directory, name, extension;
    SplitPath(path, directory, name, extension, true);
    return directory;
}

std::wstring FileIO::GetFileName(const std::wstring& path) {
    std::wstring directory, name, extension;
    SplitPath(path, directory, name, extension, true);
    return name;
}

std::wstring FileIO::GetFileNameWithoutExtension(const std::wstring& path) {
    std::wstring directory, name, extension;
    SplitPath(path, directory, name, extension, false);
    return name;
}

std::wstring FileIO::GetExtension(const std::wstring& path) {
    std::wstring directory, name, extension;
    SplitPath(path, directory, name, extension, true);
    return extension;
}

// Only the last "*" is ever gone back to: what an earlier one could still give up, the last one
// can take as well. So the worst case is text times mask, and nothing recurses.
bool FileIO::MatchesMask(std::wstring_view text, std::wstring_view mask, bool caseSensitive) {
    constexpr std::size_t kNone = std::wstring_view::npos;
    std::size_t textAt = 0;
    std::size_t maskAt = 0;
    std::size_t behindStar = kNone;
    std::size_t retryAt = 0;
    while (true) {
        if (maskAt < mask.size() && mask[maskAt] == L'*') {
            behindStar = ++maskAt;
            retryAt = textAt;
            if (behindStar == mask.size()) {
                return true;
            }
            continue;
        }
        if (textAt == text.size()) {
            // Going back would only leave less text for the same mask.
            return maskAt == mask.size();
        }
        const bool same = maskAt < mask.size() &&
                          (mask[maskAt] == L'?' || mask[maskAt] == text[textAt] ||
                           (!caseSensitive && toLower(mask[maskAt]) == toLower(text[textAt])));
        if (same) {
            ++textAt;
            ++maskAt;
        } else if (behindStar != kNone) {
            textAt = ++retryAt;
            maskAt = behindStar;
        } else {
            return false;
        }
    }
}

std::int32_t FileIO::EncodingCode(const std::wstring& encoding) {
    if (encoding == L"UTF-8") {
        return 3;
    }
    return encoding == L"UTF-16" ? 2 : 0;
}

}  // namespace lathwind
