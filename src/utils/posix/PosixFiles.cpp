#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include "utils/Text.h"
#include "utils/posix/BackupStream.h"
#include "utils/posix/Descriptor.h"
#include "utils/posix/FileFacts.h"
#include "utils/posix/FileMover.h"
#include "utils/posix/ModeSddl.h"
#include "utils/posix/PathResolver.h"
#include "utils/posix/Services.h"
#include "utils/posix/Wildcard.h"

// Symbolic links. A status query, an open and the security of a path follow them, as nearly
// everything on this system does: a watched link is watched for what it leads to, and one that
// leads nowhere is a file that is not there. Removing, renaming and setting attributes mean the
// link itself, so that nothing behind a link is ever changed by way of it. An enumeration gives
// links as reparse points.
namespace lathwind::posix {
namespace {

namespace attribute = platform::attribute;
namespace error = platform::error;
namespace security = platform::security;
using platform::ErrorCode;

constexpr std::uint32_t kSymbolicLinkTag = 0xA000000C;
constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr mode_t kPermissions = 07777;

PathResolver& paths() {
    return PathResolver::ofProcess();
}

int result(int returned) {
    return returned == 0 ? 0 : errno;
}

std::size_t lastSeparator(const std::wstring& path) {
    return path.find_last_of(L"\\/");
}

std::wstring lastName(const std::wstring& path) {
    return path.substr(lastSeparator(path) + 1);
}

bool leadsToFolder(int folder, const char* name) {
    struct stat facts {};
    return ::fstatat(folder, name, &facts, 0) == 0 && S_ISDIR(facts.st_mode);
}

// False for an entry that is gone by now.
bool describe(int folder, const char* name, platform::DirectoryEntry& entry) {
    struct stat facts {};
    if (::fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    if (S_ISLNK(facts.st_mode)) {
        entry.attributes = attribute::ReparsePoint;
        entry.attributes |= leadsToFolder(folder, name) ? attribute::Directory : 0;
        entry.reparseTag = kSymbolicLinkTag;
    } else {
        entry.attributes = attributesOfMode(facts.st_mode);
        entry.reparseTag = 0;
    }
    return true;
}

// By what the folder itself tells of plain files and folders; only the rest is asked for. False for
// an entry that is gone by now.
bool describeListed(int folder, const dirent& listed, platform::DirectoryEntry& entry) {
    switch (listed.d_type) {
        case DT_REG:
            entry.attributes = attributesOfMode(S_IFREG | kWriteBits);
            return true;
        case DT_DIR:
            entry.attributes = attributesOfMode(S_IFDIR | kWriteBits);
            return true;
        default:
            return describe(folder, listed.d_name, entry);
    }
}

int enumerateFolder(const char* path, std::wstring_view mask, const platform::Files::Visitor& visit,
                    bool& matched) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path), ::closedir);
    if (!folder) {
        return errno;
    }
    for (;;) {
        errno = 0;
        const dirent* entry = ::readdir(folder.get());
        if (entry == nullptr) {
            return errno;
        }
        platform::DirectoryEntry found;
        found.name = utf16FromUtf8(entry->d_name);
        if (!matchesWildcard(found.name, mask) ||
            !describeListed(::dirfd(folder.get()), *entry, found)) {
            continue;
        }
        matched = true;
        if (!visit(found)) {
            return 0;
        }
    }
}

int removeFile(const char* path) {
    struct stat facts {};
    if (::lstat(path, &facts) != 0) {
        return errno;
    }
    if (S_ISDIR(facts.st_mode) || (S_ISLNK(facts.st_mode) && leadsToFolder(AT_FDCWD, path))) {
        return EISDIR;
    }
    // A file that nobody may write is a read-only one, which has to be made writable first. Only
    // the folder's mode would count otherwise.
    if (!S_ISLNK(facts.st_mode) && (facts.st_mode & kWriteBits) == 0) {
        return EACCES;
    }
    return result(::unlink(path));
}

int removeFolder(const char* path) {
    if (::rmdir(path) == 0) {
        return 0;
    }
    const int number = errno;
    struct stat facts {};
    if (number == ENOTDIR && ::lstat(path, &facts) == 0 && S_ISLNK(facts.st_mode) &&
        leadsToFolder(AT_FDCWD, path)) {
        return result(::unlink(path));
    }
    return number;
}

int changeAttributes(const char* path, std::uint32_t attributes) {
    struct stat facts {};
    if (::lstat(path, &facts) != 0) {
        return errno;
    }
    const mode_t mode = modeWithAttributes(facts.st_mode, attributes);
    if (S_ISLNK(facts.st_mode) || mode == facts.st_mode) {
        return 0;
    }
    // Not following: what was a file a moment ago may have become a link.
    return result(::fchmodat(AT_FDCWD, path, mode & kPermissions, AT_SYMLINK_NOFOLLOW));
}

