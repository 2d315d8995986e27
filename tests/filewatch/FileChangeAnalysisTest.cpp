#include <gtest/gtest.h>

#include "filewatch/FileChangeAnalysis.h"

namespace lathwind {
namespace {

using enum FileAction;

// The tables as the operator reads them: of each, the first row of which every stated fact holds
// decides. 'e' existed, 'x' exists, 'p' polled, 'd' differs, 'b' differs beyond the access time,
// 'm' access time monitored; a capital is the fact's opposite.
struct Row {
    const char* facts;
    FileAction action;
};

template <class Decide, std::size_t N>
void expectTable(const Row (&rows)[N], const Decide& decide) {
    for (unsigned bits = 0; bits < 64; ++bits) {
        const auto holds = [&](const char* stated) {
            constexpr std::string_view lower = "expdbm";
            constexpr std::string_view upper = "EXPDBM";
            for (; *stated != '\0'; ++stated) {
                const bool wanted = lower.find(*stated) != lower.npos;
                if (((bits >> (wanted ? lower : upper).find(*stated)) & 1) != (wanted ? 1u : 0u)) {
                    return false;
                }
            }
            return true;
        };
        const ChangeFacts facts{holds("e"), holds("x"), holds("p"),
                                holds("d"), holds("b"), holds("m")};
        const Row* row = rows;
        while (!holds(row->facts)) {
            ++row;
        }
        EXPECT_EQ(decide(facts), row->action) << bits << " by row " << row - rows;
    }
}

TEST(FileChangeAnalysis, Tables) {
    expectTable({{"DExp", Added}, {"D", None}, {"mB", Accessed}, {"", Modified}},
                [](const ChangeFacts& facts) { return decideModified(facts).action; });
    expectTable({{"D", Accessed}, {"B", Accessed}, {"Ex", Added}, {"eX", Deleted}, {"", Modified}},
                [](const ChangeFacts& facts) { return decideAccessed(facts).action; });
    expectTable({{"eX", Deleted}, {"Ex", Added}, {"D", None}, {"mB", Accessed}, {"", Modified}},
                decideSinceLastRun);
    for (const FileAction action : {None, Added, Deleted, Renamed, Mount, Unmount, SaveMarker}) {
        expectTable({{"", action}},
                    [=](const ChangeFacts& facts) { return actionOfValues(action, facts); });
        EXPECT_EQ(decideByDigest(action, false), action);
        EXPECT_EQ(decideByDigest(action, true), Modified);
    }
    for (const FileAction action : {Modified, Accessed}) {
        expectTable({{"Exp", Added}, {"", action}},
                    [=](const ChangeFacts& facts) { return actionOfValues(action, facts); });
    }
    EXPECT_EQ(decideByDigest(Accessed, false), None);
    EXPECT_EQ(decideByDigest(Modified, false), Modified);
}

}  // namespace
}  // namespace lathwind
