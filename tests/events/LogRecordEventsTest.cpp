#include <gtest/gtest.h>

#include "events/LogRecordEvents.h"
#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace lathwind {
namespace {

using Values = std::vector<std::wstring>;

// Lines as a log holds them.
std::wstring record(const std::vector<std::wstring>& lines) {
    std::wstring text;
    for (const std::wstring& line : lines) {
        text.append(line).append(L"\r\n");
    }
    return text;
}

TEST(ParseInjectedEvent, TakesTheTextApart) {
    struct Case {
        std::vector<std::wstring> lines;
        std::wstring message;
        FieldMap fields;
    };
    const std::vector<Case> cases = {
        {{L"k", L"0", L"m"}, L"m\r\n", {}},
        {{L"k", L"0", L"", L"a", L"", L"b"}, L"\r\na\r\n\r\nb\r\n", {}},
        {{L"k", L"none", L"m"}, L"m\r\n", {}},
        {{L"k", L"1", L"[IDSEvent]", L"", L"m"}, L"m\r\n", {}},
        {{L"k", L"2", L"[idsevent]", L"User Name=ann", L"", L"m", L"n"},
         L"m\r\nn\r\n",
         {{L"User Name", L"ann"}}},
        // Only one section counts, and what stands in place of the empty line goes.
        {{L"k", L" 5", L"[Other]", L"a=1", L"[IDSEvent]", L"b = 2", L"c=", L"gone", L"m"},
         L"m\r\n",
         {{L"b", L"2"}, {L"c", L""}}},
    };
    for (const Case& c : cases) {
        for (const bool endsOpen : {false, true}) {
            std::wstring text = record(c.lines);
            text.resize(text.size() - (endsOpen ? 2 : 0));
            std::wstring kind;
            std::wstring message;
            FieldMap fields = {{L"old", L"field"}};
            EXPECT_TRUE(ParseInjectedEvent(text, kind, message, fields));
            EXPECT_EQ(kind, L"k");
            EXPECT_EQ(message, c.message);
            EXPECT_EQ(fields, c.fields);
        }
    }
}

TEST(ParseInjectedEvent, RefusesOtherForms) {
    const std::wstring tooShort = L"Injected event message contain at 3 lines: ";
    const std::wstring badCount = L"Injected event contains bad INI spec: ";
    const std::wstring noSection = L"Injected event missing [IDSEvent] INI section: ";
    const std::vector<std::pair<std::vector<std::wstring>, std::wstring>> cases = {
        {{}, tooShort},
        {{L"k", L"0"}, tooShort},
        {{L"k", L"5", L"[IDSEvent]", L"a=1", L"b=1", L"c=1", L"", L"m"}, badCount},
        {{L"k", L"1", L"[IDSEvent]"}, badCount},
        {{L"k", L"99999999999999999999", L"[IDSEvent]", L"", L"m"}, badCount},
        {{L"k", L"-1", L"[IDSEvent]", L"", L"m"}, badCount},
        {{L"k", L"1", L"a=1", L"", L"m"}, noSection},
        {{L"k", L"1", L"", L"[IDSEvent]", L"m"}, noSection}};
    for (const auto& [lines, complaint] : cases) {
        testing::LogCapture log;
        const std::wstring text = record(lines);
        std::wstring kind = L"kind";
        std::wstring message = L"message";
        FieldMap fields = {{L"old", L"field"}};
        EXPECT_FALSE(ParseInjectedEvent(text, kind, message, fields));
        EXPECT_EQ(log.takeDebug(), Values{complaint + text});
        EXPECT_EQ(kind + message, L"kindmessage");
        EXPECT_EQ(fields.size(), 1U);
    }
    // A line feed alone ends no line.
    std::wstring ignored;
    FieldMap fields;
    EXPECT_FALSE(ParseInjectedEvent(L"k\n0\nm\n", ignored, ignored, fields));
}

class CreateLogEvent : public ::testing::Test {
protected:
    bool create(std::uint32_t format, const std::wstring& text, bool isCsvRecord = false) {
        return lathwind::CreateLogEvent(
            events_, {L"web-1", format, text, 0x804, isCsvRecord, dir_.path(L"qvrips1.log")});
    }
    const IDSEvent& last() const { return *events_.back(); }