class PosixSecurityDescriptor final : public platform::SecurityDescriptor {
public:
    PosixSecurityDescriptor(const Ownership& ownership, std::uint32_t information)
        : ownership_(ownership), information_(information) {}

    ErrorCode owner(std::wstring& sid) const override {
        if ((information_ & security::Owner) == 0) {
            return error::InvalidSid;
        }
        sid = textsOf(ownership_).user;
        return error::Success;
    }
    ErrorCode group(std::wstring& sid) const override {
        if ((information_ & security::Group) == 0) {
            return error::InvalidSid;
        }
        sid = textsOf(ownership_).group;
        return error::Success;
    }
    ErrorCode toSddl(std::uint32_t information, std::wstring& text) const override {
        constexpr std::uint32_t kAllParts = security::Owner | security::Group | security::Dacl;
        const std::uint32_t parts = information & information_ & kAllParts;
        text = parts == kAllParts ? textsOf(ownership_).sddl : posix::toSddl(ownership_, parts);
        return error::Success;
    }

private:
    const Ownership ownership_;
    const std::uint32_t information_;
};

// One system call tells status and security both.
int readStatus(const char* path, struct statx& status) {
    constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME;
    return result(::statx(AT_FDCWD, path, AT_STATX_SYNC_AS_STAT, kWanted, &status));
}

int readOwnership(const char* path, Ownership& ownership) {
    struct stat facts {};
    if (::stat(path, &facts) != 0) {
        return errno;
    }
    ownership = {facts.st_uid, facts.st_gid, facts.st_mode & kPermissions};
    return 0;
}

// Owner first: a change of owner takes set-id bits away, which the mode then brings back.
int changeOwnership(const char* path, const Ownership& from, const Ownership& to) {
    const bool moved = from.user != to.user || from.group != to.group;
    if (moved && ::chown(path, to.user, to.group) != 0) {
        return errno;
    }
    if ((moved || from.mode != to.mode) && ::chmod(path, to.mode) != 0) {
        return errno;
    }
    return 0;
}

// open's flags for fopen's mode, nothing for a mode that is none.
std::optional<int> openFlags(const std::string& mode) {
    const bool update = mode.find('+') != std::string::npos;
    const int access = update ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
    switch (mode[0]) {
        case 'r':
            return access;
        case 'w':
            return access | O_CREAT | O_TRUNC;
        case 'a':
            return access | O_CREAT | O_APPEND;
        default:
            return std::nullopt;
    }
}

// The open must not wait for the other end of a pipe, nor a read for what a pipe or device may
// give: only files are read. A file keeps O_NONBLOCK, which means nothing on a disk, but keeps
// those of the kernel's own that wait for news (the log under /proc) from holding anybody up.
int openFile(const char* path, int flags, bool reads, Descriptor& file) {
    constexpr mode_t kNewFile = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    file.reset(::open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, kNewFile));
    struct stat facts {};
    if (!file || ::fstat(file.get(), &facts) != 0) {
        return errno == EISDIR || errno == ENXIO ? EACCES : errno;
    }
    if (S_ISREG(facts.st_mode)) {
        return 0;
    }
    if (reads || (!S_ISCHR(facts.st_mode) && !S_ISBLK(facts.st_mode))) {
        return EACCES;
    }
    return result(::fcntl(file.get(), F_SETFL, flags & ~(O_CREAT | O_TRUNC)));
}

class PosixFiles final : public platform::Files {
public:
    ErrorCode query(const std::wstring& path, platform::FileFacts& facts) override {
        struct statx status;
        const ErrorCode code = paths().onExisting(
            path, [&status](const char* bytes) { return readStatus(bytes, status); });
        if (code == error::Success) {
            facts = factsOf(status);
        }
        return code;
    }

    ErrorCode setAttributes(const std::wstring& path, std::uint32_t attributes) override {
        return paths().onExisting(
            path, [attributes](const char* bytes) { return changeAttributes(bytes, attributes); });
    }

    ErrorCode remove(const std::wstring& path) override {
        return paths().onExisting(path, removeFile);
    }

    ErrorCode copy(const std::wstring& source, const std::wstring& target,
                   bool failIfExists) override {
        const ErrorCode code = onPair(source, target, [&](const char* from, const char* to) {
            return copyFile(from, to, failIfExists);
        });
        return code == error::AlreadyExists ? error::FileExists : code;
    }

