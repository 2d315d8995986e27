#pragma once

#include <string>
#include <vector>

namespace lathwind::tool {

struct CommandLine {
    std::wstring rootPath;  // -p: the folder that holds the installation
    std::wstring logPath;   // -l: full path of the prevention service's log
    bool viewFlag = false;
    bool initFlag = false;
    bool helpFlag = false;
    bool convertFlag = false;
};

// Reads the words of a command line, the program's own name included. False when it is to be
// rejected: too few or too many words, or no -p and -l without -h.
bool ParseCommandLine(const std::vector<std::wstring>& words, CommandLine& line);

void ShowUsage();

}  // namespace lathwind::tool
