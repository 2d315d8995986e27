#include <cerrno>
#include <functional>
#include <gtest/gtest.h>

#include "actions/EventFilePaths.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/WatchedLogFile.h"
#include "support/FakeFiles.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/TempDir.h"
#include "utils/AgentInfo.h"
#include "utils/IniFile.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::LogCapture;
using testing::ServiceOverride;
using testing::TempDir;
using Texts = std::vector<std::wstring>;

constexpr std::wstring_view kHead = L"\n\nMessage: ";

// A list's entry for the log, from lines of its section.
LogFileProperties entry(const std::wstring& lines) {
    IniFile ini;
    ini.parse(L"[Log Files]\nFiles=1\n[File1]\n" + lines);
    LogFileProperties properties;
    EXPECT_TRUE(LogFileProperties::ReadFromIni(ini, properties, 1));
    return properties;
}

class WatchedLogFileReadTest : public ::testing::Test {
protected:
    std::wstring path() const { return toLower(folder_.path(L"app.log")); }
    void write(std::string_view bytes) const { folder_.write("app.log", bytes); }
    void append(std::string_view bytes) const {
        write((folder_.exists("app.log") ? folder_.read("app.log") : std::string()).append(bytes));
    }

    // Follows the log from its start.
    void follow(const std::wstring& lines = {}) {
        const LogFileProperties properties = entry(lines);
        log_ = std::make_unique<WatchedLogFile>(path(), &properties, ownName_);
        log_->InitializeEntity(true);
        log_->SetOffset(0);
    }

    EventList notify(FileAction action = FileAction::Modified) {
        EventList events;
        FileNotificationInfo note(path(), action, 0);
        note.virtualName = L"machine";
        const std::size_t count = log_->ProcessNotification(events, note);
        EXPECT_EQ(count, events.size());
        return events;
    }

    static Texts messagesOf(const EventList& events) {
        Texts messages;
        for (const auto& event : events) {
            const std::wstring& text = event->GetEventText();
            messages.push_back(text.substr(text.find(kHead) + kHead.size()));
        }
        return messages;
    }
    Texts lines(FileAction action = FileAction::Modified) { return messagesOf(notify(action)); }

    TempDir folder_;
    std::wstring ownName_;
    std::unique_ptr<WatchedLogFile> log_;
};

TEST_F(WatchedLogFileReadTest, ALineComesOnceItIsComplete) {
    write("old\r\n");
    follow();
    EXPECT_EQ(lines(), Texts{L"old"});
    EXPECT_EQ(log_->GetProperties().GetDelimiter(), L"\n");
    append("half");
    EXPECT_EQ(lines(), Texts());
    EXPECT_EQ(log_->GetOffset(), 5u);
    append(" a line \t\r\n\r\nnext");
    EXPECT_EQ(lines(), (Texts{L"half a line", L""}));
    EXPECT_EQ(lines(), Texts());
}

TEST_F(WatchedLogFileReadTest, AMarkIsSkippedAndNothingElse) {
    struct Case {
        const wchar_t* entry;
        std::string_view bytes;
        Texts lines;
    };
    const Case cases[] = {
        {L"",
         "\xEF\xBB\xBF"
         "abc\n",
         {L"abc"}},
        {L"Encoding=UTF-8", "abc\n", {L"abc"}},
        {L"Encoding=UTF-8", "\xEF\xBB", {}},
        {L"Delimiter=\\n",
         std::string_view("\xFF\xFE"
                          "a\0\n\0",
                          6),
         {L"a"}},
        {L"Delimiter=\\n\nEncoding=UTF-16", std::string_view("a\0\n\0", 4), {L"a"}},
        {L"Delimiter=\\n\nEncoding=UTF-16", std::string_view("a\0\n", 3), {}},
    };
    for (const Case& c : cases) {
        write(c.bytes);
        follow(c.entry);
        EXPECT_EQ(lines(), c.lines) << c.bytes;
        EXPECT_EQ(log_->GetOffset(), c.lines.empty() ? 0 : c.bytes.size());
    }
}

TEST_F(WatchedLogFileReadTest, AMarkThatCameLaterCounts) {
    write("");
    follow(L"Delimiter=\\n");
    EXPECT_EQ(log_->GetEncoding(), L"ANSI");
    EXPECT_EQ(lines(), Texts());
    write(
        std::string_view("\xFF\xFE"
                         "a\0\n\0b\0",
                         8));
    EXPECT_EQ(lines(), Texts{L"a"});
    append(std::string_view("\n\0", 2));
    EXPECT_EQ(lines(), Texts{L"b"}) << log_->GetOffset();
    write("c\n");
    EXPECT_EQ(lines(), Texts{L"c"}) << "its successor has none";
}

