#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <system_error>

#include "support/LogCapture.h"
#include "support/SleeplessHost.h"
#include "support/TempDir.h"
#include "utils/DateTime.h"
#include "utils/RotatingLog.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using testing::LogCapture;
using testing::TempDir;

std::int64_t localTime(const wchar_t* text) {
    return DateTime::ParseDate(text);
}

// Header and footer name the other file only.
class TestLog : public RotatingLog {
public:
    using RotatingLog::RotatingLog;
    std::int64_t currentTime() override { return now; }
    void writeHeader(std::int64_t, const std::wstring& other) override {
        append(L"head " + FileIO::GetFileName(other) + L"\n");
    }
    void writeFooter(std::int64_t, const std::wstring& other) override {
        append(L"foot " + FileIO::GetFileName(other) + L"\n");
    }
    void reschedule(bool stop) override { reschedules += stop ? 100 : 1; }

    std::int64_t now = localTime(L"2013-11-20 01:02:03");
    int reschedules = 0;
};

class RotatingLogFiles : public ::testing::Test {
protected:
    // Text of a file without the carriage returns that text mode adds on Windows; "-" if there
    // is none.
    std::string text(const std::string& name) const {
        if (!folder_.exists(name)) {
            return "-";
        }
        std::string bytes = folder_.read(name);
        std::erase(bytes, '\r');
        return bytes;
    }

    TempDir folder_;
    LogCapture log_;
    testing::SleeplessHost host_;
};

