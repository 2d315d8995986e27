#include "utils/posix/MountTable.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <set>
#include <sstream>

#include "utils/Text.h"

namespace lathwind::posix {
namespace {

using platform::DriveType;

std::string_view takeWord(std::string_view& line) {
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(line.size(), word.size() + 1));
    return word;
}

bool isOctal(char c) {
    return c >= '0' && c <= '7';
}

// Blanks, tabs, line feeds and backslashes stand as "\040" and so on.
std::string unescape(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) &&
            isOctal(text[i + 2]) && isOctal(text[i + 3])) {
            result += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                        (text[i + 3] - '0'));
            i += 3;
        } else {
            result += text[i];
        }
    }
    return result;
}

bool parseDevice(std::string_view text, Mount& mount) {
    const char* end = text.data() + text.size();
    const auto major = std::from_chars(text.data(), end, mount.major);
    if (major.ec != std::errc() || major.ptr == end || *major.ptr != ':') {
        return false;
    }
    const auto minor = std::from_chars(major.ptr + 1, end, mount.minor);
    return minor.ec == std::errc() && minor.ptr == end;
}

// id parent major:minor root point options [tags...] - type source options
bool parseLine(std::string_view line, Mount& mount) {
    takeWord(line);
    takeWord(line);
    if (!parseDevice(takeWord(line), mount)) {
        return false;
    }
    takeWord(line);
    mount.point = unescape(takeWord(line));
    const std::string_view options = takeWord(line);
    mount.readOnly = options == "ro" || options.starts_with("ro,");
    while (!line.empty() && takeWord(line) != "-") {
    }
    mount.fsType = unescape(takeWord(line));
    mount.source = unescape(takeWord(line));
    return mount.point.starts_with('/') && !mount.fsType.empty();
}

bool isBelow(std::string_view path, std::string_view folder) {
    if (folder == "/") {
        return path.starts_with('/');
    }
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

bool isAmong(const std::string& word, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::wstring withBackslashes(std::string_view text) {
    std::wstring wide = utf16FromUtf8(text);
    std::replace(wide.begin(), wide.end(), L'/', L'\\');
    return wide;
}

}  // namespace

MountTable MountTable::fromText(std::string_view text) {
    MountTable table;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        Mount mount;
        if (parseLine(line, mount)) {
            table.mounts_.push_back(std::move(mount));
        }
    }
    return table;
}

MountTable MountTable::ofProcess() {
    std::ostringstream text;
    text << std::ifstream("/proc/self/mountinfo").rdbuf();
    return fromText(text.str());
}

const Mount* MountTable::holding(std::string_view path) const {
    const Mount* best = nullptr;
    for (const Mount& mount : mounts_) {
        if (isBelow(path, mount.point) &&
            (best == nullptr || mount.point.size() >= best->point.size())) {
            best = &mount;
        }
    }
    return best;
}

const Mount* MountTable::ofDevice(std::uint32_t major, std::uint32_t minor) const {
    const auto found = std::find_if(mounts_.begin(), mounts_.end(), [=](const Mount& mount) {
        return mount.major == major && mount.minor == minor;
    });
    return found != mounts_.end() ? &*found : nullptr;
}

std::vector<std::string> MountTable::pointsBelow(std::string_view folder) const {
    std::set<std::string> points;
    const std::size_t cut = folder == "/" ? 1 : folder.size() + 1;
    for (const Mount& mount : mounts_) {
        if (mount.point.size() > cut - (folder == "/" ? 0 : 1) && isBelow(mount.point, folder)) {
            points.insert(mount.point.substr(cut));
        }
    }
    return {points.begin(), points.end()};
}

bool MountTable::isPoint(std::string_view path) const {
    return std::any_of(mounts_.begin(), mounts_.end(),
                       [=](const Mount& mount) { return mount.point == path; });
}

DriveType driveTypeOf(const std::string& fsType) {
    if (isAmong(fsType, {"nfs", "nfs4", "cifs", "smb3", "smbfs", "afs", "9p", "ceph", "lustre",
                         "gfs2", "ocfs2", "fuse.sshfs", "fuse.glusterfs"})) {
        return DriveType::Remote;
    }
    if (isAmong(fsType, {"iso9660", "udf"})) {
        return DriveType::CdRom;
    }
    if (isAmong(fsType, {"tmpfs", "ramfs"})) {
        return DriveType::RamDisk;
    }
    return DriveType::Fixed;
}

std::wstring fileSystemName(const std::string& fsType) {
    if (fsType == "vfat") {
        return L"FAT32";
    }
    if (fsType == "msdos") {
        return L"FAT";
    }
    return utf16FromUtf8(fsType);
}

std::wstring universalNameOf(const std::string& source) {
    if (source.starts_with("//")) {
        return withBackslashes(source);
    }
    const std::size_t colon = source.find(":/");
    if (colon == 0 || colon == std::string::npos || source.find('/') < colon) {
        return {};
    }
    return L"\\\\" + withBackslashes(source.substr(0, colon) + source.substr(colon + 1));
}

std::wstring deviceName(const std::string& source) {
    constexpr std::string_view kFloppy = "/dev/fd";
    if (source.starts_with(kFloppy) && source.size() > kFloppy.size()) {
        return L"\\Device\\Floppy" + utf16FromUtf8(source.substr(kFloppy.size()));
    }
    return utf16FromUtf8(source);
}

}  // namespace lathwind::posix
