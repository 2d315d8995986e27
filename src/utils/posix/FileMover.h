#pragma once

#include <string>

namespace lathwind::posix {

// Copying and renaming on paths in bytes. 0 or an errno.

// Copies a regular file with its mode and modification time. EEXIST with `failIfExists` and a
// target that is there, EISDIR for a folder, EBUSY when both are one file (nothing is touched),
// EACCES for a target that nobody may write. A target that this call made is removed again when
// the copy fails.
int copyFile(const char* source, const char* target, bool failIfExists);

// Renames within a file system. Without `replace` an existing target gives EEXIST; with it, a
// folder or a target that nobody may write gives EACCES.
int renameFile(const char* source, const char* target, bool replace);

// Moves a regular file to another file system: the copy takes shape under a name of its own
// beside the target and only then takes the target's place.
int moveByCopy(const char* source, const std::string& target, bool replace);

}  // namespace lathwind::posix
