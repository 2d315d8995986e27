#include <array>
#include <gtest/gtest.h>
#include <sstream>

#include "actions/EventFilePaths.h"
#include "filewatch/LogFileProperties.h"
#include "support/LogCapture.h"
#include "support/StateFileBuilder.h"
#include "utils/IniFile.h"

namespace lathwind {
namespace {

using lathwind::testing::LogCapture;
using lathwind::testing::ParsedEntity;
using lathwind::testing::StateFileBuilder;

LogFileProperties readEntry(const std::wstring& entry) {
    IniFile ini;
    ini.parse(L"[Log Files]\nFiles=1\n[File1]\n" + entry);
    LogFileProperties properties;
    EXPECT_TRUE(LogFileProperties::ReadFromIni(ini, properties, 1));
    return properties;
}

TEST(LogFileProperties, Defaults) {
    const LogFileProperties fresh;
    EXPECT_EQ(fresh.GetSourceType(), -1);
    const LogFileProperties read = readEntry(L"Description=not read\n");
    EXPECT_TRUE(read == fresh);
    EXPECT_EQ(read.GetDelimiter(), L"\r\n");
    EXPECT_EQ(read.GetEncoding(), L"ANSI");
    EXPECT_EQ(read.GetSourceType(), 0) << "an entry's default is not that of an object";
}

TEST(LogFileProperties, Delimiters) {
    const std::pair<std::wstring_view, std::wstring_view> cases[] = {
        {L"\\n", L"\n"},      {L"\\l", L"\r\n"},    {L"\\q", L"\\q"},
        {L"\\r\\t", L"\r\t"}, {L"plain", L"plain"}, {L"", L""},
        {L"end\\", L"end\\"}, {L"\\\\n", L"\\\n"},  {L"a\\nb\\", L"a\nb\\"},
    };
    for (const auto& [text, delimiter] : cases) {
        LogFileProperties properties;
        properties.SetDelimiter(text);
        EXPECT_EQ(properties.GetDelimiter(), delimiter);
    }
}

TEST(LogFileProperties, NumbersAreCorrected) {
    struct Case {
        std::wstring value;
        int inject;
        std::int32_t source;
        bool include;
    };
    const Case cases[] = {
        {L"0", 0, 0, false},   {L"1", 1, 1, true},    {L"2", 2, 2, false},
        {L"3", 2, 3, false},   {L"4", 2, -1, false},  {L"7", 2, -1, false},
        {L"-1", 2, -1, false}, {L"-2", 2, -1, false}, {L"256", 0, -1, false},
    };
    for (const Case& c : cases) {
        const LogCapture log;
        const LogFileProperties read =
            readEntry(L"FileName=A.log\nInjectEvent=" + c.value + L"\nSourceType=" + c.value +
                      L"\nIncludeDelimiter=" + c.value);
        EXPECT_EQ(read.GetInjectEvent(), c.inject);
        EXPECT_EQ(read.GetSourceType(), c.source);
        EXPECT_EQ(read.GetIncludeDelimiter(), c.include);
        EXPECT_EQ(log.hasDebug(L"Invalid SourceType=-1 for Log File: a.log"),
                  c.source == -1 && c.value != L"-1");
    }
}

TEST(LogFileProperties, FileNamesAreExpandedAndFolded) {
    EXPECT_EQ(readEntry(L"FileName=C:\\Logs\\App.LOG").GetFileName(), L"c:\\logs\\app.log");
    const std::wstring entry = L"FileName=%IPSCSVPATH%\\QVR*.log";
    EXPECT_EQ(readEntry(entry).GetFileName(), L"..\\log\\qvr*.log");
    setEventFilePaths(L"D:\\Csv\\Events.csv", {});
    EXPECT_EQ(readEntry(entry).GetFileName(), L"d:\\csv\\qvr*.log");
    EXPECT_EQ(eventFilePath(EventFile::RealTime), L"../log/QVRRTEvents.csv");
    setEventFilePaths({}, {});
    EXPECT_EQ(readEntry(L"FileName=%no_Such_Variable_%").GetFileName(), L"%no_such_variable_%");
}

TEST(LogFileProperties, PatternsWarnOfUnknownMacros) {
    struct Case {
        std::wstring entry;
        std::wstring pattern;
        std::size_t warnings;
    };
    const Case cases[] = {
        {L"StringsToParse=1\nS1=a {USER_NAME} b", L"a {USER_NAME} b", 0},
        {L"StringsToParse=9\nS1={User Name}x{nope}y{worse}", L"{User Name}x{nope}y{worse}", 2},
        {L"StringsToParse=1\nS1=no tag", L"no tag", 0},
        {L"StringsToParse=1\nS1={one}*{two}", L"{one}*{two}", 1},
        {L"StringsToParse=0\nS1={nope}", L"", 0},
        {L"S1={nope}", L"", 0},
    };
    for (const Case& c : cases) {
        const LogCapture log;
        EXPECT_EQ(readEntry(c.entry).GetParseString(), c.pattern);
        ASSERT_EQ(log.messages.size(), c.warnings);
    }
    const LogCapture log;
    readEntry(L"StringsToParse=1\nS1={nope}");
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].severity, Severity::Warning);
    EXPECT_EQ(log.messages[0].text, L"FWC_0026: Invalid macro(s) specified in parse string: nope");
}

