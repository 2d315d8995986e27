#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace lathwind {

// One data stream of an NTFS file.
struct FileStream {
    std::wstring name;       // as the system reports it: ":name:$DATA"
    std::uint64_t size = 0;  // bytes
};

// Decodes a stream list (information class 22, FILE_STREAM_INFORMATION): entries of next entry
// offset (32 bits), name length in bytes (32), size (64), allocation size (64), UTF-16 name. The
// list ends before an entry without a name, or one that does not fit, and with an entry whose next
// offset is 0 or leads out of the bytes or back into the entry itself. The unnamed stream, the
// contents of the file, is left out.
std::vector<FileStream> decodeStreamList(std::span<const std::byte> list);

}  // namespace lathwind
