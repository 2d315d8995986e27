#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "utils/platform/Files.h"

namespace lathwind::posix {

using platform::ExtendedAttributes;

// FILE_FULL_EA_INFORMATION records: offset of the next record or 0 (32 bits), flags (8), name
// length (8), value length (16), name, a zero byte, value; each record at a multiple of 4.
// A value beyond 65535 bytes is cut there, a name beyond 255 is left out.
std::vector<std::byte> encodeExtendedAttributes(const ExtendedAttributes& attributes);

// The user's extended attributes of a path in bytes (links are followed), without the prefix
// "user." which all of them share: attributes of Windows have none. 0 or an errno; a file system
// that keeps no attributes has none to tell. Values are cut as in the records above.
int readExtendedAttributes(const char* path, ExtendedAttributes& attributes);

// The backup stream of a file with extended attributes: the contents as stream 1, then the
// attributes as stream 2. A file without any gives an empty stream: there is nothing in it that
// its contents do not hold, and so asking costs one call. A folder has no stream 1.
int openBackupStream(const char* path, std::unique_ptr<platform::BackupReader>& reader);

}  // namespace lathwind::posix
