#include "filewatch/FileChangeAnalysis.h"

namespace lathwind {

ChangeDecision decideModified(const ChangeFacts& facts) {
    if (facts.differs) {
        const bool isAccess = facts.monitorAccessTime && !facts.differsBeyondAccess;
        return {isAccess ? FileAction::Accessed : FileAction::Modified};
    }
    // The filter reports a creation by itself: from it this is no more than an echo.
    if (!facts.existed && facts.exists && facts.isPolled) {
        return {FileAction::Added, L"Changing FILE_MODIFIED event to FILE_ADDED event for %ls"};
    }
    return {FileAction::None,
            L"Got FILE_MODIFIED event for %ls but attributes haven't change. Event dropped."};
}

ChangeDecision decideAccessed(const ChangeFacts& facts) {
    if (!facts.differs || !facts.differsBeyondAccess) {
        return {FileAction::Accessed};
    }
    if (!facts.existed && facts.exists) {
        return {FileAction::Added, L"Changing FILE_ACCESSED event to FILE_ADDED event for %ls"};
    }
    if (facts.existed && !facts.exists) {
        return {FileAction::Deleted, L"Changing FILE_ACCESSED event to FILE_DELETED event for %ls"};
    }
    // Log analysis looks for the line as it is spelled here.
    return {FileAction::Modified, L"Changing FILE_ACCESSED event to FILE_MOFIFIED event for %ls"};
}

FileAction decideSinceLastRun(const ChangeFacts& facts) {
    if (facts.existed != facts.exists) {
        return facts.exists ? FileAction::Added : FileAction::Deleted;
    }
    if (!facts.differs) {
        return FileAction::None;
    }
    const bool isAccess = facts.monitorAccessTime && !facts.differsBeyondAccess;
    return isAccess ? FileAction::Accessed : FileAction::Modified;
}

FileAction decideByDigest(FileAction action, bool digestsDiffer) {
    if (digestsDiffer) {
        // Whatever else was seen: another digest is another content. That is also how a file with
        // digests that came or went while the agent was down is told, with both in the details.
        return FileAction::Modified;
    }
    return action == FileAction::Accessed ? FileAction::None : action;
}

FileAction actionOfValues(FileAction action, const ChangeFacts& facts) {
    const bool isChange = action == FileAction::Modified || action == FileAction::Accessed;
    const bool hasAppeared = !facts.existed && facts.exists && facts.isPolled;
    return isChange && hasAppeared ? FileAction::Added : action;
}

}  // namespace lathwind
