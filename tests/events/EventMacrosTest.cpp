#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include "events/EventMacros.h"
#include "events/IDSEvent.h"
#include "support/FakeProcesses.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "utils/AgentInfo.h"
#include "utils/DateTime.h"

namespace lathwind {
namespace {

TEST(EventMacros, NamesAreFoundInAnyCase) {
    struct Case {
        std::wstring name;
        std::int32_t field;  // -1: not there
        std::int32_t macro;
        std::int32_t flag;
    };
    const std::vector<Case> cases = {
        {L"EVENT_TYPE", 0, -1, -1},    {L"event_dt", 2, -1, -1},
        {L"Rule_Name", 8, -1, -1},     {L"OPERATION", 16, -1, -1},
        {L"VALUE1", 17, -1, -1},       {L"VALUE5", 22, -1, -1},
        {L"VALUE20", 37, -1, -1},      {L"VALUE26", 44, -1, -1},
        {L"BINARYDATA", 45, -1, -1},   {L"hostname", -1, 7, -1},
        {L"file name", -1, 17, -1},    {L"v210", -1, 21, -1},
        {L"local_minute", -1, 27, -1}, {L"flag instance count", -1, -1, 48},
        {L"Flag Count", -1, -1, 49},   {L"FLAG CONTEXT COUNT", -1, -1, 50},
        {L"VALUE27", -1, -1, -1},      {L"EVENT_TYP", -1, -1, -1},
        {L" USER_NAME", -1, -1, -1},   {L"", -1, -1, -1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(FieldIdOf(c.name).value_or(-1), c.field);
        EXPECT_EQ(MacroIdOf(c.name).value_or(-1), c.macro);
        EXPECT_EQ(FlagMacroIdOf(c.name).value_or(-1), c.flag);
        EXPECT_EQ(IsKnownMacro(c.name), c.field >= 0 || c.macro >= 0 || c.flag >= 0);
    }
}

// Gives the user's name for one tag, nothing for another, and leaves the rest.
class Provider : public MacroProvider {
public:
    void getValue(std::wstring_view tag, std::wstring& value) override {
        value = tag == L"USER" ? L"ann" : tag == L"EMPTY" ? L"" : std::wstring(tag);
    }
};

TEST(EventMacros, WalksTheTagsOfAText) {
    struct Case {
        std::wstring text;
        bool valid;
        std::wstring unknown;
        std::wstring expanded;
    };
    const std::vector<Case> cases = {
        {L"", true, L"", L""},
        {L"plain", true, L"", L"plain"},
        {L"{USER_NAME}", true, L"", L"{USER_NAME}"},
        {L"a { User Name } b", true, L"", L"a { User Name } b"},
        {L"{USER}", false, L"{USER}", L"ann"},
        {L"x{ USER\t}y{EMPTY}z", false, L"{USER}, {EMPTY}", L"xannyz"},
        {L"{ no such }{user_name}", false, L"{no such}", L"{ no such }{user_name}"},
        {L"}USER{", false, L"{USER}", L"ann"},
        {L"{}", false, L"{}", L"{}"},
        {L"a{USER}b{c", false, L"{USER}", L"aannb"},
        {L"text {", true, L"", L"text "},
        {L"{USER_NAME}{nope", true, L"", L"{USER_NAME}"},
    };
    for (const Case& c : cases) {
        Provider provider;
        EXPECT_EQ(IsTextValidMacros(c.text), c.valid);
        EXPECT_EQ(ListUnknownMacros(c.text), c.unknown);
        EXPECT_EQ(ExpandMacros(provider, c.text), c.expanded);
    }
}

TEST(EventMacros, LeftSideOfARule) {
    struct Case {
        std::wstring text;
        bool known;
        bool isField;
        std::int32_t id;
        std::wstring rest;
    };
    const std::vector<Case> cases = {
        {L"{Event Priority} = 5", true, true, 2, L"= 5"},
        {L"Event Priority>=50", true, true, 2, L">=50"},
        {L" set { user name } ", true, false, 12, L""},
        {L"Flag Count != 2", true, true, 49, L"!= 2"},
        {L"{flag context count}<3", true, true, 50, L"<3"},
        {L"{Process ID=7}", true, true, 13, L"=7"},
        {L"Session ID", true, true, 18, L""},
        {L"LOCAL_EVENT_DT", true, false, 21, L""},
        {L"LOCAL_DAYOFWEEK", true, true, 22, L""},
        {L"LOCAL_MINUTE", true, true, 27, L""},
        {L"Event Specific Value 1", true, false, 28, L""},
        {L"USER_NAME = x", false, true, -7, L"kept"},
        {L"", false, true, -7, L"kept"},
        {L"= 5", false, true, -7, L"kept"},
    };
    for (const Case& c : cases) {
        bool isField = true;
        std::int32_t id = -7;
        std::wstring rest = L"kept";
        EXPECT_EQ(ParseMacroLhs(c.text, isField, id, rest), c.known);
        EXPECT_EQ(isField, c.isField);
        EXPECT_EQ(id, c.id);
        EXPECT_EQ(rest, c.rest);
    }
}

// "v0", "v1" and so on as values; a Saturday in January, local time.
IDSEvent sampleEvent(std::uint32_t kind, std::size_t valueCount) {
    IDSEvent event;
    event.SetSourceKind(kind, false);
    std::vector<std::wstring> values;
    for (std::size_t i = 0; i < valueCount; ++i) {
        values.push_back(L'v' + std::to_wstring(i));
    }
    event.SetValues(std::move(values));
    event.SetCollectTime(DateTime(2014, 0, 25, 3, 4, 5).GetSeconds());
    event.SetUserName(L"ann");
    event.SetPriority(L"60");
    event.SetSystemState(0x102U, false);
    event.SetRuleId(4000000000U);
    event.SetCorrelation(L"corr");
    event.SetExtraText(L"extra");
    event.SetMachineName(L"machine");
    event.SetAgentLabel(L"label");
    return event;
}

TEST(EventMacros, ValuesOfAnEvent) {
    const IDSEvent event = sampleEvent(sourceKind::FileWatch, 25);
    const std::wstring universal =
        DateTime(event.GetCollectTime(), 0, TimeZone::universal()).Format(L"%Y-%m-%d %H:%M:%S");
    const std::vector<std::pair<std::wstring, std::wstring>> cases = {
        {L"USER_NAME", L"ann"},
        {L"user_name", L"ann"},
        {L"User Name", L"ann"},
        {L"rule id", L"4000000000"},
        {L"RULE_ID", L"corr"},
        {L"Event Type", L"DFWW"},
        {L"Event Severity", L"M"},
        {L"EVENT_PRIORITY", L"60"},
        {L"System State", L"VD"},
        {L"v100", L"label"},
        {L"Computer Name", L"machine"},
        {L"Process ID", L"-1"},
        {L"PROCESS_ID", L""},
        {L"OSTYPE", std::wstring(AgentInfoRef()->osName())},
        {L"Event Date", universal},
        {L"LOCAL_EVENT_DT", L"2014-01-25 03:04:05"},
        {L"LOCAL_DAYOFWEEK", L"6"},
        {L"LOCAL_YR", L"2014"},
        {L"LOCAL_MONTH", L"1"},
        {L"LOCAL_DAY", L"25"},
        {L"LOCAL_HOUR", L"3"},
        {L"V270", L"4"},
        {L"DISPOSITION", L"v0"},
        {L"VALUE4", L"v6"},
        {L"DESCRIPTION", L"v7"},
        {L"Event Specific Value 1", L"v3"},
        {L"Event Specific Value 4", L"v6"},
        {L"Event Specific Value 5", L"v8"},
        {L"Event Specific Value 10", L"v13"},
        {L"Event Specific Value 11", L"v14"},
        {L"Event Specific Value 20", L"v23"},
        {L"virtual_tag", L"v24"},
        {L"VALUE21", L""},
        {L"Flag Count", L"Unknown Macro"},
        {L"no such", L"Unknown Macro"},
    };
    for (const auto& [name, value] : cases) {
        EXPECT_EQ(GetMacroValue(name, event), value);
    }
    EXPECT_EQ(GetMacroValueById(16, event), L"extra");
    for (const std::int32_t id : {-1, 48, 50, 1000}) {
        EXPECT_EQ(GetMacroValueById(id, event), L"Unknown Macro");
    }
    EXPECT_EQ(GetMacroValue(L"VALUE4", sampleEvent(sourceKind::FileWatch, 2)), L"");
}

TEST(EventMacros, WritesWhatItReads) {
    struct Case {
        std::wstring name;
        std::wstring text;
        std::wstring value;   // as the same macro reads it
        std::uint32_t flags;  // 16 and 0x100 are set by the sample
    };
    constexpr std::uint32_t kSet = 16 | 0x100;
    const std::vector<Case> cases = {
        {L"Event Type", L"DSYS", L"DSYS", kSet | 1},
        {L"Event Severity", L"C", L"C", kSet},
        {L"Event Priority", L"100", L"99", kSet},
        {L"System State", L"zr", L"RZ", kSet | 64},
        {L"Policy ID", L"guid", L"guid", kSet | 128},
        {L"Rule ID", L"12", L"12", kSet},
        {L"Rule ID", L"-1", L"0", kSet},
        {L"Rule ID", L"5000000000", L"4294967295", kSet},
        {L"User Defined Text", L"x", L"x", kSet},
        {L"HOSTNAME", L"x", L"x", kSet},
        {L"Machine Name", L"x", L"x", kSet},
        {L"Agent IP Address", L"x", L"x", kSet},
        {L"Rule Name", L"x", L"Rule", kSet},
        {L"RULE_NAME", L"x", L"x", kSet | 0x200},
        {L"Policy Name", L"x", L"x", kSet},
        {L"User Name", L"x", L"x", kSet},
        {L"User Name", L"", L"ann", kSet},
        {L"Process Name", L"x", L"x", kSet},
        {L"Process Full Name", L"c:\\x", L"c:\\x", kSet},
        {L"File Name", L"x", L"x", kSet},
        {L"Session ID", L"12", L"12", kSet},
        {L"Session ID", L"-99999999999", L"-2147483648", kSet},
        {L"Event Date", L"never", L"2014-01-25", kSet},
        {L"LOCAL_YR", L"1999", L"2014", kSet},
        {L"Event Specific Value 4", L"x", L"x", kSet},
        {L"Event Specific Value 5", L"x", L"x", kSet},
        {L"Event Specific Value 20", L"x", L"x", kSet},
        {L"DESCRIPTION", L"x", L"x", kSet},
        {L"RULE_ID", L"x", L"x", kSet},
        {L"Flag Count", L"x", L"Unknown Macro", kSet},
        {L"no such", L"x", L"Unknown Macro", kSet},
    };
    for (const Case& c : cases) {
        IDSEvent event = sampleEvent(sourceKind::LogWatch, 0);
        SetMacroValue(event, c.name, c.text, false);
        const std::wstring value = GetMacroValue(c.name, event);
        EXPECT_EQ(c.name == L"Event Date" ? value.substr(0, 10) : value, c.value);
        EXPECT_EQ(event.GetControlFlags(), c.flags) << c.text.size();
    }
    IDSEvent event = sampleEvent(sourceKind::LogWatch, 0);
    event.SetRuleName(L"given");
    SetMacroValue(event, L"Rule Name", L"new", false);
    EXPECT_EQ(event.GetRuleName(), L"new");
    SetMacroValue(event, L"Event Date", L"2013-11-20 01:02:03", false);
    EXPECT_EQ(GetMacroValue(L"LOCAL_EVENT_DT", event), L"2013-11-20 01:02:03");

    // The fields of a file event are its own.
    IDSEvent file = sampleEvent(sourceKind::FileWatch, 3);
    const testing::LogCapture log;
    SetMacroValue(file, L"event specific value 1", L"x", false);
    EXPECT_EQ(log.debugLines.size(), 1U);
    EXPECT_EQ(file.GetValues().size(), 3U);
}

TEST(EventMacros, AProcessIdIsLookedUpUnlessTheFactsAreKept) {
    testing::FakeProcesses processes;
    processes.running[7].image = L"p.exe";
    const testing::ServiceOverride answers(platformFactory.processes, processes);
    IDSEvent event;
    SetMacroValue(event, L"Process ID", L"7", true);
    EXPECT_EQ(GetMacroValue(L"Process ID", event), L"-1");
    SetMacroValue(event, L"Process ID", L"7", false);
    EXPECT_EQ(GetMacroValue(L"Process ID", event), L"7");
    EXPECT_EQ(GetMacroValue(L"Process Name", event), L"p.exe");
}

TEST(EventMacros, ExpandsATextForAnEvent) {
    const IDSEvent event = sampleEvent(sourceKind::FileWatch, 2);
    EXPECT_EQ(ExpandMacrosForEvent(event, L"{ User Name }: {TARGET_INFO}{VALUE9} }rule id{!"),
              L"ann: v1 4000000000!");
    EXPECT_EQ(ExpandMacrosForEvent(event, L"{ no such }{Flag Count}{user_name"),
              L"{ no such }{Flag Count}");
}

}  // namespace
}  // namespace lathwind