    testing::TempDir dir_;
    EventList events_;
};

TEST_F(CreateLogEvent, MakesAnInjectedEvent) {
    ASSERT_TRUE(create(
        2, record({L"disk,\"a, b\"", L"5", L"[IDSEvent]", L"User Name=ann", L"EVENT_PRIORITY=70",
                   L"VALUE1=fourth", L"No Such=x", L"", L"The disk", L"is full."})));
    EXPECT_EQ(last().GetSourceKind(), sourceKind::LogWatch);
    EXPECT_EQ(last().GetControlFlags() & controlFlag::SourceKind, 0U);
    EXPECT_EQ(last().GetEventClass(), 4U);
    EXPECT_EQ(last().GetSequenceField(), 5);
    EXPECT_EQ(last().GetMachineName(), L"web-1");
    EXPECT_EQ(last().GetEventText(), L"The disk\r\nis full.\r\n");
    EXPECT_EQ(last().GetValues(), (Values{L"disk", L"a, b", L"", L"fourth"}));
    EXPECT_EQ(last().GetUserName(), L"ann");
    EXPECT_EQ(last().GetPriority(), 70);
    EXPECT_EQ(last().GetSystemState(), 0x804U);

    // What the record sets itself comes behind what is set for it, and ahead of the state.
    ASSERT_TRUE(create(2, record({L"k", L"3", L"[IDSEvent]", L"System State=vd",
                                  L"Machine Name=db-2", L"", L"m"})));
    EXPECT_EQ(last().GetSystemState(), 0x102U);
    EXPECT_EQ(last().GetMachineName(), L"db-2");

    EXPECT_FALSE(create(2, record({L"k", L"0"})));
    EXPECT_FALSE(create(2, record({L"\"k", L"0", L"m"})));
    EXPECT_FALSE(create(2, record({L"", L"0", L"m"})));
    EXPECT_EQ(events_.size(), 2U);
}

TEST_F(CreateLogEvent, TakesACsvRecordOver) {
    ASSERT_TRUE(create(1, L"DFWW,7,2013-11-20 01:02:03.004 Z+0100,W,55,V,\"a, b\"\r\n"));
    EXPECT_EQ(last().GetSourceKind(), sourceKind::None);
    EXPECT_EQ(last().GetValues(), (Values{L"DFWW", L"7", L"2013-11-20 01:02:03.004 Z+0100", L"W",
                                          L"55", L"V", L"a, b"}));
    EXPECT_EQ(last().GetSystemState(), 0x804U);

    ASSERT_TRUE(create(1, L"MREP,8"));
    EXPECT_EQ(last().GetSystemState(), 0U);

    EXPECT_FALSE(create(1, L""));
    EXPECT_FALSE(create(1, L"DFWW,\"7"));
    EXPECT_FALSE(create(0, L"DFWW,7"));
    EXPECT_FALSE(create(3, L"DFWW,7"));
    EXPECT_EQ(events_.size(), 2U);
}

TEST_F(CreateLogEvent, DeletesACsvFileAtItsEnd) {
    dir_.write("qvrips1.log", "MSOF\nMEOF\n");
    EXPECT_FALSE(create(1, L"MSOF,0", true));
    EXPECT_TRUE(create(1, L"DFWW,MEOF", true));
    EXPECT_TRUE(create(1, L"MEOF,0"));  // in a log that is no CSV file
    EXPECT_TRUE(create(1, L"meof,0", true));
    EXPECT_TRUE(dir_.exists("qvrips1.log"));
    EXPECT_FALSE(create(1, L"MEOF,0", true));
    EXPECT_FALSE(dir_.exists("qvrips1.log"));
    EXPECT_EQ(events_.size(), 3U);

    testing::LogCapture log;
    EXPECT_FALSE(create(1, L"MEOF,0", true));
    EXPECT_EQ(log.takeDebug(), Values{L"Failed to delete log file: " + dir_.path(L"qvrips1.log")});
}

TEST(DefaultFieldRules, ApplyKnownMacrosAlone) {
    IDSEvent event;
    event.SetSourceKind(sourceKind::LogWatch, false);
    DefaultFieldRules(event, {{L"RULE_NAME", L"login"}, {L"host", L"x"}, {L"agent label", L"a"}});
    EXPECT_EQ(event.GetRuleName(), L"login");
    EXPECT_EQ(event.GetAgentLabel(), L"a");
    EXPECT_EQ(event.GetValues(), Values());
}

}  // namespace
}  // namespace lathwind