TEST(RotatingLogNames, StepOnByOne) {
    const struct {
        const wchar_t* path;
        const wchar_t* next;
    } rows[] = {
        {L"c:\\logs\\a.csv", L"c:\\logs\\a1.csv"},
        {L"c:\\logs\\a7.csv", L"c:\\logs\\a8.csv"},
        {L"c:\\logs\\a99.csv", L"c:\\logs\\a100.csv"},
        {L"c:\\logs\\a009.csv", L"c:\\logs\\a10.csv"},
        {L"c:\\logs\\a5b.csv", L"c:\\logs\\a5b1.csv"},
        {L"c:\\logs\\a", L"c:\\logs\\a1"},
        {L"c:\\logs\\20131120.csv", L"c:\\logs\\20131121.csv"},
        {L"c:\\logs\\18446744073709551615.csv", L"c:\\logs\\18446744073709551616.csv"},
        {L"../log/a.b.csv", L"..\\log\\a.b1.csv"},
        {L"a9.csv", L"a10.csv"},
        {L"c:\\a.csv", L"c:\\a1.csv"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(RotatingLog::nextName(row.path), row.next) << narrow(row.path);
    }
}

TEST_F(RotatingLogFiles, ShowsEachLineAtOnceAndMakesItsFolder) {
    TestLog log(folder_.path(L"one\\two\\x.log"), 3, 1, RotatingLog::Mode::Size, true);
    EXPECT_FALSE(log.write(L"lost\n"));  // never opened
    ASSERT_TRUE(log.open());
    EXPECT_TRUE(log.write(L"first\n"));
    EXPECT_TRUE(log.write(L"second"));
    EXPECT_EQ(text("one/two/x.log"), "first\nsecond");
    ASSERT_TRUE(log.open());  // goes on behind what is there
    EXPECT_TRUE(log.write(L"\n"));
    EXPECT_EQ(text("one/two/x.log"), "first\nsecond\n");
}

TEST_F(RotatingLogFiles, ShiftsTheBackupsOfAKeptName) {
    TestLog log(folder_.path(L"x.log"), 10, 0, RotatingLog::Mode::Size, true);
    ASSERT_TRUE(log.open());
    ASSERT_TRUE(log.write(L"0\n"));  // an empty file does not roll
    for (int line = 1; line <= 12; ++line) {
        ASSERT_TRUE(log.write(std::to_wstring(line) + L"\n"));
        EXPECT_EQ(text("x.log"), std::to_string(line) + "\n");
        for (int number = 1; number <= 11; ++number) {
            const int held = line - number;
            EXPECT_EQ(text("x.log." + std::to_string(number)),
                      held < 0 || number > 10 ? "-" : std::to_string(held) + "\n");
        }
    }
    EXPECT_TRUE(log_.messages.empty());
}

TEST_F(RotatingLogFiles, RollsWhenTheSizeExceedsTheLimit) {
    TestLog log(folder_.path(L"x.log"), 0, 1, RotatingLog::Mode::Size, true);
    ASSERT_TRUE(log.open());
    ASSERT_TRUE(log.write(std::wstring(1024, L'a')));
    ASSERT_TRUE(log.write(L"b"));
    EXPECT_EQ(text("x.log").size(), 1025u);
    ASSERT_TRUE(log.write(L"c"));
    EXPECT_EQ(text("x.log"), "c");
    EXPECT_EQ(text("x.log.1").size(), 1025u);
    log.setSizeMode(std::int64_t{1} << 32);  // no size of 32 bits exceeds it
    EXPECT_EQ(log.limit(), std::int64_t{1} << 32);
    EXPECT_FALSE(log.keepsName());
    EXPECT_EQ(log.reschedules, 1);
}

TEST_F(RotatingLogFiles, LinksNumberedFilesByHeaderAndFooter) {
    TestLog log(folder_.path(L"a.csv"), 0, 0, RotatingLog::Mode::Size, false);
    ASSERT_TRUE(log.open());
    ASSERT_TRUE(log.write(L"one\n"));
    EXPECT_EQ(log.path(), folder_.path(L"a1.csv"));
    EXPECT_EQ(text("a.csv"), "head \nfoot a1.csv\n");
    EXPECT_EQ(text("a1.csv"), "head a.csv\none\n");
    log.setNoRollover();
    ASSERT_TRUE(log.write(L"two\n"));
    ASSERT_TRUE(log.open());  // a file that is there needs no header
    ASSERT_TRUE(log.write(L"three\n"));
    EXPECT_EQ(text("a1.csv"), "head a.csv\none\ntwo\nthree\n");
    log.setPath(folder_.path(L"b.csv"));
    EXPECT_FALSE(log.isOpen());
    ASSERT_TRUE(log.open(true));  // forced: no header
    EXPECT_EQ(text("b.csv"), "");
}

TEST_F(RotatingLogFiles, GoesOnInTheOldFileWhileTheNewOneCannotBeOpened) {
    TestLog log(folder_.path(L"a.csv"), 0, 0, RotatingLog::Mode::Size, false);
    folder_.makeFolder("a1.csv");
    ASSERT_TRUE(log.open());
    EXPECT_TRUE(log.write(L"one\n"));
    EXPECT_EQ(log.path(), folder_.path(L"a.csv"));
    EXPECT_EQ(text("a.csv"), "head \none\n");
    std::filesystem::remove(folder_.native("a1.csv"));
    EXPECT_TRUE(log.write(L"two\n"));  // tried again
    EXPECT_EQ(text("a.csv"), "head \none\nfoot a1.csv\n");
    EXPECT_EQ(text("a1.csv"), "head a.csv\ntwo\n");
}

TEST_F(RotatingLogFiles, ReportsARenameThatFailsOnce) {
    folder_.write("x.log.1/occupied", "");  // can neither be deleted nor replaced
    TestLog log(folder_.path(L"x.log"), 1, 0, RotatingLog::Mode::Size, true);
    ASSERT_TRUE(log.open());
    for (int line = 0; line < 4; ++line) {
        EXPECT_TRUE(log.write(L"x\n"));
    }
    EXPECT_EQ(text("x.log"), "x\nx\nx\nx\n");
    const std::wstring target = folder_.path(L"x.log.1");
    const LogCapture::Message deletion = {
        Severity::Warning, L"UT_0042: Unable to delete log file \"" + target + L"\""};
    const std::wstring rename =
        L"UT_0043: Could not rename " + folder_.path(L"x.log") + L" to " + target + L": ";
    EXPECT_EQ(std::ranges::count(log_.messages, deletion), 3);
    EXPECT_EQ(std::ranges::count_if(log_.messages,
                                    [&](const LogCapture::Message& message) {
                                        return message.severity == Severity::Warning &&
                                               message.text.starts_with(rename) &&
                                               message.text.size() > rename.size();
                                    }),
              1);
    EXPECT_EQ(log_.messages.size(), 4u);
}

TEST_F(RotatingLogFiles, RollsByDate) {
    TestLog log(folder_.path(L"a.csv"), 0, 0, RotatingLog::Mode::None, true);
    log.setDateMode(L"0 2 * * *");
    EXPECT_EQ(log.limit(), localTime(L"2013-11-20 02:00:00"));
    EXPECT_EQ(log.reschedules, 1);
    log.setDateMode(L"0 2 * * *");
    EXPECT_EQ(log.reschedules, 1);  // nothing new
    ASSERT_TRUE(log.open());
    log.now = log.limit() - 1;
    EXPECT_TRUE(log.write(L"one\n"));
    EXPECT_EQ(host_.slept, 0u);
    ++log.now;
    EXPECT_TRUE(log.write(L"two\n"));
    EXPECT_TRUE(log.write(L"three\n"));  // within the same second
    EXPECT_EQ(host_.slept, 1000u);
    EXPECT_EQ(log.limit(), localTime(L"2013-11-21 02:00:00"));
    EXPECT_EQ(log.reschedules, 2);
    EXPECT_EQ(text("a.csv"), "head \none\nfoot a1.csv\n");
    EXPECT_EQ(text("a1.csv"), "head a.csv\ntwo\nthree\n");
    log.setDateMode(L"* * * * *");  // always due
    EXPECT_TRUE(log.write(L"four\n"));
    EXPECT_EQ(text("a2.csv"), "head a1.csv\nfour\n");
}

TEST_F(RotatingLogFiles, NoticesThatItsFileIsGone) {
    TestLog log(folder_.path(L"x.log"), 3, 1, RotatingLog::Mode::Size, true);
    ASSERT_TRUE(log.open());
    ASSERT_TRUE(log.write(L"one\n"));
    std::error_code held;
    std::filesystem::remove(folder_.native("x.log"), held);
    if (held) {
        EXPECT_TRUE(log.write(L"two\n"));  // Windows keeps a file while it is open
        return;
    }
    EXPECT_FALSE(log.write(L"two\n"));
    EXPECT_FALSE(log.isOpen());
    ASSERT_TRUE(log.open());
    EXPECT_TRUE(log.write(L"three\n"));
    EXPECT_EQ(text("x.log"), "three\n");
}

}  // namespace
}  // namespace lathwind
