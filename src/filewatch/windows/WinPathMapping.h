#pragma once

#include <string>

namespace lathwind {

// A 32-bit process on a 64-bit system is shown another folder when it asks for "system32". What
// is watched is the real one, which such a process reaches as "sysnative". These functions sit
// between the paths that the agent spells and the paths that the platform is asked about. They take
// lower-case paths; any thread may call them.

// The facts they go by. The process's own are asked for once, at first use.
struct SystemFolders {
    bool isWow64 = false;           // a 32-bit process on a 64-bit system
    std::wstring windowsDirectory;  // lower case, no trailing backslash
};
const SystemFolders& systemFolders();

// Gives the path back unchanged unless the process is redirected.
std::wstring MapToRealPath(const std::wstring& path,
                           const SystemFolders& folders = systemFolders());
// The inverse, for paths that the platform reports.
std::wstring MapToWatchedPath(const std::wstring& path,
                              const SystemFolders& folders = systemFolders());

// What a disable left behind for its revert.
struct FsRedirection {
    void* cookie = nullptr;
    bool isDisabled = false;
};
// Switches the redirection off for the calling thread, if `path` is empty or lies in system32 and
// the process is redirected at all. A failure is a debug line.
void DisableFsRedirection(FsRedirection& redirection, const std::wstring& path,
                          const SystemFolders& folders = systemFolders());
// Undoes what the disable did, if anything.
void RevertFsRedirection(FsRedirection& redirection);

}  // namespace lathwind
