#include <gtest/gtest.h>
#include <vector>

#include "events/EventMacros.h"

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
        {L"EVENT_TYPE", 0, -1, -1},
        {L"event_dt", 2, -1, -1},
        {L"Rule_Name", 8, -1, -1},
        {L"USER_NAME", 10, -1, -1},
        {L"OPERATION", 16, -1, -1},
        {L"VALUE1", 17, -1, -1},
        {L"VALUE4", 20, -1, -1},
        {L"DESCRIPTION", 21, -1, -1},
        {L"VALUE5", 22, -1, -1},
        {L"VALUE20", 37, -1, -1},
        {L"virtual_tag", 38, -1, -1},
        {L"VALUE21", 39, -1, -1},
        {L"VALUE26", 44, -1, -1},
        {L"BINARYDATA", 45, -1, -1},
        {L"Event Type", -1, 0, -1},
        {L"rule id", -1, 5, -1},
        {L"hostname", -1, 7, -1},
        {L"V100", -1, 7, -1},
        {L"Computer Name", -1, 8, -1},
        {L"file name", -1, 17, -1},
        {L"OSTYPE", -1, 20, -1},
        {L"v210", -1, 21, -1},
        {L"local_minute", -1, 27, -1},
        {L"Event Specific Value 1", -1, 28, -1},
        {L"event specific value 20", -1, 47, -1},
        {L"flag instance count", -1, -1, 48},
        {L"Flag Count", -1, -1, 49},
        {L"FLAG CONTEXT COUNT", -1, -1, 50},
        {L"VALUE27", -1, -1, -1},
        {L"EVENT_TYP", -1, -1, -1},
        {L" USER_NAME", -1, -1, -1},
        {L"", -1, -1, -1},
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

}  // namespace
}  // namespace lathwind
