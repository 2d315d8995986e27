#include <gtest/gtest.h>

#include "filewatch/FileChangeAnalysis.h"

namespace lathwind {
namespace {

using enum FileAction;

// existed, exists, polled, differs, beyond the access time, access time monitored; then what a hint
// at a modification, one at an access, and the start make of it, and what the values show of a
// modification.
TEST(FileChangeAnalysis, Tables) {
    const struct Row {
        ChangeFacts facts;
        FileAction modified, accessed, atStart, inValues;
    } rows[] = {
        {{1, 1, 1, 0, 0, 0}, None, Accessed, None, Modified},
        {{0, 0, 1, 0, 0, 1}, None, Accessed, None, Modified},
        {{1, 0, 1, 0, 0, 0}, None, Accessed, Deleted, Modified},
        {{0, 1, 1, 0, 0, 0}, Added, Accessed, Added, Added},
        {{0, 1, 0, 0, 0, 0}, None, Accessed, Added, Modified},
        {{0, 1, 1, 1, 1, 0}, Modified, Added, Added, Added},
        {{0, 1, 0, 1, 1, 1}, Modified, Added, Added, Modified},
        {{1, 0, 1, 1, 1, 1}, Modified, Deleted, Deleted, Modified},
        {{1, 1, 0, 1, 1, 1}, Modified, Modified, Modified, Modified},
        {{0, 0, 0, 1, 1, 0}, Modified, Modified, Modified, Modified},
        {{1, 1, 1, 1, 0, 1}, Accessed, Accessed, Accessed, Modified},
        {{1, 1, 1, 1, 0, 0}, Modified, Accessed, Modified, Modified},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(decideModified(row.facts).action, row.modified);
        EXPECT_EQ(decideAccessed(row.facts).action, row.accessed);
        EXPECT_EQ(decideSinceLastRun(row.facts), row.atStart);
        EXPECT_EQ(actionOfValues(Modified, row.facts), row.inValues);
        EXPECT_EQ(actionOfValues(Renamed, row.facts), Renamed);
        EXPECT_EQ(decideByDigest(row.atStart, true), Modified);
        EXPECT_EQ(decideByDigest(row.atStart, false), row.atStart == Accessed ? None : row.atStart);
    }
    EXPECT_STREQ(decideAccessed(rows[7].facts).line,
                 L"Changing FILE_ACCESSED event to FILE_DELETED event for %ls");
}

}  // namespace
}  // namespace lathwind
