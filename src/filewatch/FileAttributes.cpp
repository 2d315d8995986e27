#include "filewatch/FileAttributes.h"

#include <array>
#include <cstddef>
#include <utility>

#include "filewatch/SnapshotLines.h"
#include "filewatch/StateFile.h"
#include "utils/DateTime.h"
#include "utils/LittleEndian.h"

namespace lathwind {

namespace {

// exists, size, and from version 9 on the volume kind: one run of bytes behind the path.
constexpr std::size_t kShortRun = 1 + 8;
constexpr std::size_t kFullRun = kShortRun + 4;

}  // namespace

FileAttributes::FileAttributes(InternedText path) : path_(std::move(path)) {}

void FileAttributes::WriteRecord(std::ostream& stream) const {
    WriteTString(stream, path_);
    std::array<std::byte, kFullRun> run;
    run[0] = static_cast<std::byte>(exists_);
    storeLittleEndian(&run[1], size_);
    storeLittleEndian(&run[kShortRun], static_cast<std::uint32_t>(volumeKind_.get()));
    Write(stream, run.data(), run.size());
}

void FileAttributes::ReadObject(std::istream& stream) {
    FileAttributes::ReadObjectOfVersion(stream, FileWatchVersion);
}

void FileAttributes::ReadObjectOfVersion(std::istream& stream, std::uint16_t version) {
    const bool hasVolumeKind = stateVersion::hasVolumeKind(version);
    std::wstring path;
    ReadTString(stream, path);
    path_ = path;
    std::array<std::byte, kFullRun> run{};
    Read(stream, run.data(), hasVolumeKind ? kFullRun : kShortRun);
    exists_ = run[0] != std::byte{0};
    size_ = loadLittleEndian<std::uint64_t>(&run[1]);
    volumeKind_.set(VolumeKind{loadLittleEndian<std::uint32_t>(&run[kShortRun])});
    changeStamp_ = 0;
    if (stream.fail()) {
        throw SerializeException(L"Exception: FileAttributes::ReadObject", __LINE__,
                                 L"FileAttributes");
    }
}

bool FileAttributes::WriteText(std::wostream& stream) const {
    return writeLine(stream, path_.get()) && writeLine(stream, exists_ ? L"1" : L"0") &&
           writeLine(stream, size_) &&
           writeLine(stream, static_cast<std::uint32_t>(volumeKind_.get()));
}

bool FileAttributes::ReadText(std::wistream& stream) {
    std::wstring path;
    std::wstring exists;
    std::uint64_t size = 0;
    std::uint32_t volumeKind = 0;
    if (!readLine(stream, path) || !readLine(stream, exists) || !readLine(stream, size) ||
        !readLine(stream, volumeKind)) {
        return false;
    }
    path_ = path;
    exists_ = exists == L"1";
    size_ = size;
    volumeKind_.set(VolumeKind{volumeKind});
    return true;
}

namespace {

// Times of whole seconds: no text where they are equal, or where the own one is not known.
std::wstring secondsText(const FileAttributes& own, const FileAttributes* other,
                         std::uint32_t (FileAttributes::*time)() const) {
    const std::uint32_t seconds = (own.*time)();
    if (seconds == 0 || (other != nullptr && (other->*time)() == seconds)) {
        return {};
    }
    return DateTime(seconds).Format(kDateTimePattern);
}

}  // namespace

std::wstring FileAttributes::GetCreationTimeText(const FileAttributes* other) const {
    return secondsText(*this, other, &FileAttributes::GetCreationTime);
}

std::wstring FileAttributes::GetAccessTimeText(const FileAttributes* other) const {
    return secondsText(*this, other, &FileAttributes::GetAccessTime);
}

std::wstring FileAttributes::GetModifiedTimeText(const FileAttributes* other) const {
    return secondsText(*this, other, &FileAttributes::GetModifiedTime);
}

std::wstring FileAttributes::GetChangeTimeText(const FileAttributes* other) const {
    return secondsText(*this, other, &FileAttributes::GetChangeTime);
}

void FileAttributes::Reset() {
    exists_ = false;
    size_ = 0;
    changeStamp_ = 0;
}

}  // namespace lathwind
