#pragma once

#include <cerrno>
#include <string>

#include "utils/platform/Errors.h"
#include "utils/posix/DriveMap.h"
#include "utils/posix/Errno.h"
#include "utils/posix/FolderCache.h"

namespace lathwind::posix {

// Reaches files by wide paths, without regard to case where the exact spelling does not exist.
// PathResolver.cpp tells how. Any thread may call.
class PathResolver {
public:
    explicit PathResolver(const DriveMap& drives = DriveMap::ofProcess(),
                          FolderCache::Clock clock = nullptr);
    static PathResolver& ofProcess();

    // Runs `operation` (a path in bytes; 0 or an errno) on something that is to exist. The
    // spelling as given is tried first: without any call of the resolver's own as long as the
    // operation does not answer ENOENT or ENOTDIR. FileNotFound when only the last component is
    // missing, PathNotFound when more is.
    template <class Operation>
    platform::ErrorCode onExisting(const std::wstring& path, const Operation& operation) {
        return run(path, operation, &PathResolver::resolve);
    }

    // The same for something that may have to be created: the folder is resolved, the last
    // component stays as it is spelled. PathNotFound when the folder is missing.
    template <class Operation>
    platform::ErrorCode onNew(const std::wstring& path, const Operation& operation) {
        return run(path, operation, &PathResolver::resolveParent);
    }

    platform::ErrorCode toBytes(const std::wstring& path, std::string& bytes) const {
        return drives_.toBytes(path, bytes);
    }
    // Replaces a path in bytes, which does not exist as spelled, by the names on disk.
    platform::ErrorCode resolve(std::string& path);
    platform::ErrorCode resolveParent(std::string& path);

    const DriveMap& drives() const { return drives_; }
    FolderCache::Counters cacheCounters() const { return folders_.counters(); }

private:
    template <class Operation>
    platform::ErrorCode run(const std::wstring& path, const Operation& operation,
                            platform::ErrorCode (PathResolver::*resolver)(std::string&));

    const DriveMap drives_;
    FolderCache folders_;
};

template <class Operation>
platform::ErrorCode PathResolver::run(const std::wstring& path, const Operation& operation,
                                      platform::ErrorCode (PathResolver::*resolver)(std::string&)) {
    std::string bytes;
    platform::ErrorCode code = toBytes(path, bytes);
    if (code != platform::error::Success) {
        return code;
    }
    const int number = operation(bytes.c_str());
    if (number != ENOENT && number != ENOTDIR) {
        return errorFromErrno(number);
    }
    std::string real = bytes;
    code = (this->*resolver)(real);
    if (code != platform::error::Success) {
        return code;
    }
    // The same spelling again: the operation minds something else, a dangling link for one.
    return errorFromErrno(real == bytes ? number : operation(real.c_str()));
}

}  // namespace lathwind::posix
