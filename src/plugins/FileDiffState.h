#pragma once

#include <memory>
#include <string>

#include "utils/ByteArray.h"

namespace lathwind {

// What a watched file keeps for its diff. It belongs to its entity and is guarded with it.
struct FileDiffState {
    FileDiffState() = default;
    FileDiffState(const FileDiffState& other)
        : diffType(other.diffType),
          contents(other.contents ? std::make_unique<ByteArray>(*other.contents) : nullptr),
          tooBigReported(other.tooBigReported),
          isBinary(other.isBinary) {}
    FileDiffState& operator=(const FileDiffState&) = delete;

    bool holdsContents() const { return contents != nullptr; }

    std::wstring diffType;                // "ini", "txt", or a plug-in's; empty for no diff
    std::unique_ptr<ByteArray> contents;  // the file as it was when last looked at; null for none
    bool tooBigReported = false;          // one warning until the file is small enough again
    bool isBinary = false;
};

}  // namespace lathwind
