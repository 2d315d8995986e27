#include <gtest/gtest.h>

#include "utils/CollectorTable.h"

namespace lathwind {
namespace {

TEST(CollectorTableTest, AllHaveStartedWhenEveryEnabledOneHas) {
    CollectorTable table;
    EXPECT_EQ(table.stateOf(1), 3u);
    EXPECT_FALSE(table.isEnabled(1));
    EXPECT_TRUE(table.allStarted());
    table.setEnabled(1, true);
    table.setEnabled(4, true);
    EXPECT_FALSE(table.allStarted());
    table.setState(1, 1);
    table.setState(4, 2);
    EXPECT_TRUE(table.allStarted());
    table.setEnabled(1, true);  // keeps the state
    EXPECT_EQ(table.stateOf(1), 1u);
    table.setEnabled(1, false);
    EXPECT_EQ(table.stateOf(1), 3u);
    EXPECT_TRUE(table.allStarted());
}

TEST(CollectorTableTest, DisablesSixteenBits) {
    CollectorTable table;
    for (const std::uint32_t bit : {1u, 0x8000u, 0x10000u}) {
        table.setEnabled(bit, true);
        table.setState(bit, 1);
    }
    table.disableAll();
    EXPECT_FALSE(table.isEnabled(1));
    EXPECT_EQ(table.stateOf(0x8000), 3u);
    EXPECT_TRUE(table.isEnabled(0x10000));
}

}  // namespace
}  // namespace lathwind
