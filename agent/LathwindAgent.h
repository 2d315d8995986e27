#pragma once

#include <string>
#include <vector>

#include "agent/ExitCode.h"

namespace lathwind::agent {

inline constexpr const wchar_t* kServiceName = L"LathwindAgent";
// In the binary folder; holds the process's id.
inline constexpr const wchar_t* kLockFile = L"LathwindAgent.lock";

// The whole program. Changes the process's current directory. `words` include the program's own
// name.
ExitCode runAgent(const std::vector<std::wstring>& words);

// Behind the last run of the process: ends the thread of the actions, which does not start again,
// and closes the event files.
void finishRecording();

}  // namespace lathwind::agent
