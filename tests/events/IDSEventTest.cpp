#include <gtest/gtest.h>
#include <sstream>
#include <vector>

#include "events/IDSEvent.h"
#include "support/FakeProcesses.h"
#include "support/HostDecorator.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "utils/DateTime.h"

namespace lathwind {
namespace {

using testing::LogCapture;

IDSEvent eventOf(std::uint32_t kind, std::vector<std::wstring> values = {}) {
    IDSEvent event;
    event.SetSourceKind(kind, false);
    event.SetValues(std::move(values));
    return event;
}

TEST(EventCodes, SourceKinds) {
    const std::vector<std::wstring> texts = {L"DUNK", L"DNTL", L"DRGW", L"DFWW", L"DGEN",
                                             L"DAUD", L"DSYS", L"DWTM", L"PXXX", L"MERR",
                                             L"MSTD", L"DXXX", L"DUC2", L"DXX"};
    for (std::uint32_t kind = 0; kind < texts.size(); ++kind) {
        std::uint32_t parsed = 77;
        EXPECT_EQ(sourceKindText(kind), texts[kind]);
        EXPECT_TRUE(parseSourceKind(texts[kind], parsed));
        EXPECT_EQ(parsed, kind);
    }
    EXPECT_EQ(sourceKindText(14), L"DUNK");
    std::uint32_t kind = 77;
    EXPECT_FALSE(parseSourceKind(L"dfww", kind));
    EXPECT_EQ(kind, 77U);
    EXPECT_TRUE(parseSourceKind(L"DFWU", kind));
    EXPECT_EQ(kind, sourceKind::FileWatch);
}

TEST(EventCodes, SystemStateLetters) {
    const std::wstring letters = L"RVIPXGTCDLFSZ";
    for (std::size_t i = 0; i < letters.size(); ++i) {
        EXPECT_EQ(systemStateText(1U << i), letters.substr(i, 1));
        EXPECT_EQ(parseSystemState(letters.substr(i, 1)), 1U << i);
    }
    EXPECT_EQ(systemStateText(0x102), L"VD");
    EXPECT_EQ(systemStateText(0xFFFFE000), L"");
    EXPECT_EQ(parseSystemState(L"fv"), 0x402U);
    EXPECT_EQ(parseSystemState(L"1 VV,q"), 2U);
}

TEST(EventCodes, SeverityByClassAndPriority) {
    struct Case {
        std::uint32_t classNumber;
        std::int32_t priority;
        wchar_t letter;
        std::wstring word;
    };
    const std::vector<Case> cases = {
        {4, 0, L'I', L"LOW"},     {4, 19, L'I', L"LOW"},    {4, 20, L'N', L"LOW"},
        {4, 39, L'N', L"LOW"},    {4, 40, L'W', L"MEDIUM"}, {4, 59, L'W', L"MEDIUM"},
        {4, 60, L'M', L"MEDIUM"}, {4, 79, L'M', L"MEDIUM"}, {4, 80, L'C', L"HIGH"},
        {4, 99, L'C', L"HIGH"},   {2, 80, L'C', L"HIGH"},   {0, 0, L'C', L"ERROR"},
        {0, 50, L'C', L"ERROR"},  {1, 0, L'W', L"LOW"},     {1, 85, L'W', L"HIGH"},
        {3, 40, L'I', L"LOW"},    {3, 80, L'I', L"LOW"},    {4, -5, L'I', L"LOW"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(severityLetterOf(c.classNumber, c.priority), c.letter) << c.priority;
        EXPECT_EQ(severityWordOf(c.classNumber, c.priority), c.word) << c.priority;
    }
    for (const std::wstring letter : {L"I", L"N", L"W", L"M", L"C"}) {
        const auto priority = priorityOfSeverityLetter(letter);
        ASSERT_TRUE(priority.has_value());
        EXPECT_EQ(severityLetterOf(eventClass::Normal, *priority), letter[0]);
    }
    for (const std::wstring other : {L"E", L"w", L"", L"WW"}) {
        EXPECT_FALSE(priorityOfSeverityLetter(other).has_value());
    }
}

TEST(IDSEvent, StartsWithItsDefaultsAtThePresentTime) {
    class FixedClock : public testing::HostDecorator {
    public:
        using HostDecorator::HostDecorator;
        std::int64_t currentTimeMs() override { return 1384909323999; }
    } host(platform::host());
    const testing::ServiceOverride clock(platformFactory.host, host);
    const IDSEvent event;
    EXPECT_EQ(event.GetCollectTime(), 1384909323);
    EXPECT_EQ(event.GetProcessId(), -1);
    EXPECT_EQ(event.GetSessionId(), -1);
    EXPECT_EQ(event.GetReservedNumber(), -1);
    EXPECT_EQ(event.GetAgentIp(), L"-");
    EXPECT_EQ(event.GetPolicyName(), L"Policy");
    EXPECT_EQ(event.GetRuleName(), L"Rule");
    EXPECT_EQ(event.GetEventClass(), 4U);
    EXPECT_EQ(event.GetPriority() + event.GetSequenceField(), 0);
    EXPECT_EQ(event.GetRuleId() + event.GetSourceKind() + event.GetSystemState() +
                  event.GetControlFlags() + event.GetFileCount(),
              0U);
    EXPECT_FALSE(event.AreFieldsWritable());
}

TEST(IDSEvent, FieldsOfALine) {
    IDSEvent event = eventOf(sourceKind::FileWatch, {L"P", L"c:\\a"});
    event.SetCollectTime(1384909323);
    event.SetPriority(L"60");
    event.SetSystemState(0x102U, false);
    event.SetPolicyGuid(L"guid");
    event.SetCorrelation(L"corr");
    event.SetRuleName(L"rule");
    event.SetUserName(L"ann");
    event.SetProcessPath(L"c:\\b\\p.exe");
    const std::wstring time = DateTime::FormatTimeStamp(1384909323, 0);
    std::vector<std::wstring> list = {L"kept"};
    event.GetFields(list, 4294967295U, L"text");
    EXPECT_EQ(list, (std::vector<std::wstring>{L"kept", L"DFWW", L"4294967295", time, L"M", L"60",
                                               L"VD", L"guid", L"corr", L"rule", L"text", L"ann",
                                               L"", L"c:\\b\\p.exe", L"", L"P", L"c:\\a"}));
    event.SetSessionId(0);
    event.SetProcessId(7);
    EXPECT_EQ(event.GetField(eventField::SessionId), L"0");
    EXPECT_EQ(event.GetField(eventField::ProcessId), L"7");
    EXPECT_EQ(event.GetField(eventField::Sequence), L"0");
    EXPECT_EQ(event.GetField(15), L"c:\\a");
    EXPECT_EQ(event.GetField(16), L"");
    EXPECT_EQ(event.GetField(-1), L"");

    for (const std::uint32_t kind : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U, 13U}) {
        const bool hasProcess = kind != 0 && kind != 5 && (kind < 8 || kind == 12);
        event.SetSourceKind(kind, false);
        EXPECT_EQ(event.GetField(hasProcess ? 14 : 10), L"P") << kind;
    }
}

TEST(IDSEvent, UnforcedSettersLeaveForcedFieldsAlone) {
    IDSEvent event;
    event.SetSourceKindText(L"DSYS", false);
    event.SetSeverityLetter(L"N", false);
    event.SetSystemState(L"r", false);
    EXPECT_EQ(event.GetControlFlags(), 0U);
    event.SetSourceKindText(L"none", true);
    event.SetSeverityLetter(L"E", true);
    EXPECT_EQ(event.GetControlFlags(), 0U);
    EXPECT_EQ(event.GetSourceKind(), sourceKind::SysLog);
    EXPECT_EQ(event.GetPriority(), 35);
    EXPECT_EQ(event.GetSystemState(), 1U);

    event.SetSourceKind(sourceKind::FileWatch, true);
    event.SetSeverityLetter(L"W", true);
    event.SetSystemState(L"V", true);
    EXPECT_EQ(event.GetControlFlags(), 1U | 16U | 64U);
    event.SetSourceKind(sourceKind::LogWatch, false);
    event.SetSeverityLetter(L"C", false);
    event.SetSystemState(0U, false);
    EXPECT_EQ(event.GetSourceKind(), sourceKind::FileWatch);
    EXPECT_EQ(event.GetPriority(), 55);
    EXPECT_EQ(event.GetSystemState(), 2U);

    event.SetPolicyGuid(L"");
    event.SetRuleId(0);
    event.SetRuleName(L"");
    EXPECT_EQ(event.GetControlFlags(), 1U | 16U | 64U | 128U | 0x100U | 0x200U);
}

TEST(IDSEvent, ALogWatchEventTakesAnyField) {
    struct Case {
        std::int32_t id;
        std::wstring text;
        std::wstring field;
        std::uint32_t flag;
    };
    const std::vector<Case> cases = {
        {0, L"DSYS", L"DSYS", 1}, {0, L"what", L"DGEN", 0},
        {3, L"C", L"C", 16},      {4, L"0", L"0", 16},
        {4, L"99", L"99", 16},    {4, L"250", L"99", 16},
        {4, L"-1", L"99", 16},    {4, L"99999999999999999999", L"99", 16},
        {4, L"", L"0", 16},       {6, L"guid", L"guid", 128},
        {7, L"corr", L"corr", 0}, {8, L"rule", L"rule", 0x200},
        {9, L"text", L"", 0},     {10, L"bob", L"bob", 0},
        {10, L"", L"ann", 0},     {11, L" 12x", L"12", 0},
        {11, L"-4", L"", 0},      {12, L"c:\\b\\p.exe", L"c:\\b\\p.exe", 0},
        {13, L"0", L"", 0},       {14, L"first", L"first", 0},
        {38, L"tag", L"tag", 0},  {45, L"data", L"data", 0},
    };
    for (const Case& c : cases) {
        IDSEvent event = eventOf(sourceKind::LogWatch);
        event.SetUserName(L"ann");
        EXPECT_TRUE(event.setEventField(c.id, c.text)) << c.id;
        EXPECT_EQ(event.GetField(c.id), c.field) << c.id;
        EXPECT_EQ(event.GetControlFlags(), c.flag) << c.id;
        EXPECT_TRUE(event.AreFieldsWritable());
    }
    IDSEvent event = eventOf(sourceKind::LogWatch, {L"a", L"b", L"c"});
    EXPECT_TRUE(event.setEventField(50, L"x"));
    ASSERT_EQ(event.GetValues().size(), 37U);
    EXPECT_EQ(event.GetValues()[2], L"c");
    EXPECT_EQ(event.GetValues()[3], L"");
    EXPECT_EQ(event.GetField(50), L"x");
    event.setEventField(9, L"mine");
    EXPECT_EQ(event.GetUserDefinedText(), L"mine");
    event.setEventField(12, L"p.exe");
    EXPECT_EQ(event.GetProcessName(), L"p.exe");
}

TEST(IDSEvent, RefusedFieldsLeaveALineAndTheEvent) {
    struct Case {
        std::uint32_t kind;
        std::int32_t id;
        bool done;
        std::wstring line;
    };
    const std::wstring onlyTag =
        L"setEventField(8, x): is not supported by EVENT_LOG, SYSLOG or FILEWATCH";
    const std::vector<Case> cases = {
        {0, 38, false, L"setEventField(38, x): currently only supported by LOGWATCH"},
        {2, 8, false, L"setEventField(8, x): currently only supported by LOGWATCH"},
        {9, 14, false, L"setEventField(14, x): currently only supported by LOGWATCH"},
        {1, 8, false, onlyTag},
        {3, 8, false, onlyTag},
        {6, 8, false, onlyTag},
        {1, 38, true, L""},
        {3, 38, true, L""},
        {6, 38, true, L""},
        {4, 1, false, L"The sequence number cannot be overwritten"},
        {4, 5, false, L"The system state cannot be overwritten"},
        {4, 2, true,
         L"Date 'x' not in valid format. Must be \"yyyy-MM-DD HH:MM:SS\" or \"Www Mmm dd HH:MM:SS "
         L"yyyy\"."},
        {4, -1, false, L""},
    };
    for (const Case& c : cases) {
        IDSEvent event = eventOf(c.kind);
        event.SetCollectTime(5);
        LogCapture log;
        EXPECT_EQ(event.setEventField(c.id, L"x"), c.done) << c.kind << ' ' << c.id;
        EXPECT_EQ(log.takeDebug(),
                  c.line.empty() ? std::vector<std::wstring>() : std::vector{c.line});
        EXPECT_EQ(event.GetValues().size(), c.id == 38 && c.done ? 25U : 0U);
        EXPECT_EQ(event.GetRuleName(), L"Rule");
        EXPECT_EQ(event.GetCollectTime(), 5);
        EXPECT_EQ(event.AreFieldsWritable(), c.kind == sourceKind::LogWatch);
    }
}

TEST(IDSEvent, FieldsStayWritableUnderAnotherKind) {
    IDSEvent event = eventOf(sourceKind::LogWatch);
    EXPECT_TRUE(event.setEventField(eventField::Type, L"DFWW"));
    EXPECT_TRUE(event.setEventField(eventField::RuleName, L"mine"));
    EXPECT_TRUE(event.setEventField(eventField::Date, L"Wed Nov 20 01:02:03 2013"));
    EXPECT_EQ(event.GetCollectTime(), DateTime(2013, 10, 20, 1, 2, 3).GetSeconds());
    EXPECT_EQ(event.GetRuleName(), L"mine");
}

TEST(IDSEvent, ProcessFactsFillWhatIsEmpty) {
    testing::FakeProcesses processes;
    processes.running[7].image = L"p.exe";
    processes.running[7].path = L"c:\\b\\p.exe";
    processes.running[7].ownerName = L"ann";
    const testing::ServiceOverride answers(platformFactory.processes, processes);
    struct Case {
        std::int32_t pid;
        bool keepUser, keepName;
        std::wstring oldUser, oldName;
        std::int32_t id;
        std::wstring user, name, path;
    };
    const std::vector<Case> cases = {
        {7, false, false, L"", L"", 7, L"ann", L"p.exe", L"c:\\b\\p.exe"},
        {7, true, false, L"", L"", 7, L"", L"p.exe", L"c:\\b\\p.exe"},
        {7, false, true, L"", L"", 7, L"ann", L"", L""},
        {7, true, true, L"", L"", -1, L"", L"", L""},
        {7, false, false, L"bob", L"", 7, L"bob", L"p.exe", L"c:\\b\\p.exe"},
        {7, false, false, L"", L"q", 7, L"ann", L"q", L"c:\\b\\p.exe"},
        {8, false, false, L"", L"", 8, L"", L"", L""},
        {0, false, false, L"", L"", -1, L"", L"", L""},
        {-7, false, false, L"", L"", -1, L"", L"", L""},
    };
    for (const Case& c : cases) {
        IDSEvent event;
        event.SetUserName(c.oldUser);
        event.SetProcessName(c.oldName);
        event.SetProcess(c.pid, c.keepUser, c.keepName);
        EXPECT_EQ(event.GetProcessId(), c.id);
        EXPECT_EQ(event.GetUserName(), c.user);
        EXPECT_EQ(event.GetProcessName(), c.name);
        EXPECT_EQ(event.GetProcessFullName(), c.path);
    }
    IDSEvent event;
    event.SetProcessPath(L"d:\\q");
    event.SetProcess(7, false, false);
    EXPECT_EQ(event.GetProcessFullName(), L"d:\\q");
}

IDSEvent fullEvent() {
    IDSEvent event = eventOf(sourceKind::FileWatch, {L"P", L"", L"\x4E2D"});
    event.SetUserName(L"user");
    event.SetMachineName(L"machine");
    event.SetAgentLabel(L"label");
    event.SetAgentIp(L"ip");
    event.SetProcessId(0x01020304);
    event.SetProcessPath(L"c:\\p");
    event.SetExtraText(L"extra");
    event.SetSessionId(2);
    event.SetDomainName(L"domain");
    event.SetEventClass(1);
    event.SetEventText(L"text");
    event.SetRawText(L"raw");
    event.SetCollectTime(0xF0000001);
    event.SetPolicyGuid(L"guid");
    event.SetPolicyName(L"policy");
    event.SetRuleId(0xFFFFFFFF);
    event.SetRuleName(L"rule");
    event.SetSequenceField(5);
    event.SetPriority(L"60");
    event.SetFileName(L"file");
    event.SetReservedNumber(-3);
    event.SetCorrelation(L"corr");
    event.SetUserDefinedText(L"mine");
    event.SetFileCount(9);
    return event;
}

std::string number(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(value >> shift & 0xFF);
    }
    return bytes;
}

std::string text(std::u16string_view units) {
    std::string bytes = number(static_cast<std::uint32_t>(units.size()));
    for (const char16_t unit : units) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

std::string fullRecord() {
    return text(u"user") + text(u"machine") + text(u"label") + text(u"ip") + number(0x01020304) +
           text(u"p") + text(u"c:\\p") + text(u"extra") + number(2) + text(u"domain") + number(1) +
           text(u"text") + number(0xF0000001) + text(u"guid") + text(u"policy") +
           number(0xFFFFFFFF) + text(u"rule") + number(5) + number(60) + text(u"file") +
           number(0xFFFFFFFD) + text(u"corr") + number(3) + text(u"P") + text(u"") +
           text(u"\u4E2D");
}

TEST(IDSEvent, RecordHoldsItsFieldsInOrder) {
    std::stringstream stream;
    fullEvent().WriteObject(stream);
    EXPECT_EQ(stream.str(), fullRecord());

    IDSEvent read = eventOf(sourceKind::LogWatch, {L"gone"});
    read.ReadObject(stream);
    std::stringstream again;
    read.WriteObject(again);
    EXPECT_EQ(again.str(), fullRecord());
    EXPECT_EQ(read.GetCollectTime(), 0xF0000001);
    EXPECT_EQ(read.GetSourceKind(), sourceKind::LogWatch);
    EXPECT_EQ(read.GetRawText() + read.GetUserDefinedText(), L"");
    EXPECT_EQ(read.GetControlFlags() + read.GetFileCount(), 0U);
}

TEST(IDSEvent, ACutOrForgedRecordThrows) {
    const std::string whole = fullRecord();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::istringstream cut(whole.substr(0, size));
        IDSEvent event;
        EXPECT_THROW(event.ReadObject(cut), SerializeException) << size;
    }
    std::string forged = whole;
    forged.replace(whole.size() - 16, 4, number(0xFFFFFFFF));
    std::istringstream stream(forged);
    IDSEvent event;
    EXPECT_THROW(event.ReadObject(stream), SerializeException);

    event.SetFileName(std::wstring(2049, L'x'));
    std::ostringstream out;
    EXPECT_THROW(event.WriteObject(out), SerializeException);
}

TEST(IDSEvent, PrintedFormGoesIntoAFile) {
    IDSEvent event = fullEvent();
    event.SetCollectTime(1384909323);
    const std::wstring form =
        L"-------------------------------------------\n"
        L"COLLECT TIME   : " +
        DateTime::FormatTimeStamp(1384909323, 0) +
        L"\nSEVERITY       : MEDIUM\n"
        L"POLICY GUID    : guid\n"
        L"POLICY         : policy\n"
        L"RULE           : rule\n"
        L"CORRELATION    : corr\n"
        L"EVENT TYPE     : 1\n"
        L"USER NAME      : user\n"
        L"SYSTEM NAME    : machine\n"
        L"SYSTEM SOFTID  : label\n"
        L"PROCESS ID     : 16909060\n"
        L"PROCESS NAME   : c:\\p\n"
        L"SESSION ID     : 2\n"
        L"DOMAIN NAME    : domain\n"
        L"AGENT IP ADDR  : ip\n"
        L"EVENT TEXT     : text\n"
        L"\n";
    EXPECT_EQ(event.GetPrintedForm(), form);

    const testing::TempDir folder;
    EXPECT_FALSE(event.WriteToFile(folder.path(L"none\\event.txt")));
    EXPECT_EQ(event.GetOutputPath(), L"");
    folder.write("event.txt", std::string(2000, 'x'));
    EXPECT_TRUE(event.WriteToFile(folder.path(L"event.txt")));
    EXPECT_EQ(event.GetOutputPath(), folder.path(L"event.txt"));
    EXPECT_EQ(folder.read("event.txt"), narrow(form));
}

}  // namespace
}  // namespace lathwind
