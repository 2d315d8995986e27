#include "utils/posix/FileMover.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "utils/posix/Descriptor.h"

namespace lathwind::posix {
namespace {

constexpr std::size_t kBlock = 128 * 1024;
constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr mode_t kPermissions = 07777;

bool sameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

int writeAll(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(descriptor, data, size);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        if (count > 0) {
            data += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return 0;
}

int copyContents(int from, int to) {
    std::vector<char> block(kBlock);
    for (;;) {
        const ssize_t count = ::read(from, block.data(), block.size());
        if (count == 0) {
            return 0;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        const int number = writeAll(to, block.data(), static_cast<std::size_t>(count));
        if (number != 0) {
            return number;
        }
    }
}

// Mode and times last: writing changes the times, and may take set-id bits away.
int copyFacts(int to, const struct stat& facts) {
    const timespec times[2] = {facts.st_atim, facts.st_mtim};
    if (::fchmod(to, facts.st_mode & kPermissions) != 0 || ::futimens(to, times) != 0) {
        return errno;
    }
    return 0;
}

int openSource(const char* path, Descriptor& file, struct stat& facts) {
    // Not blocking: the open of a pipe would wait for its other end.
    file.reset(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file || ::fstat(file.get(), &facts) != 0) {
        return errno;
    }
    return S_ISDIR(facts.st_mode) ? EISDIR : S_ISREG(facts.st_mode) ? 0 : EACCES;
}

// Opens without truncating: the target may turn out to be the source.
int openTarget(const char* path, bool failIfExists, Descriptor& file, bool& created) {
    file.reset(::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    created = static_cast<bool>(file);
    if (created || errno != EEXIST || failIfExists) {
        return created ? 0 : errno;
    }
    file.reset(::open(path, O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR));
    return file ? 0 : errno;
}

int checkTarget(const Descriptor& target, const struct stat& source) {
    struct stat facts {};
    if (::fstat(target.get(), &facts) != 0) {
        return errno;
    }
    if (sameFile(facts, source)) {
        return EBUSY;
    }
    if (!S_ISREG(facts.st_mode) || (facts.st_mode & kWriteBits) == 0) {
        return EACCES;
    }
    return ::ftruncate(target.get(), 0) == 0 ? 0 : errno;
}

int fillTarget(const Descriptor& from, const Descriptor& to, bool created,
               const struct stat& facts) {
    int number = created ? 0 : checkTarget(to, facts);
    if (number == 0) {
        number = copyContents(from.get(), to.get());
    }
    return number == 0 ? copyFacts(to.get(), facts) : number;
}

// The file system cannot rename without replacing. A second name for a file fails where the
// target exists, at once and for all; a folder has no second name, so it is looked at first.
int renameWithoutReplacing(const char* source, const char* target) {
    if (::link(source, target) == 0) {
        return ::unlink(source) == 0 ? 0 : errno;
    }
    if (errno == EEXIST || errno == EXDEV || errno == ENOENT) {
        return errno;
    }
    struct stat facts {};
    if (::lstat(target, &facts) == 0) {
        return EEXIST;
    }
    return ::rename(source, target) == 0 ? 0 : errno;
}

bool mayBeReplaced(const char* source, const char* target) {
    struct stat from {};
    struct stat to {};
    if (::lstat(target, &to) != 0) {
        return true;  // not there, or the rename itself will tell
    }
    if (::lstat(source, &from) == 0 && sameFile(from, to)) {
        return true;  // a change of case on a file system that has no regard to it
    }
    return !S_ISDIR(to.st_mode) && (to.st_mode & kWriteBits) != 0;
}

}  // namespace

int copyFile(const char* source, const char* target, bool failIfExists) {
    Descriptor from;
    Descriptor to;
    struct stat facts {};
    int number = openSource(source, from, facts);
    if (number != 0) {
        return number;
    }
    bool created = false;
    number = openTarget(target, failIfExists, to, created);
    if (number != 0) {
        return number;
    }
    number = fillTarget(from, to, created, facts);
    // Some file systems tell only here that the data did not fit.
    const int closed = to.close();
    number = number == 0 ? closed : number;
    if (number != 0 && created) {
        ::unlink(target);
    }
    return number;
}

int renameFile(const char* source, const char* target, bool replace) {
    if (replace) {
        if (!mayBeReplaced(source, target)) {
            return EACCES;
        }
        return ::rename(source, target) == 0 ? 0 : errno;
    }
    if (::renameat2(AT_FDCWD, source, AT_FDCWD, target, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno == EINVAL || errno == ENOSYS) {
        return renameWithoutReplacing(source, target);
    }
    return errno;
}

int moveByCopy(const char* source, const std::string& target, bool replace) {
    if (!replace && ::access(target.c_str(), F_OK) == 0) {
        return EEXIST;
    }
    std::string passing;
    int number = EEXIST;
    for (unsigned attempt = 0; number == EEXIST && attempt < 100; ++attempt) {
        passing = target + ".moving" + std::to_string(::getpid()) + "." + std::to_string(attempt);
        number = copyFile(source, passing.c_str(), true);
    }
    if (number != 0) {
        return number == EISDIR ? EXDEV : number;  // folders do not move across volumes
    }
    number = renameFile(passing.c_str(), target.c_str(), replace);
    if (number != 0) {
        ::unlink(passing.c_str());
        return number;
    }
    return ::unlink(source) == 0 ? 0 : errno;
}

}  // namespace lathwind::posix
