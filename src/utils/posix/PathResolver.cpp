#include "utils/posix/PathResolver.h"

#include <string_view>
#include <sys/stat.h>
#include <vector>

// How a path is found without regard to case, on file systems that have regard to it.
//
// The logic above lower-cases its paths, as Windows lets it, so a lookup that misses by case alone
// is the ordinary one and has to be cheap; but a path that is spelled as on disk must cost what it
// costs everywhere else: one call. So the operation itself (a status query, an open) is tried on
// the path as spelled. Only when it answers "no such entry" does the resolver step in:
//
//   1. Step back from the end to the deepest folder that exists as spelled. One call a step, and
//      for the common case, a file that is missing or differs in its last name, one step.
//   2. From there walk forward. Each component is looked up in its folder's listing: the exact
//      name if it is there, otherwise a name that folds to the same text, the first by byte order
//      if there are several. The first component without a match decides between FileNotFound
//      (the last one) and PathNotFound (any other). There is no backtracking: with "Box" and
//      "box" side by side, a path through "BOX" goes into "Box" only.
//
// Folding is toLower over UTF-16 units, the one that the whole system uses for keys. A name on
// disk that is no UTF-8 reads as text with U+FFFD in the place of each bad byte, and is found
// through that spelling.
//
// Listings are cached, or a walk over a folder of n files would read n names n times. A listing is
// known by the folder's device and inode and good as long as the folder's modification and change
// times are what they were when it was taken: adding, removing or renaming an entry sets both, and
// the second cannot be set back by a program. Time stamps come in ticks of some milliseconds,
// though, so an entry that is added in the same tick right after the listing leaves no trace. So a
// listing is kept only if it was taken well after the last change (kRacyNanoseconds, many ticks);
// a younger one answers the lookup for which it was taken and is dropped. A folder that rests
// costs one status call and one binary search per lookup; a folder that changes all the time is
// read again for each lookup that misses by case, which is the price of never being wrong. The
// same happens on a server whose clock runs ahead of ours.
//
// A file that is to be created keeps the spelling of its last component, even where a file of
// another case exists: to look for that one would read the folder again for each new file, since
// each changes it.
namespace lathwind::posix {
namespace {

namespace error = platform::error;
using platform::ErrorCode;

struct Components {
    std::vector<std::string_view> names;
    bool rooted = false;
    bool folderWanted = false;  // ended in a slash
};

Components split(std::string_view path) {
    Components result;
    result.rooted = path.starts_with('/');
    result.folderWanted = path.ends_with('/');
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find('/'));
        path.remove_prefix(std::min(path.size(), name.size() + 1));
        if (!name.empty()) {
            result.names.push_back(name);
        }
    }
    return result;
}

std::string join(const Components& components, std::size_t count) {
    std::string path = components.rooted ? "/" : ".";
    for (std::size_t i = 0; i < count; ++i) {
        if (!path.ends_with('/')) {
            path += '/';
        }
        path += components.names[i];
    }
    return path;
}

// 0 for a folder, ENOTDIR for anything else that exists, or stat's errno.
int checkFolder(const std::string& path) {
    struct stat facts {};
    if (::stat(path.c_str(), &facts) != 0) {
        return errno;
    }
    return S_ISDIR(facts.st_mode) ? 0 : ENOTDIR;
}

// The number of leading components that exist as spelled and make a folder, at most all but the
// last.
ErrorCode stepBack(const Components& components, std::size_t& count) {
    for (count = components.names.size() - 1;; --count) {
        const int number = checkFolder(join(components, count));
        if (number == 0) {
            return error::Success;
        }
        if (count == 0) {
            return error::PathNotFound;
        }
        // ENOTDIR: this one or one before it is a file, which a later step back will meet as the
        // component that matches exactly and leads nowhere.
        if (number != ENOENT && number != ENOTDIR) {
            return errorFromErrno(number);
        }
    }
}

}  // namespace

PathResolver::PathResolver(const DriveMap& drives, FolderCache::Clock clock)
    : drives_(drives), folders_(clock) {}

PathResolver& PathResolver::ofProcess() {
    static PathResolver& instance = *new PathResolver;
    return instance;
}

ErrorCode PathResolver::resolve(std::string& path) {
    const Components components = split(path);
    if (components.names.empty()) {
        return error::PathNotFound;
    }
    std::size_t known = 0;
    const ErrorCode code = stepBack(components, known);
    if (code != error::Success) {
        return code;
    }
    std::string real = join(components, known);
    for (std::size_t i = known; i < components.names.size(); ++i) {
        const std::string_view name = components.names[i];
        std::string found;
        const int number =
            name == "." || name == ".." ? (found = name, 0) : folders_.find(real, name, found);
        if (number == ENOENT) {
            const bool last = i + 1 == components.names.size();
            return last ? error::FileNotFound : error::PathNotFound;
        }
        if (number == ENOTDIR) {
            return error::PathNotFound;
        }
        if (number == EACCES) {
            // The folder may be passed through but not listed: what is not there by its exact
            // name cannot be found by another.
            found = name;
        } else if (number != 0) {
            return errorFromErrno(number);
        }
        if (!real.ends_with('/')) {
            real += '/';
        }
        real += found;
    }
    if (components.folderWanted) {
        real += '/';
    }
    if (!components.rooted && !path.starts_with("./")) {
        real.erase(0, 2);
    }
    path = std::move(real);
    return error::Success;
}

ErrorCode PathResolver::resolveParent(std::string& path) {
    const std::size_t end = path.find_last_not_of('/');
    const std::size_t slash = end == std::string::npos ? end : path.find_last_of('/', end);
    if (slash == std::string::npos || slash == 0) {
        return end == std::string::npos ? error::PathNotFound : error::Success;
    }
    std::string parent = path.substr(0, slash);
    if (checkFolder(parent) != 0) {
        const ErrorCode code = resolve(parent);
        if (code != error::Success) {
            return code == error::FileNotFound ? error::PathNotFound : code;
        }
        if (checkFolder(parent) != 0) {
            return error::PathNotFound;
        }
    }
    path = parent + path.substr(slash);
    return error::Success;
}

}  // namespace lathwind::posix
