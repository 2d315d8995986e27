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

// A condition on the second field, the fields that it holds for, and those that it does not.
struct Condition {
    std::wstring operatorText;
    std::wstring first;
    std::wstring second;
    Record holding;
    Record failing;
};

void expectConditions(const std::vector<Condition>& conditions) {
    const auto check = [](const Condition& c, const Record& fields, bool holds) {
        for (const std::wstring& field : fields) {
            const Record record = {L"-", field, L"-"};
            EXPECT_EQ(matches({L"$2", c.first, c.second, c.operatorText}, record), holds)
                << narrow(c.operatorText + L" " + c.first + L" with " + field);
            EXPECT_NE(matches({L"$2", c.first, c.second, c.operatorText + L"x"}, record), holds)
                << narrow(c.operatorText + L"x " + c.first + L" with " + field);
        }
    };
    for (const Condition& condition : conditions) {
        check(condition, condition.holding, true);
        check(condition, condition.failing, false);
    }
}

TEST(LogRule, TestsOneField) {
    expectConditions({
        {L"eq", L"Web*1", L"", {L"WEB-01", L"web1"}, {L"web-2", L"", L"a web1"}},
        {L"eq", L"w?b", L"", {L"web", L"W*B"}, {L"wb"}},
        {L"eq", L"", L"", {L""}, {L"web"}},
        {L"eqc", L"W*b", L"", {L"Web"}, {L"web"}},
        {L"??", L"web", L"", {L"WEB"}, {L"web-1"}},   // unknown letters ask for equality,
        {L"EQC", L"Web", L"", {L"wEB"}, {L"web-1"}},  // capitals too, and are no flags
        {L"in", L"a,\"B,c\",d*", L"", {L"A", L"b,C", L"DEF"}, {L"b", L"", L"a,"}},
        {L"inc", L"a,D*", L"", {L"a", L"Def"}, {L"A", L"def"}},
        {L"in", L"a,,b", L"", {L"", L"b"}, {L",", L"a,,b"}},
        {L"in", L"", L"", {}, {L"", L"a"}},
        {L"in", L"a,\"b", L"", {}, {L"a", L"b"}},
        {L"co", L"abcdef", L"", {L"CD", L"abcdef", L""}, {L"xabcdef", L"ac", L"a*"}},
        {L"coc", L"abCDef", L"", {L"CD"}, {L"cd"}},
        {L"gt", L"5", L"", {L"6", L"99999999999"}, {L"5", L"-6", L"none"}},
        {L"gt", L"4000000000", L"", {L"4000000001"}, {L"4000000000"}},
        {L"lt", L"-5", L"", {L"-6"}, {L"-5", L"0", L""}},
        {L"bt", L"9", L"3", {L"3", L"9"}, {L"2", L"10"}},
        {L"bt", L"3", L"9", {L"3", L"9"}, {L"2", L"10"}},
    });
    for (const std::wstring operatorText : {L"", L"e"}) {
        EXPECT_TRUE(matches({L"$1", L"web", L"", operatorText}, {L"WEB"}));
    }
}

TEST(LogRule, ComparesDatesInSeconds) {
    const std::wstring date = L"2013-11-20 01:02:03.004 Z+0000";
    const std::int64_t seconds = DateTime::ParseDate(date);
    const std::wstring same = std::to_wstring(seconds);
    const std::wstring before = std::to_wstring(seconds - 1);
    expectConditions({
        {L"gtd", before, L"", {date}, {L"yesterday"}},
        {L"gtd", same, L"", {}, {date}},
        {L"ltd", same, L"", {L"2013-11-20T01:02:02"}, {date, L"yesterday"}},
        {L"btcd", before, same, {date}, {L"yesterday", same}},
        {L"eqd", same, L"", {date}, {same}},
        {L"ind", before + L"," + same, L"", {date}, {L"yesterday"}},
    });
}

TEST(LogRule, TakesAnythingThatIsThere) {
    for (const std::wstring operatorText : {L"eq", L"eqx", L"inx", L"gtx", L"btdx", L"lt"}) {
        EXPECT_TRUE(matches({L"$1", L"*", L"", operatorText}, {L"-1"}));
    }
}

TEST(LogRule, FindsItsField) {
    for (const std::wstring token : {L"$1", L"x2", L"32"}) {
        EXPECT_TRUE(matches({token, L"*", L"", L"eq"}, {L"a", L""})) << narrow(token);
    }
    // On a field that is missing every operator is false, and a negation holds.
    for (const std::wstring token :
         {L"$3", L"$99", L"$0", L"$-1", L"", L"2", L"$", L"$99999999999", L"$101"}) {
        for (const std::wstring letters : {L"eq", L"in", L"co", L"gt", L"lt", L"bt"}) {
            EXPECT_FALSE(matches({token, L"", L"9", letters}, {L"a", L""})) << narrow(token);
            EXPECT_FALSE(matches({token, L"*", L"9", letters}, {L"a", L""})) << narrow(token);
            EXPECT_TRUE(matches({token, L"*", L"9", letters + L"x"}, {L"a", L""}));
        }
    }
}

TEST(LogRule, TakesFieldsFromHostAndTime) {
    const Record record = {L"DFWW", L"1", L"2013-11-20 01:02:03.004 Z+0000"};
    const AgentInfoRef agent;
    const std::vector<std::pair<std::wstring, std::wstring>> cases = {
        {L"$100", agent->hostName()},
        {L"$110", std::wstring(agent->osName())},
        {L"$220", L"3"},
        {L"$210", L"2013-11-20 01:02:03"},
        {L"$230", L"2013"},
        {L"$240", L"11"},
        {L"$250", L"20"},
        {L"$260", L"1"},
        {L"$270", L"2"}};
    for (const auto& [field, value] : cases) {
        EXPECT_TRUE(matches({field, value, L"", L"eq"}, record)) << narrow(field);
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
