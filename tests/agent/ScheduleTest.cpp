#include <gtest/gtest.h>
#include <string>

#include "agent/ConfigurationProgress.h"
#include "agent/Schedule.h"

namespace lathwind::agent {
namespace {

TEST(Schedule, TasksHaveTheirTurnsInOrderAndMakeUpForNone) {
    std::int64_t now = 1000;
    std::string turns;
    Schedule schedule([&now] { return now; });
    EXPECT_EQ(schedule.step(), Schedule::kLongestWaitMs);
    schedule.add(0, [&turns] {
        turns += 'a';
        return 100u;
    });
    schedule.add(100, [&] {
        turns += 'b';
        now += 30;  // takes its time
        return turns.size() < 4 ? 20u : 4000000000u;
    });
    struct Step {
        std::int64_t passes;
        std::string turns;
        std::int32_t wait;
    };
    for (const Step& step : {Step{0, "a", 100}, Step{99, "a", 1}, Step{1, "aab", 20},
                             Step{20000, "aabab", 70}, Step{70, "aababa", 100}}) {
        now += step.passes;
        EXPECT_EQ(schedule.step(), step.wait);
        EXPECT_EQ(turns, step.turns);
    }
}

TEST(ConfigurationProgress, LinesAtIntervalsAndOneAtTheEnd) {
    ConfigurationProgress progress;
    const ConfigurationFacts underWay = {false, 12, 3, 40};
    const ConfigurationFacts over = {true, 20, 3, 0};
    EXPECT_EQ(progress.look(over, 0), L"");  // nothing was begun
    progress.begin(1000);
    EXPECT_EQ(progress.look(underWay, 5999), L"");
    EXPECT_EQ(progress.look(underWay, 6000),
              L"Configuring: 12 watched files, 3 watched log files, 40 items to go.");
    EXPECT_EQ(progress.look(underWay, 10999), L"");
    EXPECT_EQ(progress.look(over, 13450),
              L"Configuration final: 20 watched files, 3 watched log files, 12.4 s.");
    EXPECT_FALSE(progress.isWaiting());
    EXPECT_EQ(progress.look(underWay, 99999), L"");
}

}  // namespace
}  // namespace lathwind::agent
