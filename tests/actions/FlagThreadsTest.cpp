#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "actions/Flag.h"
#include "events/IDSEvent.h"

namespace lathwind {
namespace {

TEST(FlagThreads, NoRaiseIsLostWhileOthersAsk) {
    constexpr std::uint32_t kThreads = 3;
    constexpr std::uint32_t kRaises = 500;
    Flag flag;
    flag.configure({L"f", L"", 0, flagOption::PerContext, L"{User Name}"});
    std::vector<std::thread> threads;
    for (std::uint32_t number = 0; number < kThreads; ++number) {
        threads.emplace_back([&flag, number] {
            IDSEvent event;
            event.SetUserName(std::to_wstring(number));
            for (std::uint32_t i = 0; i < kRaises; ++i) {
                flag.raise(event, false);
                EXPECT_TRUE(flag.isRaised());
                EXPECT_EQ(flag.contextCount(event), i + 1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(flag.count(), kThreads * kRaises);
    EXPECT_EQ(flag.instanceCount(), kThreads);
}

}  // namespace
}  // namespace lathwind
