#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <string>

#include "filewatch/StateFile.h"
#include "tools/EntityTable.h"

namespace lathwind {
class MountManager;
}

namespace lathwind::tool {

// Readers and writers of FileWatch.dat over whole files (docs/formats/filewatch-dat.md). Streams
// are opened and closed by the caller unless said otherwise. `mountState` may be null: a block is
// then neither read nor written. Failure is a false result; SerializeException does not pass.

// What stands in front of the mount states and the entities.
struct StateFileHeader {
    std::uint16_t signature = 0;
    std::uint16_t version = 0;
    std::uint32_t recursionLevel = 0;  // 0 in a version that has none
    std::array<Md5Digest, watchFiles::kWatchLists.size()> digests{};
};

// Reads a file of any version. On failure `entities` is empty.
bool ReadFileWatchDat(std::istream& stream, EntityTable& entities, MountManager* mountState,
                      StateFileHeader& header);

// Prints a file of any version, holding one entity at a time.
bool ViewFileWatchDat(std::istream& stream, MountManager* mountState);

// Replaces FileWatch.dat by a file of the newest version. `storedVersion` and `recursionLevel` are
// those of the file that the entities come from, 0 and 0 for none. A location that cannot be
// written passes for success and leaves what was there or nothing; a failure on the way removes
// the file.
bool WriteFileWatchDat(const EntityTable& entities, MountManager* mountState,
                       std::uint16_t storedVersion, std::uint32_t recursionLevel);

// The entity list, up to the end of the stream. Of two entities with one key the first one stays.
bool ReadWatchedEntities(std::istream& stream, EntityTable& entities, std::uint16_t version);
void ListWatchedEntities(std::istream& stream, std::uint16_t version);  // throws

// Completes the entities of a file of `version` from the live files. False at the first failure.
bool UpdateWatchedEntities(EntityTable& entities, std::uint16_t version);

// Sees to it that the service's log is among the entities, to be read from `offset` bytes on. A
// log that is new to the table and has offset 0 starts at its present end. False only when no
// entity can be made.
bool AddEditServiceLog(const std::wstring& path, std::uint32_t offset, EntityTable& entities);

}  // namespace lathwind::tool
