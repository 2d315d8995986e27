#include <gtest/gtest.h>
#include <string>

#include "actions/Flag.h"
#include "actions/FlagTags.h"
#include "support/LogCapture.h"
#include "utils/DateTime.h"

namespace lathwind {
namespace {

using testing::LogCapture;

constexpr std::int64_t kNow = 1'700'000'000;

class FlagTagsTest : public ::testing::Test {
protected:
    FlagTagsTest() {
        logins.configure({L"logins", L"", 0, flagOption::PerContext, L"{USER_NAME}"});
        dotted.configure({L"a.b", L"", 0, 0, L""});
        for (const wchar_t* user : {L"Ann", L"Bob", L"Ann"}) {
            IDSEvent event;
            event.SetSourceKind(sourceKind::FileWatch, false);
            event.SetUserName(user);
            logins.raise(event, false);
        }
    }

    Flag logins{[] { return kNow; }};
    Flag dotted{[] { return kNow; }};
};

TEST_F(FlagTagsTest, WhatAFlagHasToSay) {
    struct Case {
        const wchar_t* text;
        std::wstring expected;
    };
    const Case cases[] = {
        {L"{flag.logins.count}", L"3"},
        {L"<{Flag.LOGINS.ContextCount}>", L"<2>"},
        {L"{FLAG.logins.contexts}", L"ann, bob"},
        {L"{ flag.logins.instancecount }", L"2"},
        {L"{flag.logins.raised}{flag.\"a.b\".raised}", L"10"},
        {L"{flag.logins.raisedtime}", DateTime::FormatDate(kNow)},
        {L"{flag.\"a.b\".raisedtime}.", L"."},
        {L"{USER_NAME} {Flag Count}", L"{USER_NAME} {Flag Count}"},  // for whoever comes next
    };
    for (const Case& test : cases) {
        EXPECT_EQ(ExpandFlagTags(test.text, {&logins, &dotted}), test.expected) << test.text;
    }
    EXPECT_EQ(ExpandFlagTags(L"{flag.count}", {&logins}), L"3") << "the only flag needs no name";
    EXPECT_TRUE(HasFlagTag(L"n {flag.x.count}"));
    EXPECT_FALSE(HasFlagTag(L"{Flag Count} flag."));
}

TEST_F(FlagTagsTest, TagsThatCannotBeAnsweredAreLeftOut) {
    struct Case {
        const wchar_t* tag;
        const wchar_t* line;
    };
    const Case cases[] = {
        {L"flag", L"Badly formatted flag macro tag: flag"},
        {L"flag.\"a.b", L"Badly formatted flag macro tag: flag.\"a.b"},
        {L"flag.none.count", L"Flag specified by flag macro tag not found: flag.none.count"},
        {L"flag.logins", L"Flag macro tag must specify what to retrieve: flag.logins"},
        {L"flag.logins.size",
         L"Flag macro tag specified invalid value to retrieve: flag.logins.size"},
    };
    for (const Case& test : cases) {
        LogCapture log;
        const std::wstring text = std::wstring(L"a{").append(test.tag).append(L"}b");
        EXPECT_EQ(ExpandFlagTags(text, {&logins, &dotted}), L"ab") << test.tag;
        EXPECT_TRUE(log.hasDebug(test.line)) << test.tag;
    }
}

}  // namespace
}  // namespace lathwind
