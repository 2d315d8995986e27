#pragma once

#include "agent/ExitCode.h"

namespace lathwind::agent {

// Reads the settings and the watch lists of the current installation and prints what would be
// watched, how often, and what is refused and why. Starts nothing and changes nothing.
ExitCode checkLists();

}  // namespace lathwind::agent
