#include "filewatch/windows/BackupStreamDecoder.h"

#include <algorithm>
#include <array>

#include "utils/LittleEndian.h"

namespace lathwind {

namespace {

using platform::BackupReader;
using platform::ErrorCode;
using platform::error::Success;

constexpr std::size_t kHeaderSize = 20;
constexpr std::uint32_t kEaDataStream = 2;
constexpr std::size_t kEaHeaderSize = 8;
// A list has at most 64 KiB, whatever a header promises: more is fetched in further pieces.
constexpr std::uint32_t kPiece = 65536;

struct StreamHeader {
    std::uint32_t id = 0;
    std::uint64_t size = 0;
    std::uint32_t nameSize = 0;
};

// False at the end of the backup stream.
bool readHeader(BackupReader& reader, StreamHeader& header) {
    std::array<std::byte, kHeaderSize> bytes;
    std::uint32_t got = 0;
    if (reader.read(bytes.data(), kHeaderSize, got) != Success || got < kHeaderSize) {
        return false;
    }
    header.id = loadLittleEndian<std::uint32_t>(&bytes[0]);
    header.size = loadLittleEndian<std::uint64_t>(&bytes[8]);
    header.nameSize = loadLittleEndian<std::uint32_t>(&bytes[16]);
    return true;
}

ErrorCode dropName(BackupReader& reader, std::uint32_t size) {
    std::array<std::byte, 512> piece;
    while (size > 0) {
        std::uint32_t got = 0;
        const auto wanted = std::min(size, static_cast<std::uint32_t>(piece.size()));
        const ErrorCode code = reader.read(piece.data(), wanted, got);
        if (code != Success) {
            return code;
        }
        if (got == 0) {
            break;  // the end; the next header read meets it again
        }
        size -= std::min(got, size);
    }
    return Success;
}

ErrorCode readData(BackupReader& reader, std::uint32_t size, std::vector<std::byte>& data) {
    while (data.size() < size) {
        const auto before = data.size();
        const auto wanted = std::min(size - static_cast<std::uint32_t>(before), kPiece);
        std::uint32_t got = 0;
        data.resize(before + wanted);
        const ErrorCode code = reader.read(data.data() + before, wanted, got);
        data.resize(before + (code == Success ? std::min(got, wanted) : 0));
        if (code != Success || got == 0) {
            return code;
        }
    }
    return Success;
}

}  // namespace

EaStream readEaStream(BackupReader& reader) {
    EaStream result;
    StreamHeader header;
    while (readHeader(reader, header)) {
        result.code = dropName(reader, header.nameSize);
        if (result.code != Success) {
            result.failure = BackupFailure::StreamName;
            break;
        }
        if (header.id == kEaDataStream) {
            result.code = readData(reader, static_cast<std::uint32_t>(header.size), result.data);
            if (result.code != Success) {
                result.failure = BackupFailure::EaData;
                result.data.clear();
            }
            break;
        }
        result.code = reader.skip(header.size);
        if (result.code != Success) {
            result.failure = BackupFailure::StreamName;
            break;
        }
    }
    return result;
}

std::vector<ExtendedAttribute> decodeEaList(std::span<const std::byte> list) {
    std::vector<ExtendedAttribute> entries;
    while (list.size() >= kEaHeaderSize) {
        const auto next = loadLittleEndian<std::uint32_t>(&list[0]);
        const auto nameSize = std::to_integer<std::size_t>(list[5]);
        const std::size_t valueSize = loadLittleEndian<std::uint16_t>(&list[6]);
        const std::size_t entrySize = kEaHeaderSize + nameSize + 1 + valueSize;
        if (entrySize > list.size()) {
            break;
        }
        const auto* text = reinterpret_cast<const char*>(list.data()) + kEaHeaderSize;
        entries.push_back({{text, nameSize}, {text + nameSize + 1, valueSize}});
        // An offset into the entry itself is never written, and would let a few bytes grow into
        // any amount of text.
        if (next < entrySize || next > list.size()) {
            break;
        }
        list = list.subspan(next);
    }
    return entries;
}

}  // namespace lathwind
