#pragma once

#include <memory>
#include <string>

#include "utils/ByteArray.h"

namespace lathwind {

class DiffFilter;  // plugins/DiffFilter.h

// What a watched file keeps for its diff. It belongs to its entity and is guarded with it.
// Copies share the filter and get contents of their own; the filter's state is not copied, which
// makes the copy's next run a first one.
class FileDiffState {
public:
    FileDiffState() = default;
    FileDiffState(const FileDiffState& other);
    FileDiffState& operator=(const FileDiffState&) = delete;
    ~FileDiffState();

    bool holdsContents() const noexcept { return contents != nullptr; }
    bool hasFilter() const noexcept { return filter_ != nullptr; }
    // Takes over a type and its filter (not owned, may be null). Another filter than before, or
    // another type, frees what the old one kept, and the contents.
    void setFilter(const std::wstring& type, const DiffFilter* filter);
    // What the filter says of the two, without empty lines at its end; empty without a filter, and
    // without memory for the work.
    std::wstring diff(const ByteArray& previous, const ByteArray& current);
    // Frees what the filter kept and lets go of the filter, and unless `keepContents` of the
    // contents.
    void reset(bool keepContents);

    std::wstring diffType;                // "ini", "txt", or a plug-in's; empty for no diff
    std::unique_ptr<ByteArray> contents;  // the file as it was when last looked at; null for none
    bool tooBigReported = false;          // one warning until the file is small enough again
    bool isBinary = false;

private:
    const DiffFilter* filter_ = nullptr;
    void* filterState_ = nullptr;
};

}  // namespace lathwind
