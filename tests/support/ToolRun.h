#pragma once

#include <string>
#include <vector>

#include "tools/Lathwind.h"

namespace lathwind::testing {

// One run of the console tool in this process.
struct ToolRun {
    int exitCode = -1;
    std::string output;  // UTF-8, line ends as LF
    std::string error;
};

// `words` come behind the program's name. `terminalStep`, unless 0, makes standard error a
// terminal and moves the steady clock by so many milliseconds at each look. The process's current
// directory is put back.
ToolRun runTool(const std::vector<std::wstring>& words, std::int64_t terminalStep = 0);

}  // namespace lathwind::testing
