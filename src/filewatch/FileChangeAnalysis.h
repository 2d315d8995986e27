#pragma once

#include "events/FileAction.h"

// What a hint about a file comes to. The facts are asked elsewhere (WatchedFile); here they become
// decisions, row by row of the tables in docs/change-analysis.md. Pure functions: any thread.
namespace lathwind {

struct ChangeFacts {
    bool existed = false;   // by the snapshot held so far
    bool exists = false;    // by the one taken now
    bool isPolled = false;  // polling gave the hint, not the real-time filter
    bool differs = false;   // the snapshots differ in what counts for the hint
    // Asked only where they differ: is there a difference beyond the access time?
    bool differsBeyondAccess = false;
    bool monitorAccessTime = false;  // of the watch entry
};

struct ChangeDecision {
    FileAction action;
    const wchar_t* line = nullptr;  // debug line with one argument, the file; null for none
};

// A hint at a modification, and one at an access. The file is known to exist.
ChangeDecision decideModified(const ChangeFacts& facts);
ChangeDecision decideAccessed(const ChangeFacts& facts);

// At the start, the state of the last run against the present one.
FileAction decideSinceLastRun(const ChangeFacts& facts);
// The same once the digests are known.
FileAction decideByDigest(FileAction action, bool digestsDiffer);

// The action that an event's values show. Its wording is that of `action`.
FileAction actionOfValues(FileAction action, const ChangeFacts& facts);

}  // namespace lathwind