TEST(LogFileProperties, VirtualNamesTakeTheirRuntimeForm) {
    const std::pair<std::wstring, std::wstring> cases[] = {
        {L"plain } name", L"plain } name"},
        {L"vm-{ user name }-{USER_NAME}", L"vm-{user name}-{USER_NAME}"},
        {L"{ nobody }", L"{ nobody }"},
        {L"cut {", L"cut "},
    };
    for (const auto& [text, name] : cases) {
        EXPECT_EQ(readEntry(L"VirtualName=" + text).GetVirtualName(), name);
    }
}

TEST(LogFileProperties, NoEntryLeavesTheObjectAlone) {
    IniFile ini;
    LogFileProperties properties;
    properties.SetFileName(L"kept");
    EXPECT_EQ(LogFileProperties::GetEntryCount(ini), 0);
    EXPECT_FALSE(LogFileProperties::ReadFromIni(ini, properties, 1));
    ini.parse(L"[log files]\nfiles=3\n");
    EXPECT_EQ(LogFileProperties::GetEntryCount(ini), 3);
    EXPECT_FALSE(LogFileProperties::ReadFromIni(ini, properties, 0));
    EXPECT_FALSE(LogFileProperties::ReadFromIni(ini, properties, -1));
    EXPECT_EQ(properties.GetFileName(), L"kept");
}

TEST(LogFileProperties, Records) {
    ParsedEntity fields;
    fields.fileName = "a.log";
    fields.parseString = "x";
    fields.includeDelimiter = 1;
    fields.delimiter = "\n";
    fields.entryEncoding = "UTF-8";
    for (const std::uint16_t version : std::to_array<std::uint16_t>({1, 8, 9, 12})) {
        const std::string record = StateFileBuilder(version).logProperties(fields).bytes();
        std::istringstream in(record);
        LogFileProperties properties;
        properties.ReadObjectOfVersion(in, version);
        EXPECT_EQ(properties.GetFileName(), L"a.log");
        EXPECT_TRUE(properties.GetIncludeDelimiter());
        EXPECT_EQ(properties.GetEncoding(), version >= 9 ? L"UTF-8" : L"ANSI");
        EXPECT_EQ(in.tellg(), static_cast<std::streamoff>(record.size()));
        if (version == 12) {
            std::ostringstream out;
            properties.WriteObject(out);
            EXPECT_EQ(out.str(), record);
        }
    }
}

TEST(LogFileProperties, SourceTypeTakesNoPartInEquality) {
    EXPECT_TRUE(readEntry(L"SourceType=1") == readEntry(L"SourceType=2"));
    for (const auto* entry : {L"Delimiter=x", L"IncludeDelimiter=1", L"FileName=x", L"Encoding=x",
                              L"StringsToParse=1\nS1=x", L"VirtualName=x", L"InjectEvent=1"}) {
        EXPECT_FALSE(readEntry(entry) == LogFileProperties());
    }
}

}  // namespace
}  // namespace lathwind
