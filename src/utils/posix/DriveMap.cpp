#include "utils/posix/DriveMap.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "utils/Text.h"

namespace lathwind::posix {
namespace {

namespace error = platform::error;

bool isSeparator(wchar_t unit) {
    return unit == L'\\' || unit == L'/';
}

bool isLetter(wchar_t unit) {
    return unit >= L'a' && unit <= L'z';
}

bool hasDrive(std::wstring_view path) {
    return path.size() >= 2 && path[1] == L':' && isLetter(toLower(path[0]));
}

bool isNetworkPath(std::wstring_view path) {
    return path.size() >= 2 && isSeparator(path[0]) && isSeparator(path[1]);
}

bool isBelow(std::string_view path, std::string_view folder) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// Each status query comes through here, and nearly all paths are ASCII.
void appendBytes(std::string& bytes, std::wstring_view path) {
    const std::size_t begin = bytes.size();
    bytes.resize(begin + path.size());
    char* out = bytes.data() + begin;
    std::uint32_t seen = 0;
    for (const wchar_t unit : path) {
        seen |= static_cast<std::uint32_t>(unit);
        *out++ = unit == L'\\' ? '/' : static_cast<char>(unit);
    }
    if (seen >= 0x80) {
        bytes.resize(begin);
        bytes += utf8FromUtf16(path);
        std::replace(bytes.begin() + static_cast<std::ptrdiff_t>(begin), bytes.end(), '\\', '/');
    }
}

}  // namespace

DriveMap DriveMap::fromText(std::string_view text) {
    DriveMap map;
    while (!text.empty()) {
        const std::string_view entry = text.substr(0, text.find(';'));
        text.remove_prefix(std::min(text.size(), entry.size() + 1));
        if (entry.size() < 3 || entry[1] != '=' || entry[2] != '/') {
            continue;
        }
        const wchar_t letter = toLower(static_cast<wchar_t>(static_cast<unsigned char>(entry[0])));
        if (isLetter(letter)) {
            const std::string_view folder = entry.substr(2);
            map.folders_[letter] = folder.substr(0, folder.find_last_not_of('/') + 1);
        }
    }
    if (map.folders_.empty()) {
        map.folders_[L'c'] = "";
    }
    return map;
}

const DriveMap& DriveMap::ofProcess() {
    static const DriveMap& map = *new DriveMap([] {
        const char* text = std::getenv("LATHWIND_DRIVES");
        return fromText(text != nullptr ? text : "");
    }());
    return map;
}

platform::ErrorCode DriveMap::toBytes(std::wstring_view path, std::string& bytes) const {
    bytes.clear();
    if (path.empty() || isNetworkPath(path)) {
        return error::PathNotFound;
    }
    if (path.find(L'\0') != std::wstring_view::npos) {
        return error::InvalidName;
    }
    if (hasDrive(path) || isSeparator(path[0])) {
        const bool named = hasDrive(path);
        const auto drive = folders_.find(named ? toLower(path[0]) : L'c');
        if (drive == folders_.end()) {
            return error::PathNotFound;
        }
        path.remove_prefix(named ? 2 : 0);
        bytes = drive->second;
        if (path.empty() || !isSeparator(path[0])) {
            bytes += '/';
        }
    }
    appendBytes(bytes, path);
    return error::Success;
}

std::wstring DriveMap::toWide(std::string_view bytes) const {
    const std::pair<const wchar_t, std::string>* best = nullptr;
    for (const auto& drive : folders_) {
        if (isBelow(bytes, drive.second) &&
            (best == nullptr || drive.second.size() > best->second.size())) {
            best = &drive;
        }
    }
    if (best == nullptr) {
        return {};
    }
    std::wstring path{best->first, L':'};
    path += utf16FromUtf8(bytes.substr(best->second.size()));
    std::replace(path.begin(), path.end(), L'/', L'\\');
    if (path.size() == 2) {
        path += L'\\';
    }
    return path;
}

std::vector<wchar_t> DriveMap::letters() const {
    std::vector<wchar_t> letters;
    for (const auto& drive : folders_) {
        letters.push_back(drive.first);
    }
    return letters;
}

}  // namespace lathwind::posix
