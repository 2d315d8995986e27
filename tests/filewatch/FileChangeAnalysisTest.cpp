#include <gtest/gtest.h>

#include "filewatch/FileChangeAnalysis.h"

namespace lathwind {
namespace {

using enum FileAction;

// The rows that can be brought about are gone through with files (WatchedFileEventsTest). A file
// that is gone is dropped before it is judged; its rows stand all the same.
TEST(FileChangeAnalysis, AFileThatIsGone) {
    EXPECT_EQ(decideModified({.isPolled = true}).action, None);
    const ChangeFacts gone{.existed = true, .differs = true, .differsBeyondAccess = true};
    const ChangeDecision decision = decideAccessed(gone);
    EXPECT_EQ(decision.action, Deleted);
    EXPECT_STREQ(decision.line, L"Changing FILE_ACCESSED event to FILE_DELETED event for %ls");
    EXPECT_EQ(actionOfValues(Modified, gone), Modified);
    EXPECT_EQ(actionOfValues(Renamed, {.exists = true, .isPolled = true}), Renamed);
}

TEST(FileChangeAnalysis, ADigestDecidesAboveAll) {
    for (const FileAction action : {None, Added, Modified, Deleted, Accessed}) {
        EXPECT_EQ(decideByDigest(action, true), Modified);
        EXPECT_EQ(decideByDigest(action, false), action == Accessed ? None : action);
    }
}

}  // namespace
}  // namespace lathwind
