#pragma once

#include <string>
#include <vector>

namespace lathwind::tool {

// The exit codes, which installers test for.
enum class ExitCode : int {
    Success = 0,
    CommandLineRejected = 1,
    ReadFailed = 2,
    WriteFailed = 3,
    ServiceLogFailed = 4,
    DirectoryFailed = 5,
    UpdateFailed = 6,
    DeleteFailed = 7,
};

// The whole program: views, initialises, upgrades or deletes the state file of one installation.
// Changes the process's current directory. `words` include the program's own name.
ExitCode runLathwind(const std::vector<std::wstring>& words);

}  // namespace lathwind::tool