TEST_F(WatchedLogFileReadTest, AServiceLogIsReadFromItsStartAtAnyRate) {
    setEventFilePaths(folder_.path(L"Events.csv"), {});
    for (const auto& [name, isService] :
         {std::pair{"qvripsservice.log", true}, {"app.log", false}}) {
        folder_.write(name, "one\ntwo\n");
        log_ = std::make_unique<WatchedLogFile>(folder_.path(widen(name)), nullptr, L"");
        EXPECT_EQ(lines().size(), isService ? 2u : 0u) << "the snapshot is that of now";
        EXPECT_EQ(lines(), Texts());
    }
    setEventFilePaths({}, {});
}

// Settings of the test's own, from "../system/LocalAgent.ini".
class WatchedLogFileSettingsTest : public WatchedLogFileReadTest {
protected:
    WatchedLogFileSettingsTest() {
        folder_.makeFolder("bin");
        platform::files().currentDirectory(before_);
        platform::files().setCurrentDirectory(narrow(folder_.path(L"bin")));
    }
    ~WatchedLogFileSettingsTest() override {
        platform::files().setCurrentDirectory(narrow(before_));
    }
    void configure(const std::string& lines) const {
        folder_.write("system/LocalAgent.ini", lines);
    }

    std::wstring before_;
};

TEST_F(WatchedLogFileSettingsTest, APassLeavesAFifthOfTheQueue) {
    std::string text;
    Texts expected;
    for (int i = 0; i < 250; ++i) {
        text += std::to_string(i) + "\n";
        expected.push_back(std::to_wstring(i));
    }
    for (const char* close : {"0", "1"}) {
        configure(
            "[Event Management]\nFile Collector Events Limit=104\n[File Collector]\n"
            "Close Log File After Read=" +
            std::string(close) + "\n");
        write(text);
        follow();
        Texts all;
        for (const std::size_t count : {84u, 84u, 82u, 0u}) {  // the file does not change
            const Texts some = lines();
            EXPECT_EQ(some.size(), count);
            EXPECT_EQ(log_->HasUnreadLines(), count == 84);
            all.insert(all.end(), some.begin(), some.end());
        }
        EXPECT_EQ(all, expected);
    }
}

TEST_F(WatchedLogFileReadTest, LinesPassTheFilter) {
    const std::wstring filter = L"Delimiter=\\n\nStringsToParse=1\nS1=";
    const Texts all = {L"user ann denied", L"user bob granted", L"nobody denied"};
    const std::pair<std::wstring, Texts> cases[] = {
        {L"", all},
        {L"denied", {all[0], all[2]}},
        {L"den*", {}},  // text, no pattern
        {L"Denied", {}},
        {L"user {X} denied", {all[0]}},
        {L"us?r {X} gr*", {all[1]}},
        {L"{X}d{Y}", {all[0], all[1], all[2]}},
        {L"{X}", all},
        {L"*{X}", {}},  // invalid
    };
    std::string wide = "\xFF\xFE";
    for (const std::wstring& line : all) {
        for (const wchar_t unit : line + L"\n") {
            wide += {static_cast<char>(unit), '\0'};
        }
    }
    for (const auto& [pattern, expected] : cases) {
        for (const std::string& bytes :
             {narrow(all[0] + L"\r\n" + all[1] + L"\n" + all[2] + L"\n"), wide}) {
            write(bytes);
            follow(filter + pattern);
            EXPECT_EQ(lines(), expected) << narrow(pattern);
        }
    }
    write("one END\ntwo END\n");
    follow(L"Delimiter=END\\n\nIncludeDelimiter=1\nStringsToParse=1\nS1=one END");
    EXPECT_EQ(lines(), Texts{L"one END"}) << "the delimiter is part of the line";
}

