#pragma once

#include <string>

#include "agent/ExitCode.h"

namespace lathwind::agent {

// Registers this program for the installation as a service that starts with the system.
ExitCode installService(const std::wstring& root);
ExitCode uninstallService();

}  // namespace lathwind::agent
