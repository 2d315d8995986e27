#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "utils/platform/Errors.h"
#include "utils/platform/Files.h"

// NTFS extended attributes as a file's backup stream carries them: a sequence of streams, each with
// a header (WIN32_STREAM_ID), a name and data; the stream with id 2 (BACKUP_EA_DATA) holds the list
// of attributes (FILE_FULL_EA_INFORMATION). No byte of either is trusted.
namespace lathwind {

// Which step of the walk the system refused.
enum class BackupFailure {
    None,
    StreamName,  // reading a stream's name, or passing over a stream
    EaData,      // reading the list
};

struct EaStream {
    std::vector<std::byte> data;  // the list as it is; empty where the file has none
    BackupFailure failure = BackupFailure::None;
    platform::ErrorCode code = platform::error::Success;  // of the failure
};

// Walks the backup stream up to the end of the attribute list. The end of the backup stream, or a
// header that cannot be read, is no failure: the file has no list. The caller calls finish.
EaStream readEaStream(platform::BackupReader& reader);

// Views into the decoded bytes, in the system's 8-bit text.
struct ExtendedAttribute {
    std::string_view name;
    std::string_view value;
};

// Entries of next entry offset (32 bits), flags (8), name length (8), value length (16), name,
// terminator, value. The list ends with an entry whose next offset is 0 or leads out of the bytes
// or back into the entry itself, and before an entry that does not fit.
std::vector<ExtendedAttribute> decodeEaList(std::span<const std::byte> list);

}  // namespace lathwind
