#include <gtest/gtest.h>
#include <string>

#include "actions/Flag.h"
#include "actions/FlagMacroProvider.h"
#include "events/IDSEvent.h"
#include "support/LogCapture.h"
#include "utils/Format.h"

namespace lathwind {
namespace {

using namespace flagOption;

class FlagTest : public ::testing::Test {
protected:
    void configure(std::int32_t lifetime, std::uint32_t options) {
        flag_.configure({L"", L"logon", lifetime, options, L"{User Name}"});
    }
    static IDSEvent eventOf(const std::wstring& user, std::int64_t time = 0) {
        IDSEvent event;
        event.SetUserName(user);
        event.SetCollectTime(time);
        return event;
    }
    void raiseAt(std::int64_t time, const std::wstring& user = L"ann") {
        now_ = time;
        flag_.raise(eventOf(user), false);
    }
    bool isRaisedAt(std::int64_t time) {
        now_ = time;
        return flag_.isRaised();
    }
    std::wstring expandAt(std::int64_t time, const std::wstring& user) {
        now_ = time;
        const IDSEvent event = eventOf(user);
        FlagMacroProvider provider(event, flag_);
        return ExpandMacros(provider, L"{Flag Count} {flag instance count} {FLAG CONTEXT COUNT}");
    }

    std::int64_t now_ = 1;
    Flag flag_{[this] { return now_; }};
};

TEST_F(FlagTest, StaysUpForItsLifetime) {
    struct Case {
        std::int32_t lifetime;
        std::uint32_t options;
        std::int64_t lastUp;  // raised at 100 and 105; 0 for ever
    };
    const std::vector<Case> cases = {{0, 0, 0},
                                     {0, RefreshOnRaise, 0},
                                     {0, PerContext, 0},
                                     {10, 0, 110},
                                     {10, RefreshOnRaise, 115},
                                     {10, PerContext, 115},
                                     {10, PerContext | RefreshOnRaise, 115}};
    for (const Case& c : cases) {
        Flag flag([this] { return now_; });
        flag.configure({L"", L"id", c.lifetime, c.options, L"{User Name}"});
        EXPECT_FALSE(flag.isRaised());
        for (const std::int64_t time : {100, 105}) {
            flag.raise(eventOf(L"ann", time), true);
        }
        EXPECT_TRUE(flag.isRaised(c.lastUp == 0 ? 1'000'000'000'000 : c.lastUp));
        EXPECT_EQ(flag.count(), 2U);
        if (c.lastUp != 0) {
            EXPECT_FALSE(flag.isRaised(c.lastUp + 1));
            EXPECT_EQ(flag.timeRaised(), 0);
            EXPECT_EQ(flag.count(), 0U);
        }
    }
}

TEST_F(FlagTest, StartsAnewWhenRaisedAfterItsEnd) {
    configure(10, 0);
    raiseAt(100);
    raiseAt(110);
    EXPECT_EQ(flag_.count(), 2U);
    raiseAt(111);
    EXPECT_EQ(flag_.count(), 1U);
    EXPECT_EQ(flag_.timeRaised(), 111);
    flag_.lower();
    EXPECT_FALSE(isRaisedAt(111));
    EXPECT_EQ(flag_.count(), 0U);
}

TEST_F(FlagTest, IsRefreshedByAQuestionIfConfigured) {
    configure(10, 0);
    raiseAt(100);
    now_ = 105;
    flag_.refresh();
    EXPECT_EQ(flag_.timeRaised(), 100);
    configure(10, RefreshOnQuery);
    flag_.refresh();
    EXPECT_EQ(flag_.timeRaised(), 105);
    EXPECT_TRUE(isRaisedAt(115));
}

TEST_F(FlagTest, MergesDefinitions) {
    flag_.configure({L"", L"", 5, RefreshOnRaise, L""});
    flag_.configure({L"name", L"id", 0, 0, L"{User Name}"});
    flag_.configure({L"other", L"other", 7, PerContext, L"{Rule Name}"});
    EXPECT_EQ(flag_.id(), L"name");
    EXPECT_EQ(flag_.contextText(eventOf(L"Ann")), L"Ann");
    raiseAt(100, L"Ann");
    raiseAt(106, L"ann");
    EXPECT_EQ(flag_.timeRaised(), 106);
    EXPECT_TRUE(isRaisedAt(113));
    EXPECT_FALSE(isRaisedAt(114));
}

TEST_F(FlagTest, CountsByContext) {
    configure(10, PerContext);
    raiseAt(100, L"A");
    raiseAt(104, L"a");
    raiseAt(106, L"b");
    EXPECT_EQ(flag_.contexts(), (std::map<std::wstring, std::uint32_t>{{L"a", 2}, {L"b", 1}}));
    EXPECT_EQ(expandAt(110, L"A"), L"3 2 2");
    EXPECT_EQ(expandAt(111, L"A"), L"3 2 2");  // one of its raises is over
    EXPECT_EQ(expandAt(115, L"A"), L"3 1 0");
    EXPECT_EQ(expandAt(115, L"B"), L"3 1 1");
    EXPECT_TRUE(isRaisedAt(116));
    EXPECT_FALSE(isRaisedAt(117));
    EXPECT_EQ(expandAt(117, L"b"), L"0 0 0");
}

TEST_F(FlagTest, LowersAContextThatIsOver) {
    configure(10, PerContext);
    raiseAt(100, L"a");
    raiseAt(105, L"b");
    flag_.lowerContext(eventOf(L"A", 110), true);
    EXPECT_EQ(flag_.contexts().size(), 2U);
    flag_.lowerContext(eventOf(L"A", 111), true);
    flag_.lowerContext(eventOf(L"none", 999), true);
    EXPECT_EQ(flag_.contexts(), (std::map<std::wstring, std::uint32_t>{{L"b", 1}}));
}

TEST_F(FlagTest, HasNoContextsUnlessConfigured) {
    configure(10, 0);
    EXPECT_EQ(expandAt(100, L"a"), L"0 0 0");
    raiseAt(100, L"a");
    raiseAt(101, L"b");
    EXPECT_EQ(expandAt(102, L"a"), L"2 1 0");
    EXPECT_TRUE(flag_.contexts().empty());
    const IDSEvent event = eventOf(L"ann");
    FlagMacroProvider provider(event, flag_);
    EXPECT_EQ(ExpandMacros(provider, L"{User Name}, {flag.x.count}"), L"ann, {flag.x.count}");
}

TEST_F(FlagTest, TellsOfItsChanges) {
    configure(10, 0);
    testing::LogCapture log;
    raiseAt(100);
    raiseAt(105);
    isRaisedAt(111);
    const void* address = &flag_;
    const std::vector<std::wstring> lines = {
        format(L"Flag Raised logon Identfier = %p Lifetime = 10 TimeRaised = 100", address),
        format(L"Flag Lowered logon Identifier = %p TimeRaised = 100 TimeNow = 111", address)};
    EXPECT_EQ(log.takeDebug(), lines);
}

TEST(FlagData, KeepsItsFirstMacro) {
    FlagData data;
    IDSEvent event;
    event.SetUserName(L"Ann");
    data.record(L"{User Name}", event, 0, false, 100);
    testing::LogCapture log;
    data.record(L"{Rule Name}", event, 0, false, 100);
    EXPECT_EQ(log.takeDebug(),
              std::vector<std::wstring>{L"Trying to record different environment variables in same "
                                        L"flag.  Flag may not function appropriately"});
    data.record(L"{User Name}", event, 0, false, 100);
    EXPECT_EQ(data.counts(), (std::map<std::wstring, std::uint32_t>{{L"ann", 2}}));
    EXPECT_TRUE(data.purge(1'000'000));  // without a lifetime nothing ends
}

TEST(FlagContext, DropsWhatIsOver) {
    struct Case {
        bool refresh;
        std::vector<std::int64_t> raises;
        std::int64_t time;
        std::uint32_t live;
    };
    const std::vector<Case> cases = {
        {false, {100, 100, 105, 110}, 110, 4},
        {false, {100, 100, 105, 110}, 111, 2},
        {false, {100, 111}, 111, 1},
        {false, {105, 100}, 111, 1},
        {true, {100, 105, 110}, 120, 3},
        {true, {100, 105, 110}, 121, 0},
        {true, {100, 111}, 111, 1},
    };
    for (const Case& c : cases) {
        FlagContext context(10, c.refresh);
        for (const std::int64_t time : c.raises) {
            context.add(time);
        }
        context.purge(c.time);
        EXPECT_EQ(context.liveCount(), c.live);
        EXPECT_EQ(context.count(), c.raises.size());
    }
}

}  // namespace
}  // namespace lathwind
