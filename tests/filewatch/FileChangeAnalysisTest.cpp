#include <gtest/gtest.h>

#include "filewatch/FileChangeAnalysis.h"

namespace lathwind {
namespace {

using enum FileAction;

// The rows that can be brought about are gone through with files (WatchedFileEventsTest). A file
// that is gone is dropped before it is judged; its rows stand all the same.
TEST(FileChangeAnalysis, AFileThatIsGone) {
    EXPECT_EQ(decideModified({0, 0, 1, 0, 0, 0}).action, None);
    const ChangeFacts gone{1, 0, 1, 1, 1, 1};
    const ChangeDecision decision = decideAccessed(gone);
    EXPECT_EQ(decision.action, Deleted);
    EXPECT_STREQ(decision.line, L"Changing FILE_ACCESSED event to FILE_DELETED event for %ls");
    EXPECT_EQ(actionOfValues(Modified, gone), Modified);
    EXPECT_EQ(actionOfValues(Renamed, {0, 1, 1, 0, 0, 0}), Renamed);
}

TEST(FileChangeAnalysis, ADigestDecidesAboveAll) {
    for (const FileAction action : {None, Added, Modified, Deleted, Accessed}) {
        EXPECT_EQ(decideByDigest(action, true), Modified);
        EXPECT_EQ(decideByDigest(action, false), action == Accessed ? None : action);
    }
}

}  // namespace
}  // namespace lathwind
