// The file system operations of FileIO.
#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>
#include <utility>

#include "utils/ByteArray.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using platform::ErrorCode;
namespace error = platform::error;

constexpr std::size_t kFileBlockBytes = 1024;

bool succeeded(ErrorCode code) {
    return code == error::Success;
}

bool isDots(std::wstring_view name) {
    return name == L"." || name == L"..";
}

bool isDirectory(std::uint32_t attributes) {
    return (attributes & platform::attribute::Directory) != 0;
}

std::wstring withBackslash(const std::wstring& folder) {
    return folder.ends_with(L'\\') ? folder : folder + L'\\';
}

// The run-time's number for a system error, as its own mapping has it.
int errnoOf(ErrorCode code) {
    switch (code) {
        case error::Success:
            return 0;
        case error::FileNotFound:
        case error::PathNotFound:
        case error::InvalidName:
            return ENOENT;
        case error::AccessDenied:
        case error::WriteProtect:
        case error::SharingViolation:
            return EACCES;
        case error::FileExists:
        case error::AlreadyExists:
            return EEXIST;
        case error::DirectoryNotEmpty:
            return ENOTEMPTY;
        case error::NotEnoughMemory:
            return ENOMEM;
        case error::DiskFull:
            return ENOSPC;
        default:
            return EINVAL;
    }
}

bool removeFolder(const std::wstring& path) {
    const ErrorCode code = platform::files().removeDirectory(path);
    if (!succeeded(code)) {
        debugLog(ModuleId::Utils, L"Failed to delete directory %ls: %ls", path,
                 platform::host().errnoText(errnoOf(code)));
    }
    return succeeded(code);
}

// The entries of a folder, by name.
std::vector<platform::DirectoryEntry> entriesOf(const std::wstring& folder) {
    std::vector<platform::DirectoryEntry> entries;
    platform::files().enumerate(withBackslash(folder) + L'*',
                                [&](const platform::DirectoryEntry& entry) {
                                    if (!isDots(entry.name)) {
                                        entries.push_back(entry);
                                    }
                                    return true;
                                });
    std::sort(entries.begin(), entries.end(),
              [](const auto& first, const auto& second) { return first.name < second.name; });
    return entries;
}

// Adds the entries of one folder that match, by name. The system also matches a name's short alias,
// hence the second test.
void collectMatches(std::vector<std::wstring>& list, const std::wstring& folder,
                    const std::wstring& pattern, bool skipDots) {
    const std::wstring prefix = withBackslash(folder);
    // All names in one text: they are compared many times, and stand close together there.
    std::wstring text;
    std::vector<std::pair<std::size_t, std::size_t>> places;  // begin and length in it
    platform::files().enumerate(prefix + pattern, [&](const platform::DirectoryEntry& entry) {
        const bool aliasOnly = entry.name.find(L'.') != std::wstring::npos &&
                               !FileIO::MatchesMask(entry.name, pattern, false);
        if (!aliasOnly && !(skipDots && isDots(entry.name))) {
            places.emplace_back(text.size(), entry.name.size());
            text += entry.name;
        }
        return true;
    });
    const auto nameAt = [&text](const auto& place) {
        return std::wstring_view(text).substr(place.first, place.second);
    };
    std::sort(places.begin(), places.end(), [&nameAt](const auto& first, const auto& second) {
        return nameAt(first) < nameAt(second);
    });
    for (const auto& place : places) {
        list.emplace_back(prefix).append(nameAt(place));
    }
}

}  // namespace

bool FileIO::Exists(const std::wstring& path) {
    platform::FileFacts facts;
    return succeeded(platform::files().query(path, facts));
}

bool FileIO::IsAccessible(const std::wstring& path) {
    const ErrorCode code = platform::files().enumerate(
        NormalizePath(path), [](const platform::DirectoryEntry&) { return false; });
    return code != error::AccessDenied;
}

bool FileIO::IsDirectory(const std::wstring& path) {
    platform::FileFacts facts;
    return succeeded(platform::files().query(NormalizePath(path), facts)) &&
           isDirectory(facts.attributes);
}

bool FileIO::Delete(const std::wstring& path) {
    const std::wstring normal = NormalizePath(path);
    platform::Files& files = platform::files();
    files.setAttributes(normal, platform::attribute::Normal);
    return succeeded(files.remove(normal));
}

bool FileIO::Copy(const std::wstring& source, const std::wstring& target) {
    const std::wstring normalTarget = NormalizePath(target);
    platform::Files& files = platform::files();
    files.setAttributes(normalTarget, platform::attribute::Normal);
    return succeeded(files.copy(NormalizePath(source), normalTarget, false));
}

bool FileIO::Move(const std::wstring& source, const std::wstring& target, bool noReplace) {
    using platform::Files;
    const std::uint32_t flags =
        Files::MoveCopyAllowed | (noReplace ? 0 : Files::MoveReplaceExisting);
    return succeeded(platform::files().move(NormalizePath(source), NormalizePath(target), flags));
}

std::int32_t FileIO::MakeDirectory(const std::wstring& path) {
    const int number = errnoOf(platform::files().createDirectory(NormalizePath(path)));
    return number == EEXIST ? 0 : number;
}

