#pragma once

#include <string>

#include "utils/platform/Threading.h"

namespace lathwind {

class FileDiffState;  // plugins/FileDiffState.h

// Knows which files have a diff, and of what type.
class DiffModule {
public:
    virtual ~DiffModule() = default;
    // Is `path` covered by a diff rule? Sets the state's type and filter; a path without a rule
    // has its state reset.
    virtual bool lookup(const std::wstring& path, FileDiffState& state) = 0;
    // Is the file at `path` text? Sets the state's binary flag.
    virtual bool isText(const std::wstring& path, FileDiffState& state) = 0;
};

// The process's module, not owned; null while no diff rules are loaded. It is set before the
// threads that ask it start, or with them stopped.
DiffModule* diffModule() noexcept;
void setDiffModule(DiffModule* module) noexcept;

// Held while a file is read for a diff, so that one thread at a time has a file's contents in
// memory. Taken after the monitor's lock, never before it.
Lock& diffLock();

}  // namespace lathwind
