#include <gtest/gtest.h>

#include "actions/LogRules.h"
#include "actions/RecordFields.h"
#include "support/LogCapture.h"
#include "support/TempDir.h"
#include "utils/AgentInfo.h"
#include "utils/DateTime.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using Record = std::vector<std::wstring>;

constexpr std::wstring_view kEnd = L"\"|\"";

// A rule with the verdict SEND from groups of four tokens.
std::wstring ruleText(const std::vector<std::wstring>& tokens) {
    std::wstring text = std::wstring(L"SEND").append(kEnd);
    for (const std::wstring& token : tokens) {
        text.append(token).append(kEnd);
    }
    return text;
}

bool matches(const std::vector<std::wstring>& tokens, const Record& record) {
    const std::optional<LogRule> rule = LogRule::parse(ruleText(tokens));
    RecordFields fields(record);
    return rule && rule->matches(fields);
}

TEST(LogRule, TestsOneField) {
    struct Case {
        std::wstring operatorText;
        std::wstring first;
        std::wstring second;
        std::wstring field;
        bool holds;
    };
    const std::vector<Case> cases = {
        {L"eq", L"Web*1", L"", L"WEB-01", true},
        {L"eq", L"Web*1", L"", L"web-2", false},
        {L"eq", L"w?b", L"", L"web", true},
        {L"eq", L"web", L"", L"web-1", false},
        {L"eq", L"", L"", L"", true},
        {L"eqc", L"Web", L"", L"web", false},
        {L"eqc", L"W*", L"", L"Web", true},
        {L"eqx", L"web", L"", L"web", false},
        {L"eqx", L"web", L"", L"db", true},
        {L"eqxc", L"Web", L"", L"web", true},
        {L"??x", L"web", L"", L"web", false},  // unknown letters ask for equality
        {L"", L"web", L"", L"WEB", true},
        {L"e", L"web", L"", L"web", true},
        {L"EQX", L"web", L"", L"web", true},  // letters and flags are small
        {L"in", L"a,\"B,c\",d*", L"", L"b,C", true},
        {L"in", L"a,\"B,c\",d*", L"", L"DEF", true},
        {L"in", L"a,\"B,c\",d*", L"", L"b", false},
        {L"inc", L"a,D*", L"", L"def", false},
        {L"in", L"a,,b", L"", L"", true},
        {L"in", L"", L"", L"", false},
        {L"in", L"a,\"b", L"", L"a", false},
        {L"inx", L"a,b", L"", L"b", false},
        {L"co", L"abcdef", L"", L"CD", true},
        {L"co", L"cd", L"", L"abcdef", false},
        {L"co", L"a*c", L"", L"abc", false},
        {L"co", L"abc", L"", L"", true},
        {L"coc", L"abcdef", L"", L"CD", false},
        {L"gt", L"5", L"", L"6", true},
        {L"gt", L"5", L"", L"5", false},
        {L"gt", L"-5", L"", L"none", true},
        {L"gt", L"4000000000", L"", L"4000000001", true},
        {L"gtx", L"5", L"", L"5", true},
        {L"lt", L"5", L"", L"-6", true},
        {L"lt", L"5", L"", L"5", false},
        {L"bt", L"9", L"3", L"3", true},
        {L"bt", L"9", L"3", L"9", true},
        {L"bt", L"3", L"9", L"10", false},
        {L"btx", L"3", L"9", L"2", true},
        {L"eqx", L"*", L"", L"web", true},  // "*" holds whatever the flags say
        {L"gtx", L"*", L"", L"-1", true},
        {L"btd", L"*", L"", L"no date", true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(matches({L"$2", c.first, c.second, c.operatorText}, {L"-", c.field, L"-"}),
                  c.holds)
            << narrow(c.operatorText + L" " + c.first + L" with " + c.field);
    }
}

TEST(LogRule, ComparesDatesInSeconds) {
    const std::wstring date = L"2013-11-20 01:02:03.004 Z+0000";
    const std::int64_t seconds = DateTime::ParseDate(date);
    const std::wstring same = std::to_wstring(seconds);
    const std::wstring before = std::to_wstring(seconds - 1);
    struct Case {
        std::wstring operatorText;
        std::wstring first;
        std::wstring field;
        bool holds;
    };
    const std::vector<Case> cases = {
        {L"gtd", before, date, true},         {L"gtd", same, date, false},
        {L"dgt", before, date, false},  // unknown letters: the text is not equal
        {L"ltd", before, date, false},        {L"btd", same, date, true},
        {L"eqd", same, date, true},           {L"ind", before + L"," + same, date, true},
        {L"gtd", L"-9", L"yesterday", false}, {L"ltd", same, L"yesterday", false},
        {L"ltdx", same, L"yesterday", true},  {L"eqd", L"yesterday", L"yesterday", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(matches({L"$1", c.first, same, c.operatorText}, {c.field}), c.holds)
            << narrow(c.operatorText + L" " + c.first + L" with " + c.field);
    }
}

TEST(LogRule, FindsItsField) {
    struct Case {
        std::wstring field;
        bool isThere;
    };
    const std::vector<Case> cases = {
        {L"$1", true},
        {L"x2", true},
        {L"32", true},
        {L"$3", false},
        {L"$99", false},
        {L"$0", false},
        {L"$-1", false},
        {L"", false},
        {L"2", false},
        {L"$", false},
        {L"$99999999999", false},
        {L"$101", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(matches({c.field, L"*", L"", L"eq"}, {L"a", L""}), c.isThere) << narrow(c.field);
        // On a field that is missing every operator is false, and a negation holds.
        for (const std::wstring letters : {L"eq", L"in", L"co", L"gt", L"lt", L"bt"}) {
            if (!c.isThere) {
                EXPECT_FALSE(matches({c.field, L"", L"9", letters}, {L"a", L""}));
                EXPECT_TRUE(matches({c.field, L"*", L"9", letters + L"x"}, {L"a", L""}));
            }
        }
    }
}

TEST(LogRule, TakesFieldsFromHostAndTime) {
    const Record record = {L"DFWW", L"1", L"2013-11-20 01:02:03.004 Z+0000"};
    const AgentInfoRef agent;
    struct Case {
        std::wstring field;
        std::wstring value;
    };
    const std::vector<Case> cases = {
        {L"$100", agent->hostName()},
        {L"$110", std::wstring(agent->osName())},
        {L"$210", L"2013-11-20 01:02:03"},
        {L"$220", L"3"},
        {L"$230", L"2013"},
        {L"$240", L"11"},
        {L"$250", L"20"},
        {L"$260", L"1"},
        {L"$270", L"2"},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(matches({c.field, c.value, L"", L"eq"}, record)) << narrow(c.field);
    }
    for (const Record& undated : {Record{L"a", L"1"}, Record{L"a", L"1", L"x"}}) {
        EXPECT_FALSE(matches({L"$230", L"*", L"", L"eq"}, undated));
        EXPECT_TRUE(matches({L"$100", L"*", L"", L"eq"}, undated));
    }
}

TEST(LogRule, NeedsCompleteGroups) {
    const std::wstring group = L"$1\"|\"a\"|\"\"|\"eq\"|\"";
    struct Case {
        std::wstring text;
        bool isRule;
        bool sends;
    };
    const std::vector<Case> cases = {
        {L"SEND\"|\"" + group, true, true},
        {L"SEND\"|\"" + group + group + L"ignored \"|", true, true},
        {L"send\"|\"" + group, true, false},
        {L" SEND\"|\"" + group, true, false},
        {L"\"|\"" + group, true, false},
        {L"", false, false},
        {L"SEND", false, false},
        {L"SEND\"|\"", false, false},
        {L"SEND\"|\"$1\"|\"a\"|\"\"|\"eq", false, false},
        {L"SEND\"|\"" + group + L"$1\"|\"", false, false},
        {L"SEND\"|\"" + group + L"$1\"|\"a\"|\"\"|\"", false, false},
    };
    for (const Case& c : cases) {
        const std::optional<LogRule> rule = LogRule::parse(c.text);
        EXPECT_EQ(rule.has_value(), c.isRule) << narrow(c.text);
        EXPECT_EQ(rule && rule->sends(), c.sends) << narrow(c.text);
    }
}

class LogRules : public ::testing::Test {
protected:
    std::size_t load(std::string_view text, const std::wstring& section = L"Log",
                     const std::wstring& prefix = L"") {
        dir_.write("agent.ini", text);
        return rules_.load(dir_.path(L"agent.ini"), section, prefix);
    }

    testing::TempDir dir_;
    lathwind::LogRules rules_;
};

constexpr std::string_view kRules =
    "[Log]\n"
    "log.rule.0=KEEP\"|\"$1\"|\"DFWW\"|\"\"|\"eq\"|\"$2\"|\"10\"|\"\"|\"lt\"|\"\n"
    "log.rule.1=SEND\"|\"$1\"|\"DFWW\"|\"\"|\"eq\n"
    "log.rule.2=SEND\"|\"$1\"|\"DFWW,MERR\"|\"\"|\"in\"|\"\n"
    "log.rule.4=SEND\"|\"$1\"|\"*\"|\"\"|\"eq\"|\"\n"
    "[IDSLogRules]\n"
    "ids.log.rule.0=SEND\"|\"$1\"|\"*\"|\"\"|\"eq\"|\"\n";

TEST_F(LogRules, GiveTheVerdictOfTheFirstMatch) {
    EXPECT_FALSE(rules_.match({L"DFWW", L"50"}));
    testing::LogCapture log;
    EXPECT_EQ(load(kRules), 4U);  // the missing key ends the set
    EXPECT_EQ(log.takeDebug(), Record{L"Malformed log rule: SEND\"|\"$1\"|\"DFWW\"|\"\"|\"eq"});
    EXPECT_TRUE(rules_.match({L"DFWW", L"50"}));
    EXPECT_FALSE(rules_.match({L"DFWW", L"5"}));  // kept back ahead of the general rule
    EXPECT_TRUE(rules_.match({L"MERR", L"5"}));
    EXPECT_FALSE(rules_.match({L"DGEN", L"50"}));
    EXPECT_FALSE(rules_.match({}));
}

TEST_F(LogRules, AreReplacedByALoadThatReadsAFile) {
    EXPECT_EQ(load(kRules, L"IDSLogRules", L"ids."), 2U);
    EXPECT_TRUE(rules_.match({L"DGEN"}));

    testing::LogCapture log;
    const std::wstring missing = dir_.path(L"missing.ini");
    EXPECT_EQ(rules_.load(missing, L"Log", L""), 0U);
    EXPECT_EQ(log.takeDebug(), Record{L"Failed to open log rules file: " + missing});
    EXPECT_TRUE(rules_.match({L"DGEN"}));

    EXPECT_EQ(load("[Log]\nlog.rule.0=\nlog.rule.1=SEND\"|\"$1\"|\"*\"|\"\"|\"eq\"|\"\n"), 1U);
    EXPECT_FALSE(rules_.match({L"DGEN"}));
}

}  // namespace
}  // namespace lathwind
