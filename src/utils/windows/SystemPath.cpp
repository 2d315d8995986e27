#include "utils/windows/SystemPath.h"

#include "utils/windows/SystemHeaders.h"

namespace lathwind::windows {
namespace {

constexpr std::size_t kPlainLimit = 248;

bool isSeparator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

bool isNetworkPath(const std::wstring& path) {
    return isSeparator(path[0]) && isSeparator(path[1]);
}

// `\\?\` and `\\.\`: the caller has already said how the system is to take it.
bool isPrefixed(const std::wstring& path) {
    return isNetworkPath(path) && (path[2] == L'?' || path[2] == L'.') && isSeparator(path[3]);
}

bool isDrivePath(const std::wstring& path) {
    return path[1] == L':' && isSeparator(path[2]);
}

std::wstring fullPath(const std::wstring& path) {
    std::wstring full(path.size() + 1, L'\0');
    for (;;) {
        const DWORD units =
            ::GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (units == 0) {
            return path;
        }
        const bool fits = units < full.size();
        full.resize(units);  // without the zero when it fitted, with it when it did not
        if (fits) {
            return full;
        }
    }
}

}  // namespace

std::wstring systemPath(const std::wstring& path) {
    if (path.size() < kPlainLimit || isPrefixed(path)) {
        return path;
    }
    if (isNetworkPath(path)) {
        return L"\\\\?\\UNC" + fullPath(path).substr(1);
    }
    return isDrivePath(path) ? L"\\\\?\\" + fullPath(path) : path;
}

}  // namespace lathwind::windows