TEST_F(WatchedLogFileReadTest, WhatAnEventHolds) {
    write("old\n");
    follow();
    EXPECT_EQ(lines().size(), 1u);
    append("some text \n");
    const EventList events = notify();
    ASSERT_EQ(events.size(), 1u);
    const IDSEvent& event = *events.front();
    EXPECT_EQ(event.GetFileName(), path());
    EXPECT_EQ(event.GetEventText(),
              L"Logfile event detected.\nFilename: " + path() + L"\n\nMessage: some text");
    EXPECT_EQ(event.GetSourceKind(), sourceKind::LogWatch);
    EXPECT_EQ(event.GetValues(), (Texts{L"P", path(), L"M", L"", L"", L"4", L"15", L"some text"}));
    EXPECT_EQ(event.GetField(eventField::Description), L"some text");
    EXPECT_EQ(event.GetSystemState(), 0u) << "nothing names it";
}

TEST_F(WatchedLogFileReadTest, WhereTheVirtualNameComesFrom) {
    struct Case {
        const wchar_t* entry;
        const wchar_t* ownName;
        const wchar_t* name;
        std::uint32_t state;
    };
    const std::wstring pattern = L"StringsToParse=1\nS1=user {USER_NAME} of {VIRTUAL_TAG}\n";
    const Case cases[] = {
        {L"", L"", L"", 0},
        {L"", L"own", L"own", 0x302},
        {L"VirtualName=listed", L"own", L"listed", 0x302},
        {L"VirtualName=of {USER_NAME}", L"own", L"of ann", 0x302},
        {L"StringsToParse=1\nS1=user {USER_NAME} of {VIRTUAL_TAG}\nVirtualName=x", L"own", L"host",
         0x202},
        {L"StringsToParse=1\nS1={System State} {USER_NAME}\nVirtualName=x", L"", L"x", 0},
    };
    write("user ann of host\n");
    for (const Case& c : cases) {
        ownName_ = c.ownName;
        const bool hasPattern = std::wstring(c.entry).find(L"S1") != std::wstring::npos;
        follow(hasPattern ? c.entry
                          : std::wstring(L"StringsToParse=1\nS1=user {USER_NAME} of\n") + c.entry);
        const EventList events = notify();
        ASSERT_EQ(events.size(), 1u);
        const IDSEvent& event = *events.front();
        EXPECT_EQ(event.GetField(eventField::VirtualTag), c.name);
        if (c.state != 0 || !hasPattern) {
            EXPECT_EQ(event.GetSystemState(), c.state) << narrow(c.name);
        } else {
            EXPECT_NE(event.GetControlFlags() & controlFlag::SystemState, 0u);
            EXPECT_NE(event.GetSystemState(), 0x302u) << "the line's own by force";
        }
    }
}

TEST_F(WatchedLogFileReadTest, InjectedRecords) {
    const std::pair<const wchar_t*, std::uint32_t> states[] = {
        {L"0", 0x804}, {L"1", 0x404}, {L"2", 0x46}, {L"3", 0x84}, {L"-1", 0x204}};
    for (const auto& [sourceType, state] : states) {
        const std::wstring type = std::wstring(L"SourceType=") + sourceType + L"\n";
        write("MSOF,x\r\na,b\r\nMREP,c\r\n");
        follow(type + L"InjectEvent=1");
        const EventList records = notify();
        const bool isCsv = state == 0x804;
        ASSERT_EQ(records.size(), isCsv ? 2u : 3u) << "a marker is no event";
        const IDSEvent& record = **std::next(records.begin(), isCsv ? 0 : 1);
        EXPECT_EQ(record.GetValues(), (Texts{L"a", L"b"}));
        EXPECT_EQ(record.GetSystemState(), state);
        EXPECT_EQ(records.back()->GetSystemState(), 0u);

        write("a,b\r\n0\r\nmessage \r\nEND\r\n");
        follow(type + L"InjectEvent=2\nDelimiter=END\\l");
        const EventList events = notify();
        ASSERT_EQ(events.size(), 1u) << "line ends count within the record";
        EXPECT_EQ(events.front()->GetEventText(), L"message\r\n");
        EXPECT_EQ(events.front()->GetMachineName(), L"machine");
        EXPECT_EQ(events.front()->GetSystemState(), state);
    }
    write("a,b\r\nMEOF,x\r\n");
    follow(L"InjectEvent=1\nSourceType=0");
    EXPECT_EQ(notify().size(), 1u);
    EXPECT_FALSE(folder_.exists("app.log")) << "all of it was taken";
    EXPECT_EQ(log_->GetOffset(), 0u) << "for the next file of that name";
}

