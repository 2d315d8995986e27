#include <gtest/gtest.h>
#include <optional>
#include <thread>
#include <vector>

#include "utils/InternedText.h"

namespace lathwind {
namespace {

TEST(InternedText, EqualTextsAreOneObjectThatGoesWithItsLastHolder) {
    const std::size_t before = countInternedTexts();
    std::optional<InternedText> first(L"S-1-5-18");
    const std::wstring source = L"S-1-5-18";
    InternedText second(source);
    const InternedText other(L"S-1-5-19");
    EXPECT_EQ(&first->get(), &second.get());
    EXPECT_NE(&second.get(), &source);
    EXPECT_TRUE(*first == second);
    EXPECT_FALSE(second == other);
    EXPECT_EQ(countInternedTexts(), before + 2);
    first.reset();
    EXPECT_EQ(second.get(), L"S-1-5-18");
    second = other;
    EXPECT_EQ(countInternedTexts(), before + 1);
    const InternedText& same = second;
    second = same;
    EXPECT_EQ(second.get(), L"S-1-5-19");
}

TEST(InternedText, TheEmptyTextIsHeldByNobody) {
    const std::size_t before = countInternedTexts();
    const InternedText none;
    const InternedText empty(L"");
    EXPECT_TRUE(none == empty);
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.get(), L"");
    EXPECT_EQ(countInternedTexts(), before);
}

// The last holder's leaving races with the next one's coming.
TEST(InternedTextThreads, TextsComeAndGoOnSeveralThreadsAtOnce) {
    const std::size_t before = countInternedTexts();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([] {
            for (int round = 0; round < 20000; ++round) {
                const InternedText text(L"shared " + std::to_wstring(round % 3));
                InternedText copy;
                copy = text;
                ASSERT_EQ(copy.get().size(), 8u);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(countInternedTexts(), before);
}

}  // namespace
}  // namespace lathwind
