#pragma once

#include <atomic>
#include <string>

#include "utils/platform/Threading.h"

namespace lathwind {

// The body of every native thread: raises `running`, runs, lowers it again.
//
// An exception that leaves run() is written to the log (row 199 with its message for an
// IDSException, row 118 for any other) and followed by a second's pause, in which the log can
// reach the disk. Then platformFactory.exitEvent is set, so that the main thread ends the process
// in order; without one the exception goes on, which ends the process at once.
void runThreadBody(Runnable& runnable, const std::wstring& name, std::atomic<bool>& running);

// Was the exit event set because of an exception that is none of the program's own? The main
// thread asks this after the exit event was signalled. Any thread may ask.
bool isExitForced() noexcept;

}  // namespace lathwind