    ErrorCode move(const std::wstring& source, const std::wstring& target,
                   std::uint32_t flags) override {
        const bool replace = (flags & MoveReplaceExisting) != 0;
        return onPair(source, target, [&](const char* from, const char* to) {
            const int number = renameFile(from, to, replace);
            const bool elsewhere = number == EXDEV && (flags & MoveCopyAllowed) != 0;
            return elsewhere ? moveByCopy(from, to, replace) : number;
        });
    }

    ErrorCode createDirectory(const std::wstring& path) override {
        return paths().onNew(path, [](const char* bytes) { return result(::mkdir(bytes, 0777)); });
    }

    ErrorCode removeDirectory(const std::wstring& path) override {
        return paths().onExisting(path, removeFolder);
    }

    ErrorCode resize(const std::wstring& path, std::uint64_t size) override {
        if (size > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
            return error::InvalidParameter;
        }
        return paths().onExisting(path, [size](const char* bytes) {
            return result(::truncate(bytes, static_cast<off_t>(size)));
        });
    }

    ErrorCode flushToDisk(const std::wstring& path) override {
        return paths().onExisting(path, [](const char* bytes) {
            const Descriptor file(::open(bytes, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
            if (!file) {
                return errno;
            }
            const int number = result(::fsync(file.get()));
            return number == EINVAL || number == EROFS ? 0 : number;
        });
    }

    ErrorCode enumerate(const std::wstring& pattern, const Visitor& visit) override {
        const std::wstring mask = lastName(pattern);
        if (!hasWildcard(mask)) {
            return enumerateOne(pattern, mask, visit);
        }
        // What stands before the mask, with its backslash: that of a drive is part of its root.
        const std::wstring folder = pattern.substr(0, pattern.size() - mask.size());
        bool matched = false;
        const ErrorCode code = paths().onExisting(
            folder.empty() ? L"." : folder,
            [&](const char* bytes) { return enumerateFolder(bytes, mask, visit, matched); });
        if (code == error::FileNotFound) {
            return error::PathNotFound;
        }
        return code == error::Success && !matched ? error::FileNotFound : code;
    }

    ErrorCode currentDirectory(std::wstring& path) override {
        const std::unique_ptr<char, void (*)(void*)> bytes(::getcwd(nullptr, 0), std::free);
        if (!bytes) {
            return errorFromErrno(errno);
        }
        path = paths().drives().toWide(bytes.get());
        if (path.size() > 1 && path.back() == L'\\') {
            path.pop_back();
        }
        // Below no drive there is no way to say where this is.
        return path.empty() ? error::PathNotFound : error::Success;
    }

    ErrorCode setCurrentDirectory(const std::string& path) override {
        return paths().onExisting(utf16FromUtf8(path),
                                  [](const char* bytes) { return result(::chdir(bytes)); });
    }

    std::filesystem::path nativePath(const std::wstring& path) override {
        std::string bytes;
        if (paths().toBytes(path, bytes) != error::Success) {
            return {};
        }
        if (::access(bytes.c_str(), F_OK) != 0 && paths().resolve(bytes) != error::Success) {
            paths().resolveParent(bytes);
        }
        return bytes;
    }

    // Nobody locks a file by opening it here, so `sharing` asks for what is always so.
    std::FILE* openStream(const std::wstring& path, const std::wstring& mode,
                          platform::Sharing /*sharing*/) override {
        const std::string narrowMode = utf8FromUtf16(mode);
        const std::optional<int> flags = openFlags(narrowMode);
        if (!flags) {
            errno = EINVAL;
            return nullptr;
        }
        Descriptor file;
        int number = ENOENT;  // also where the path leads to no drive
        const bool reads = narrowMode[0] == 'r';
        const auto open = [&](const char* bytes) {
            return number = openFile(bytes, *flags, reads, file);
        };
        const ErrorCode code =
            (*flags & O_CREAT) != 0 ? paths().onNew(path, open) : paths().onExisting(path, open);
        if (code != error::Success) {
            errno = number != 0 ? number : ENOENT;
            return nullptr;
        }
        std::FILE* stream = openDescriptor(file.get(), mode);
        if (stream != nullptr) {
            file.release();
        }
        return stream;
    }

    // "t" and what Microsoft's run-time adds to the modes mean nothing here.
    std::FILE* openDescriptor(int descriptor, const std::wstring& mode) override {
        std::string known;
        for (const wchar_t unit : mode) {
            if (unit == L'r' || unit == L'w' || unit == L'a' || unit == L'+' || unit == L'b') {
                known += static_cast<char>(unit);
            }
        }
        return ::fdopen(descriptor, known.c_str());
    }

    int descriptorOf(std::FILE* stream) override { return ::fileno(stream); }
    int seekStream(std::FILE* stream, std::int64_t offset, int origin) override {
        return ::fseeko(stream, offset, origin);
    }
    std::int64_t tellStream(std::FILE* stream) override { return ::ftello(stream); }

    std::unique_ptr<platform::BackupReader> openBackup(const std::wstring& path,
                                                       ErrorCode& code) override {
        std::unique_ptr<platform::BackupReader> reader;
        code = paths().onExisting(
            path, [&reader](const char* bytes) { return openBackupStream(bytes, reader); });
        return reader;
    }

    std::unique_ptr<platform::SecurityDescriptor> readSecurity(const std::wstring& path,
                                                               std::uint32_t information,
                                                               ErrorCode& code) override {
        Ownership ownership;
        code = paths().onExisting(
            path, [&ownership](const char* bytes) { return readOwnership(bytes, ownership); });
        if (code != error::Success) {
            return nullptr;
        }
        return std::make_unique<PosixSecurityDescriptor>(ownership, information);
    }

    ErrorCode survey(const std::wstring& path, std::uint32_t information,
                     platform::Survey& found) override {
        struct statx status;
        struct timespec before {};
        ::clock_gettime(CLOCK_REALTIME_COARSE, &before);  // the clock that stamps files
        int attributeNumber = 0;
        const ErrorCode code = paths().onExisting(path, [&](const char* bytes) {
            const int number = readStatus(bytes, status);
            if (number == 0) {
                attributeNumber = readExtendedAttributes(bytes, found.attributes);
            }
            return number;
        });
        if (code == error::Success) {
            found.facts = factsOf(status);
            if (!isSettled(status, before)) {
                found.facts.changeStamp = 0;
            }
            found.security = std::make_unique<PosixSecurityDescriptor>(
                Ownership{status.stx_uid, status.stx_gid, status.stx_mode & kPermissions},
                information);
            found.securityCode = error::Success;
            found.backupCode = errorFromErrno(attributeNumber);
            if (attributeNumber != 0) {
                found.attributes.clear();  // a part of them would look like a change
            }
        }
        return code;
    }

    ErrorCode writeSecurity(const std::wstring& path, std::uint32_t information,
                            const std::wstring& sddl) override {
        ErrorCode parsed = error::Success;
        const ErrorCode code = paths().onExisting(path, [&](const char* bytes) {
            Ownership before;
            const int number = readOwnership(bytes, before);
            if (number != 0) {
                return number;
            }
            Ownership after = before;
            parsed = applySddl(sddl, information, after);
            return parsed == error::Success ? changeOwnership(bytes, before, after) : 0;
        });
        return code == error::Success ? parsed : code;
    }

    bool hasStreams() const override { return false; }

    // Files have no named streams: the list is always the empty one.
    StreamQuery queryStreams(const std::wstring& path, std::span<std::byte> buffer,
                             ErrorCode& code) override {
        platform::FileFacts facts;
        code = query(path, facts);
        if (code != error::Success) {
            return StreamQuery::OpenFailed;
        }
        std::fill(buffer.begin(), buffer.end(), std::byte{0});
        return StreamQuery::Listed;
    }

private:
    // Runs `operation` on a source that exists and a target that may have to be made.
    template <class Operation>
    static ErrorCode onPair(const std::wstring& source, const std::wstring& target,
                            const Operation& operation) {
        // The source is looked at first, so that an ENOENT of the pair speaks of the target.
        std::string from;
        const ErrorCode code = paths().onExisting(source, [&from](const char* bytes) {
            from = bytes;
            struct stat facts {};
            return result(::lstat(bytes, &facts));
        });
        if (code != error::Success) {
            return code;
        }
        return paths().onNew(target, [&](const char* to) { return operation(from.c_str(), to); });
    }

    static ErrorCode enumerateOne(const std::wstring& path, const std::wstring& spelled,
                                  const Visitor& visit) {
        if (!path.empty() && spelled.empty()) {
            return error::FileNotFound;  // ends in a backslash: a folder, not an entry of one
        }
        platform::DirectoryEntry entry;
        const ErrorCode code = paths().onExisting(path, [&entry](const char* bytes) {
            const std::string_view name = bytes;
            entry.name = utf16FromUtf8(name.substr(name.find_last_of('/') + 1));
            return describe(AT_FDCWD, bytes, entry) ? 0 : errno;
        });
        if (code == error::Success) {
            visit(entry);
        }
        return code;
    }
};

}  // namespace

platform::Files& files() {
    static platform::Files& instance = *new PosixFiles;
    return instance;
}

}  // namespace lathwind::posix
