#pragma once

namespace lathwind::agent {

// The exit codes, for service managers and scripts; docs/agent.md lists them.
enum class ExitCode : int {
    Success = 0,              // stopped as asked; a check without a fault; a service registered
    CommandLineRejected = 1,  // usage was printed
    EntriesRefused = 2,       // by a check: an entry or a list is refused
    AlreadyRunning = 3,       // another agent has this root
    LockFailed = 4,           // nor could it be told whether one has
    DirectoryFailed = 5,      // the root has no binary folder that can be entered
    ServiceFailed = 6,        // the service manager refused
    ThreadDied = 7,           // a thread ended by an exception; the rest was stopped in order
};

}  // namespace lathwind::agent
