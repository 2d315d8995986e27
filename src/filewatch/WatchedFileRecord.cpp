// The record of a watched file: docs/formats/entity-records.md.
#include <algorithm>
#include <utility>
#include <vector>

#include "filewatch/WatchedFile.h"
#include "plugins/FileDiffState.h"
#include "utils/ByteArray.h"

namespace lathwind {
namespace {

constexpr wchar_t kSource[] = L"WatchedFile";
constexpr std::int32_t kReadPieceBytes = 256 * 1024;

// Reads a block whose length the record claims, in pieces: a damaged length costs no more memory
// than the stream really has bytes.
std::unique_ptr<ByteArray> readBlock(std::istream& stream, std::int32_t length) {
    auto block = std::make_unique<ByteArray>();
    std::vector<char> piece(static_cast<std::size_t>(std::clamp(length, 0, kReadPieceBytes)));
    while (block->IsValid() && block->GetLength() < length) {
        const std::int32_t count = std::min(length - block->GetLength(), kReadPieceBytes);
        Serializable::Read(stream, piece.data(), static_cast<std::size_t>(count));
        block->Append(piece.data(), count);
    }
    return block;
}

}  // namespace

void WatchedFile::WriteObject(std::ostream& stream) {
    WatchedEntity::WriteObject(stream);
    Write(stream, lastAction);
    const ByteArray* contents = diffState ? diffState->contents.get() : nullptr;
    if (contents == nullptr) {
        WriteTString(stream, {});
        return;
    }
    WriteTString(stream, diffState->diffType);
    if (diffState->diffType.empty()) {
        return;
    }
    Write(stream, contents->GetLength());
    if (contents->GetLength() > 0) {
        Write(stream, contents->GetData(), static_cast<std::size_t>(contents->GetLength()));
    }
}

void WatchedFile::ReadObject(std::istream& stream) {
    WatchedEntity::ReadObject(stream);
    ReadOwnFields(stream);
}

void WatchedFile::ReadObjectOfVersion(std::istream& stream, std::uint16_t version) {
    if (version != 1) {
        WatchedEntity::ReadObjectOfVersion(stream, version);
        ReadOwnFields(stream);
        return;
    }
    std::uint16_t unused = 0;  // the first version had a word in front that nothing uses
    Read(stream, unused);
    WatchedEntity::ReadObject(stream);
    Read(stream, lastAction);
    if (stream.fail()) {
        throw SerializeException(L"Exception: WatchedFile::ReadObjectOfVersion", __LINE__, kSource);
    }
}

void WatchedFile::ReadOwnFields(std::istream& stream) {
    Read(stream, lastAction);
    std::wstring diffType;
    ReadTString(stream, diffType);
    if (!diffType.empty()) {
        ReadContents(stream, std::move(diffType));
    }
    if (stream.fail()) {
        throw SerializeException(L"Exception: WatchedFile::ReadObject", __LINE__, kSource);
    }
}

void WatchedFile::ReadContents(std::istream& stream, std::wstring diffType) {
    std::int32_t length = 0;
    Read(stream, length);
    auto contents = readBlock(stream, length);
    if (!contents->IsValid()) {
        throw SerializeException(L"Exception: WatchedFile::ReadObject", __LINE__, kSource);
    }
    FileDiffState& state = DiffState();
    state.diffType = std::move(diffType);
    state.contents = std::move(contents);
}

}  // namespace lathwind