TEST_F(WatchedLogFileReadTest, ALineWithoutAnEndIsReadInPiecesAndAFewAtATime) {
    constexpr std::size_t kLimit = LogLineReader::Sizes().lineLimit;
    write(std::string(10 * kLimit + 100, 'x'));
    follow();
    const LogCapture debug;
    for (const std::size_t count : {8u, 2u}) {
        EXPECT_TRUE(lines() == Texts(count, std::wstring(kLimit, L'x')));  // too long to print
        EXPECT_EQ(log_->HasUnreadLines(), count == 8);
    }
    EXPECT_EQ(log_->GetOffset(), 10 * kLimit);
    EXPECT_TRUE(debug.hasDebug(L"Line without an end in logwatch file: " + path() +
                               L", read in pieces of 1048576 bytes"));
    append("yz\nnext\n");
    EXPECT_EQ(lines(), (Texts{std::wstring(100, L'x') + L"yz", L"next"}));
}

// The real files, with something that happens at an opening, or goes wrong.
class TroubledFiles : public testing::FakeFiles {
public:
    explicit TroubledFiles(platform::Files& real) : real_(real) {}
    std::FILE* openStream(const std::wstring& path, const std::wstring& mode,
                          platform::Sharing sharing) override {
        if (path.ends_with(L"app.log") && --untilEvent == 0) {
            event();
        }
        errno = EACCES;
        return opens ? real_.openStream(path, mode, sharing) : nullptr;
    }
    int seekStream(std::FILE* stream, std::int64_t offset, int origin) override {
        errno = EIO;
        return !seeks && origin == SEEK_SET ? -1 : real_.seekStream(stream, offset, origin);
    }
    std::int64_t tellStream(std::FILE* stream) override { return real_.tellStream(stream); }
    ErrorCode survey(const std::wstring& path, std::uint32_t information,
                     platform::Survey& found) override {
        return real_.survey(path, information, found);
    }
    bool hasStreams() const override { return false; }

    int untilEvent = 0;  // openings of the log, the one that it precedes included
    std::function<void()> event;
    bool opens = true;
    bool seeks = true;

private:
    platform::Files& real_;
};

TEST_F(WatchedLogFileReadTest, AnUnreadableLogGivesNoEvents) {
    for (const bool opens : {false, true}) {
        write("one\ntwo\n");
        follow();
        const LogCapture debug;
        {
            TroubledFiles files(platform::files());
            files.opens = opens;
            files.seeks = false;
            const ServiceOverride<platform::Files> answers(platformFactory.files, files);
            EXPECT_EQ(lines(), Texts());
        }
        EXPECT_TRUE(debug.hasDebug(opens ? L"Failed to seek in logwatch file: " + path() +
                                               L" error: " + std::to_wstring(EIO) + L"\n"
                                         : L"Failed to open logwatch file: " + path() +
                                               L" error: " + std::to_wstring(EACCES) + L"\n"));
        if (!opens) {
            EXPECT_TRUE(log_->HasUnreadLines());
            EXPECT_EQ(lines(), (Texts{L"one", L"two"})) << "the file does not change";
        }
        EXPECT_FALSE(log_->HasUnreadLines());
    }
}

TEST_F(WatchedLogFileReadTest, ALogThatIsReplacedWhileItIsReadComesOnce) {
    const std::string old(2000, 'x');
    std::string blocks;
    while (blocks.size() < 2 * LogLineReader::Sizes().block) {
        blocks += old + "\n";
    }
    for (const int opening : {1, 2}) {
        for (const bool isGone : {false, true}) {
            write(old + "\n");
            follow();
            EXPECT_EQ(lines().size(), 1u);
            append(blocks);
            {
                TroubledFiles files(platform::files());
                files.untilEvent = opening;
                files.event = [&] {
                    std::filesystem::remove(folder_.native("app.log"));
                    if (!isGone) {
                        write("new\n");
                    }
                };
                const ServiceOverride<platform::Files> answers(platformFactory.files, files);
                const Texts all = lines();
                EXPECT_EQ(all.size() > 1, opening == 2);
                EXPECT_EQ(!all.empty() && all.back() == L"new", !isGone);
            }
            EXPECT_FALSE(log_->HasUnreadLines());
            append(isGone ? "new\n" + blocks + blocks : "next\n");
            EXPECT_EQ(lines().front(), isGone ? L"new" : L"next");
        }
    }
}

}  // namespace
}  // namespace lathwind
