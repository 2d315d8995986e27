#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lathwind::agent {

enum class Mode { Run, Check, Install, Uninstall, Service, Help };

struct CommandLine {
    Mode mode = Mode::Run;
    std::wstring rootPath;  // -p: the folder that holds the installation
};

// Reads the words of a command line, the program's own name included. False when it is to be
// rejected: a word that is none of ours, two modes, or no root where the mode needs one.
bool parseCommandLine(const std::vector<std::wstring>& words, CommandLine& line);

void showUsage();

// One word of a Windows command line, quoted so that the run-time reads it back as it was.
std::wstring quotedWord(std::wstring_view word);

}  // namespace lathwind::agent
