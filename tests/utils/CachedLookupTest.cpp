#include <gtest/gtest.h>
#include <string>

#include "utils/CachedLookup.h"

namespace lathwind {
namespace {

class CachedLookupTest : public ::testing::Test {
protected:
    using Outcome = CachedLookup::Outcome;

    // The system knows "name of <key>" for every key that does not start with "?".
    bool resolve(const std::wstring& key, Outcome outcome = Outcome::Found) {
        return lookup_.resolve(
            key,
            [&](const std::wstring& asked, std::wstring& answer) {
                ++questions_;
                answer = L"name of " + asked;
                return outcome;
            },
            answer_);
    }

    std::int64_t now_ = 1000;
    int questions_ = 0;
    std::wstring answer_;
    CachedLookup lookup_{60, 3, [this] { return now_; }};
};

TEST_F(CachedLookupTest, AnswersUntilTheExpiryAge) {
    EXPECT_TRUE(resolve(L"a"));
    now_ += 59;
    EXPECT_TRUE(resolve(L"a"));
    EXPECT_EQ(answer_, L"name of a");
    EXPECT_EQ(questions_, 1);
    now_ += 1;  // the age is that of the answer, not of its last use
    std::wstring stale;
    EXPECT_FALSE(lookup_.find(L"a", stale));
    EXPECT_EQ(stale, L"name of a");
    EXPECT_TRUE(resolve(L"a"));
    EXPECT_EQ(questions_, 2);
    EXPECT_TRUE(lookup_.find(L"a", stale));
}

TEST_F(CachedLookupTest, ForgetsWhatWasUsedLongestAgo) {
    for (const wchar_t* key : {L"a", L"b", L"c", L"a", L"d"}) {
        EXPECT_TRUE(resolve(key));
    }
    EXPECT_EQ(lookup_.counters().size, 3u);
    std::wstring answer;
    EXPECT_FALSE(lookup_.find(L"b", answer));
    for (const wchar_t* key : {L"a", L"c", L"d"}) {
        EXPECT_TRUE(lookup_.find(key, answer)) << key;
    }
    lookup_.store(L"a", L"another name");
    EXPECT_TRUE(lookup_.find(L"a", answer));
    EXPECT_EQ(answer, L"another name");
    lookup_.clear();
    EXPECT_EQ(lookup_.counters().size, 0u);
    EXPECT_FALSE(lookup_.find(L"a", answer));
}

TEST_F(CachedLookupTest, RemembersTheUnknownButNotErrors) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(resolve(L"unknown", Outcome::Unknown));
        EXPECT_EQ(answer_, L"");
        EXPECT_FALSE(resolve(L"broken", Outcome::Error));
        EXPECT_FALSE(resolve(L"odd", Outcome::BadSid));
        EXPECT_FALSE(resolve(L""));
    }
    EXPECT_EQ(questions_, 5);
    EXPECT_TRUE(resolve(L"fine"));
    const std::vector<StatisticsRow> expected = {{L"SID lookups", 9},      {L"SID ignores", 2},
                                                 {L"SID cache hits", 1},   {L"SID cache size", 2},
                                                 {L"SID lookup fails", 1}, {L"SID errors", 2},
                                                 {L"SID SID errors", 2}};
    EXPECT_EQ(lookup_.statistics(L"SID"), expected);
}

TEST_F(CachedLookupTest, AResolverMayAskTheSameCache) {
    std::wstring answer;
    EXPECT_TRUE(lookup_.resolve(
        L"outer",
        [&](const std::wstring&, std::wstring& found) {
            EXPECT_TRUE(resolve(L"inner"));
            found = answer_;
            return Outcome::Found;
        },
        answer));
    EXPECT_EQ(answer, L"name of inner");
}

}  // namespace
}  // namespace lathwind