bool FileIO::MakeDirectoryPath(const std::wstring& path) {
    platform::Files& files = platform::files();
    std::wstring level = NormalizePath(path);
    const std::wstring whole = level;
    std::vector<std::size_t> missing;  // lengths of the levels to create, the deepest first
    while (true) {
        if (level.ends_with(L'\\')) {
            level.pop_back();
        }
        platform::FileFacts facts;
        const ErrorCode code = files.query(level, facts);
        if (succeeded(code)) {
            if (!isDirectory(facts.attributes)) {
                platform::host().setLastError(error::FileExists);
                return false;
            }
            break;
        }
        if (code != error::PathNotFound && code != error::FileNotFound) {
            return false;
        }
        missing.push_back(level.size());
        const std::size_t lastSlash = level.rfind(L'\\');
        if (lastSlash == std::wstring::npos) {
            break;
        }
        level.resize(lastSlash);
    }
    return std::all_of(missing.rbegin(), missing.rend(), [&](std::size_t length) {
        return succeeded(files.createDirectory(whole.substr(0, length)));
    });
}

bool FileIO::DeleteDirectory(const std::wstring& path, bool keepTop) {
    const std::wstring normal = NormalizePath(path);
    if (!Exists(normal)) {
        return true;
    }
    if (!IsDirectory(normal)) {
        return Delete(normal);
    }
    bool done = true;
    for (const platform::DirectoryEntry& entry : entriesOf(normal)) {
        const std::wstring child = withBackslash(normal) + entry.name;
        bool removed = false;
        if (!isDirectory(entry.attributes)) {
            removed = Delete(child);
        } else if ((entry.attributes & platform::attribute::ReparsePoint) != 0) {
            // A link goes as a link: what it points to belongs to somebody else.
            removed = removeFolder(child);
        } else {
            removed = DeleteDirectory(child, false);
        }
        done = removed && done;
    }
    return done && (keepTop || removeFolder(normal));
}

bool FileIO::GetFileSize(const std::wstring& path, std::uint32_t& size) {
    platform::FileFacts facts;
    if (!succeeded(platform::files().query(NormalizePath(path), facts))) {
        return false;
    }
    constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
    size = static_cast<std::uint32_t>(std::min(facts.size, kLargest));
    return true;
}

bool FileIO::Truncate(const std::wstring& path, std::uint32_t size) {
    return succeeded(platform::files().resize(NormalizePath(path), size));
}

std::FILE* FileIO::OpenStream(const std::wstring& path, const std::wstring& mode,
                              platform::Sharing sharing) {
    return platform::files().openStream(NormalizePath(path), mode, sharing);
}

std::unique_ptr<ByteArray> FileIO::ReadFile(const std::wstring& path) {
    FileIO file;
    if (!file.Open(path, L"rb")) {
        return nullptr;
    }
    auto bytes = std::make_unique<ByteArray>();
    // Growing by the block copies the array again and again where realloc cannot extend it.
    const std::uint32_t size = file.GetSize();
    bytes->Reserve(static_cast<std::int32_t>(
        std::min<std::uint32_t>(size, std::numeric_limits<std::int32_t>::max())));
    std::array<char, kFileBlockBytes> block;
    while (bytes->IsValid()) {
        const std::size_t count = file.Read(block.data(), block.size());
        if (count == 0) {
            return bytes;
        }
        bytes->Append(block.data(), static_cast<std::int32_t>(count));
    }
    return nullptr;
}

bool FileIO::WriteFile(const ByteArray& bytes, const std::wstring& path) {
    FileIO file;
    if (!file.Open(path, L"wb")) {
        return false;
    }
    const auto size = static_cast<std::size_t>(bytes.GetLength());
    const bool written = size == 0 || file.Write(bytes.GetData(), size) == size;
    // What does not fit on the disk is often found only when the buffer is written out.
    return file.Close() && written;
}

void FileIO::ListFiles(std::vector<std::wstring>& list, const std::wstring& folder,
                       const std::wstring& pattern, bool skipDots, std::uint32_t depth) {
    if (depth == 0 || folder.empty()) {
        return;
    }
    const std::wstring top = NormalizePath(folder);
    std::vector<std::wstring> folders = {top};
    ListDirectories(folders, top, depth - 1);
    std::sort(folders.begin(), folders.end());
    for (const std::wstring& each : folders) {
        collectMatches(list, each, pattern, skipDots);
    }
    if (!std::is_sorted(list.begin(), list.end())) {  // as a rule they are, folder by folder
        std::sort(list.begin(), list.end());
    }
    list.erase(std::unique(list.begin(), list.end()), list.end());
}

void FileIO::ListDirectories(std::vector<std::wstring>& list, const std::wstring& folder,
                             std::uint32_t depth) {
    if (depth == 0 || folder.empty() || !IsDirectory(folder)) {
        return;
    }
    const std::wstring prefix = withBackslash(NormalizePath(folder));
    std::vector<std::wstring> found;
    platform::files().enumerate(prefix + L'*', [&](const platform::DirectoryEntry& entry) {
        if (isDirectory(entry.attributes) && !isDots(entry.name)) {
            found.push_back(prefix + entry.name);
        }
        return true;
    });
    for (std::wstring& each : found) {
        list.push_back(each);
        ListDirectories(list, each, depth - 1);
    }
}

std::wstring FileIO::DetectEncoding(const std::wstring& path) {
    const std::wstring normal = NormalizePath(path);
    FileIO file;
    std::array<unsigned char, 4> mark = {};
    std::size_t count = 0;
    if (Exists(normal) && file.Open(normal, L"rb")) {
        count = file.Read(mark.data(), mark.size());
    }
    if (count >= 3 && mark[0] == 0xEF && mark[1] == 0xBB && mark[2] == 0xBF) {
        return L"UTF-8";
    }
    return count >= 2 && mark[0] == 0xFF && mark[1] == 0xFE ? L"UTF-16" : L"ANSI";
}

}  // namespace lathwind
