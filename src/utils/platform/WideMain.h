#pragma once

#include <string>
#include <vector>

namespace lathwind {

// The entry of a program, written by the program itself. The platform's own entry
// (utils/<platform>/WideMain.cpp, target wide_main) collects the words of the command line as wide
// text, the program's own name at index 0, and calls it on the main thread. The result is the
// exit code.
int programMain(std::vector<std::wstring>& words);

}  // namespace lathwind
