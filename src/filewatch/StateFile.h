#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "filewatch/WatchFileNames.h"

// The frame of FileWatch.dat: signature, version, recursion level, digests of the watch lists
// (docs/formats/filewatch-dat.md). Readers and writers of the tool and of the engine share it.
namespace lathwind {

inline constexpr std::uint16_t FileWatchSignature = 0xABCE;          // complete
inline constexpr std::uint16_t FileWatchReconfigSignature = 0xABCF;  // complete, log entities only
inline constexpr std::uint16_t FileWatchInProgressSignature = 0;     // a save that never ended
inline constexpr std::uint16_t FileWatchVersion = 12;

// What a stored version holds.
namespace stateVersion {
constexpr bool hasCustomLists(std::uint16_t version) {
    return version > 3;
}
constexpr bool hasServiceLogList(std::uint16_t version) {
    return version > 4;
}
constexpr bool hasOwners(std::uint16_t version) {
    return version > 5;
}
constexpr bool hasMountStates(std::uint16_t version) {
    return version > 6;
}
constexpr bool hasStreams(std::uint16_t version) {  // and extended attributes
    return version > 7;
}
constexpr bool hasSha256(std::uint16_t version) {
    return version > 8;
}
constexpr bool hasEntryEncoding(std::uint16_t version) {  // in a log's properties
    return version > 8;
}
constexpr bool hasVolumeKind(std::uint16_t version) {
    return version > 8;
}
constexpr bool hasAcl(std::uint16_t version) {
    return version > 8;
}
constexpr bool hasAclPieces(std::uint16_t version) {
    return version > 9;
}
constexpr bool hasRecursionLevel(std::uint16_t version) {
    return version > 10;
}
constexpr bool hasVirtualNames(std::uint16_t version) {
    return version > 11;
}
constexpr bool hasLogEncoding(std::uint16_t version) {
    return version > 11;
}
}  // namespace stateVersion

using Md5Digest = std::array<std::uint8_t, 16>;

// The frame's length in the newest version.
inline constexpr std::size_t kFrameBytes = 8 + watchFiles::kWatchLists.size() * sizeof(Md5Digest);

constexpr bool isCompleteSignature(std::uint16_t signature) {
    return signature == FileWatchSignature || signature == FileWatchReconfigSignature;
}

// The positions in watchFiles::kWatchLists whose digests a version stores, in file order.
std::vector<std::size_t> storedWatchLists(std::uint16_t version);

// The present digests of the five watch lists; zeros for a list that cannot be opened.
std::array<Md5Digest, watchFiles::kWatchLists.size()> digestWatchLists();

// The state file as a stream. `open` fails for a missing file and for anything that is no file;
// the buffer is large enough that a read of a few bytes seldom reaches the system.
class StateFileInput {
public:
    StateFileInput();
    bool open(std::wstring_view path);
    void close();
    std::istream& stream() { return stream_; }

private:
    std::vector<char> buffer_;
    std::ifstream stream_;
};

class StateFileOutput {
public:
    StateFileOutput();
    bool open(std::wstring_view path);  // truncates
    // Writes out what is buffered and waits until the disk has it. False if that or anything before
    // it failed.
    bool flush();
    // Writes out what is buffered. False if that or anything before it failed.
    bool close();
    std::ostream& stream() { return stream_; }

private:
    // Each snapshot's record flushes its stream. Here that is not worth a call of the system: a
    // disk that is full fails the write that finds the buffer full, or the flush at the end.
    class File : public std::filebuf {
    public:
        bool writeOut() { return std::filebuf::sync() == 0; }

    protected:
        int sync() override { return 0; }
    };

    std::wstring path_;
    std::vector<char> buffer_;
    File file_;
    std::ostream stream_;
};

}  // namespace lathwind
