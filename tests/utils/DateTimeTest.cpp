#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "support/HostDecorator.h"
#include "support/ScopedOverride.h"
#include "utils/DateTime.h"
#include "utils/RolloverSchedule.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

const TimeZone& utc() {
    return TimeZone::universal();
}

std::string utcText(std::int64_t seconds) {
    return narrow(DateTime(seconds, 0, utc()).Format(kDateTimePattern));
}

// One hour ahead, two in summer, whose first and last moments are given.
class SummerZone : public TimeZone {
public:
    SummerZone(std::int64_t from, std::int64_t to)
        : TimeZone(60, 120, L"Winter", L"Summer"), from_(from), to_(to) {}
    Offset offsetAt(std::int64_t seconds) const override {
        const bool daylight = seconds >= from_ && seconds < to_;
        return {daylight ? 120 : 60, daylight};
    }

private:
    std::int64_t from_;
    std::int64_t to_;
};

// 2013 as in central Europe: 31 March 02:00 to 27 October 03:00, both at 01:00 universal time.
constexpr std::int64_t kSummerStart = 1364691600;
constexpr std::int64_t kSummerEnd = 1382835600;

bool isLeap(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int lengthOf(int month, int year) {
    constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 1 && isLeap(year) ? 29 : kLengths[month];
}

// A calendar that is turned page by page.
TEST(DateTime, AgreesWithACalendarOverNineHundredYears) {
    int year = 1599, month = 11, day = 31, weekday = 5, dayOfYear = 365;
    for (std::int64_t seconds = -11676182399; year < 2500; seconds += 86400) {
        const DateTime time(seconds, 0, utc());
        ASSERT_EQ(time.GetYear(), year) << seconds;
        ASSERT_EQ(time.GetMonth(), month) << seconds;
        ASSERT_EQ(time.GetDay(), day) << seconds;
        ASSERT_EQ(time.GetDayOfWeek(), weekday) << seconds;
        ASSERT_EQ(time.GetDayOfYear(), dayOfYear) << seconds;
        ASSERT_EQ(DateTime(year, month, day, 0, 0, 1, 0, utc()).GetSeconds(), seconds);
        weekday = (weekday + 1) % 7;
        ++dayOfYear;
        if (++day > lengthOf(month, year)) {
            day = 1;
            if (++month == 12) {
                month = 0;
                dayOfYear = 1;
                ++year;
            }
        }
    }
}

TEST(DateTime, CarriesValuesOutOfRange) {
    struct Row {
        std::int32_t year, month, day, hour, minute, second, milliseconds;
        const char* text;
    };
    const Row rows[] = {
        {2013, 10, 20, 1, -1, 3, 0, "2013-11-20 00:59:03"},
        {2013, 0, 32, 0, 0, 0, 0, "2013-02-01 00:00:00"},
        {2013, 12, 1, 0, 0, 0, 0, "2014-01-01 00:00:00"},
        {2013, -1, 1, 0, 0, 0, 0, "2012-12-01 00:00:00"},
        {2012, 1, 30, 24, 60, 60, 1000, "2012-03-02 01:01:01"},
        {1970, 0, 1, 0, 0, 0, -1, "1969-12-31 23:59:59"},
        {2013, 10, 20, -1, -1, 0, 0, "2013-11-19 22:59:00"},
        {9999, 11, 31, 23, 59, 59, 0, "9999-12-31 23:59:59"},
        {0, 0, 0, 0, 0, 0, 0, "-0001-12-31 00:00:00"},
    };
    for (const Row& row : rows) {
        const DateTime time(row.year, row.month, row.day, row.hour, row.minute, row.second,
                            row.milliseconds, utc());
        EXPECT_EQ(narrow(time.Format(kDateTimePattern)), row.text);
    }
}

TEST(DateTime, HoldsSecondsWithinTheYearsItCanShow) {
    for (const std::int64_t seconds : {INT64_MIN, INT64_MAX}) {
        DateTime time(seconds, INT32_MAX, utc());
        time.AddSeconds(seconds);
        time.AddDays(INT32_MAX);
        time.set(seconds < 0 ? INT32_MIN : INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX,
                 INT32_MAX, INT32_MAX);
        EXPECT_EQ(time.GetYear() > 0, seconds > 0);
        EXPECT_FALSE(time.Format(L"%c %j %U").empty());
    }
    EXPECT_EQ(utcText(std::int64_t{1} << 32), "2106-02-07 06:28:16");
}

// Slow and obvious: the moments at which the zone's clocks show a time are found by looking at all
// of them.
TEST(DateTime, FindsTheMomentOfALocalTimeAroundClockChanges) {
    const SummerZone zone(kSummerStart, kSummerEnd);
    for (const std::int64_t change : {kSummerStart, kSummerEnd}) {
        for (std::int64_t clock = change - 4 * 3600; clock < change + 6 * 3600; clock += 600) {
            std::optional<std::int64_t> first;
            std::optional<std::int64_t> last;
            for (std::int64_t moment = clock - 3 * 3600; moment < clock + 600; moment += 600) {
                if (moment + zone.offsetAt(moment).bias * 60 == clock) {
                    first = first ? first : moment;
                    last = moment;
                }
            }
            const std::int64_t skipped = clock - 3600;  // read by winter's clock
            const DateTime face(clock, 0, utc());
            const auto at = [&](DateTime time) {
                time.set(face.GetYear(), face.GetMonth(), face.GetDay(), face.GetHour(),
                         face.GetMinute(), 0, 0);
                return time.GetSeconds();
            };
            const DateTime made(face.GetYear(), face.GetMonth(), face.GetDay(), face.GetHour(),
                                face.GetMinute(), 0, 0, zone);
            EXPECT_EQ(made.GetSeconds(), first.value_or(skipped)) << utcText(clock);
            EXPECT_EQ(at(DateTime(kSummerEnd - 86400, 0, zone)), first.value_or(skipped));
            EXPECT_EQ(at(DateTime(kSummerEnd + 86400, 0, zone)), last.value_or(skipped));
        }
    }
}

TEST(DateTime, MovesBySecondsThatPassAndByDaysOfTheCalendar) {
    const SummerZone zone(kSummerStart, kSummerEnd);
    DateTime time(2013, 9, 26, 12, 0, 0, 0, zone);  // the day before the clocks go back
    ASSERT_TRUE(time.IsDaylight());
    time.AddDays(1);
    EXPECT_EQ(narrow(time.Format(L"%d %H:%M %z %Z")), "27 12:00 +0100 Winter");
    time.AddSeconds(-86400);
    EXPECT_EQ(narrow(time.Format(L"%d %H:%M %z %Z")), "26 13:00 +0200 Summer");
    time.AddDays(-300);
    EXPECT_EQ(narrow(time.Format(kDateTimePattern)), "2012-12-30 13:00:00");
}

TEST(DateTime, FormatsEachCode) {
    const SummerZone zone(kSummerStart, kSummerEnd);
    const DateTime morning(2013, 10, 6, 0, 2, 3, 7, zone);
    const DateTime evening(2013, 5, 2, 23, 45, 59, 120, zone);
    struct Row {
        const wchar_t* pattern;
        const char* morning;
        const char* evening;
    };
    const Row rows[] = {
        {L"%a %A|%b %B", "Wed Wednesday|Nov November", "Sun Sunday|Jun June"},
        {L"%H %I %p|%M|%S|%T", "00 12 AM|02|03|007", "23 11 PM|45|59|120"},
        {L"%d|%m|%y|%Y|%j", "06|11|13|2013|310", "02|06|13|2013|153"},
        {L"%w|%U|%W", "3|44|44", "0|22|21"},
        {L"%x %X", "11/06/13 00:02:03", "06/02/13 23:45:59"},
        {L"%c", "Wed Nov 06 00:02:03 2013", "Sun Jun 02 23:45:59 2013"},
        {L"%z|%Z", "+0100|Winter", "+0200|Summer"},
        {L"100%%, %q %", "100%, %q %", "100%, %q %"},
        {L"", "", ""},
        {kCompactUtcPattern.data(), "20131106000203Z", "20130602234559Z"},
        {kShortCompactUtcPattern.data(), "131106000203Z", "130602234559Z"},
        {kCompactPattern.data(), "20131106000203", "20130602234559"},
        {kDateTimeMillisPattern.data(), "2013-11-06 00:02:03.007", "2013-06-02 23:45:59.120"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(narrow(morning.Format(row.pattern)), row.morning);
        EXPECT_EQ(narrow(evening.Format(row.pattern)), row.evening);
    }
}

TEST(DateTime, StampsWithTheZonesDistance) {
    const struct {
        std::int32_t bias;
        const char* stamp;
        const char* hours;
    } rows[] = {
        {0, "1970-01-02 00:00:00.007 Z+0000", "+0"},
        {60, "1970-01-02 01:00:00.007 Z+0100", "+1"},
        {-300, "1970-01-01 19:00:00.007 Z-0500", "-5"},
        {-210, "1970-01-01 20:30:00.007 Z-0330", "-3"},
        {765, "1970-01-02 12:45:00.007 Z+1245", "+12"},
    };
    for (const auto& row : rows) {
        const TimeZone zone(row.bias, row.bias, L"", L"");
        const DateTime time(86400, 7, zone);
        EXPECT_EQ(narrow(time.FormatTimeStamp()), row.stamp);
        EXPECT_EQ(narrow(time.Format(L"%Y-%m-%d %H:%M:%S.%T Z%z")), row.stamp);
        EXPECT_EQ(narrow(time.FormatZoneHours()), row.hours);
    }
    EXPECT_EQ(DateTime::FormatDate(0), L"");
    EXPECT_EQ(DateTime::FormatDate(1384909323), DateTime(1384909323).FormatTimeStamp());
    EXPECT_EQ(DateTime::FormatTimeStamp(-1, 999), DateTime(-1, 999).FormatTimeStamp());
}

TEST(DateTime, ParsesTwoForms) {
    constexpr std::int64_t kTime = 1384909323;
    const struct {
        const wchar_t* text;
        std::int64_t seconds;
    } rows[] = {
        {L"2013-11-20 01:02:03", kTime},
        {L"2013-11-20T01:02:03", kTime},
        {L"2013-11-20 01:02:03.456 Z+0100", kTime},
        {L"2013-11-20 01:02:3", -1},  // 18 units
        {L"2013-11-20 01:02: 3", kTime},
        {L"2013-11-20 00:62:03", kTime},  // carries
        {L"2013/11/20 01:02:03", -1},
        {L"2013-11-20_01:02:03", -1},
        {L"20x3-11-20 01:02:03", -1},
        {L"2013-  -20 01:02:03", -1},
        {L"2013-11-20 -1:02:03", -1},
        {L"1969-12-31 23:59:58", -2},
        {L"Wed Nov 20 01:02:03 2013", kTime},
        {L"xyz nOV 20 1:2:3 2013\n", kTime},
        {L" Wed  Nov\t20  01:02:03  2013 ", kTime},
        {L"Wed Nox 20 01:02:03 2013", -1},
        {L"Wed November 20 01:02:03 2013", -1},
        {L"Wed Nov 20 01:02 2013", -1},
        {L"Wed Nov 20 01:02:03:04 2013", -1},
        {L"Wed Nov 20 01:02:03", -1},
        {L"Wed Nov 20 01:02:03 2013 UTC", -1},
        {L"Wed Nov 20 01:02:03 9999999999", -1},
        {L"Sun Feb 07 06:28:16 2106", std::int64_t{1} << 32},
        {L"", -1},
        {L"    -  -     :  :  ", -1},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(DateTime::ParseDate(row.text, utc()), row.seconds) << narrow(row.text);
    }
    const wchar_t* kMonths[] = {L"Jan", L"Feb", L"Mar", L"Apr", L"May", L"Jun",
                                L"Jul", L"Aug", L"Sep", L"Oct", L"Nov", L"Dec"};
    for (std::int32_t month = 0; month < 12; ++month) {
        const std::wstring text = std::wstring(L"Day ") + kMonths[month] + L" 15 12:00:00 2020";
        EXPECT_EQ(DateTime::ParseDate(text), DateTime(2020, month, 15, 12, 0, 0).GetSeconds());
    }
}

// West of Greenwich the platform's bias is positive.
class FakeHost : public testing::HostDecorator {
public:
    using HostDecorator::HostDecorator;
    bool isDaylightAt(std::int64_t, std::int32_t& biasMinutes) override {
        ++questions;
        biasMinutes = 240;
        return true;
    }
    int questions = 0;
};
FakeHost* fakeHost = nullptr;

TEST(TimeZone, AsksThePlatformOnceAQuarterOfAnHour) {
    FakeHost host(platform::host());
    fakeHost = &host;
    const testing::ScopedOverride override(
        platformFactory.host, +[]() -> platform::Host& { return *fakeHost; });
    constexpr std::int64_t kFarQuarter = 4000000500;  // nothing else in the tests asks for it
    for (std::int64_t second = 0; second < 900; ++second) {
        const TimeZone::Offset offset =
            TimeZone::local().offsetAt(kFarQuarter / 900 * 900 + second);
        ASSERT_EQ(offset.bias, -240);
        ASSERT_TRUE(offset.daylight);
    }
    EXPECT_EQ(host.questions, 1);
    TimeZone::local().offsetAt(-1);  // not kept: it would be taken for the first quarter
    TimeZone::local().offsetAt(kFarQuarter / 900 * 900);
    EXPECT_EQ(host.questions, 2);
    TimeZone::local().offsetAt(5000000000);  // the override's answer goes with it
    TimeZone::local().offsetAt(INT64_MAX);
    EXPECT_EQ(host.questions, 4);
}

TEST(TimeZone, KnowsZonesByName) {
    EXPECT_EQ(utc().identity(), 0);
    EXPECT_EQ(TimeZone::identityOf(L"Australian Central Time"), 4);
    EXPECT_EQ(TimeZone::identityOf(L"(Arabic) Egypt Standard Time"), 14);
    EXPECT_EQ(TimeZone::identityOf(L"Midway Islands Time"), 31);
    EXPECT_EQ(TimeZone::identityOf(L"midway islands time"), -1);
}

TEST(RolloverSchedule, FindsTheNextTime) {
    const struct {
        const wchar_t* schedule;
        const wchar_t* from;
        const char* next;
    } rows[] = {
        // 2013-11-18 is a Monday.
        {L"0 0 * * 0", L"2013-11-18 10:00:00", "2013-11-25 00:00:00"},
        {L"0 11 * * 0", L"2013-11-18 10:00:00", "2013-11-25 11:00:00"},
        {L"30 6 * * 4", L"2013-11-20 01:02:03", "2013-11-22 06:30:00"},
        {L"0 0 * * 6", L"2013-11-24 12:00:00", "2013-12-01 00:00:00"},
        {L"0 0 * * 2", L"2013-11-24 12:00:00", "2013-11-27 00:00:00"},
        {L"* * * * 3", L"2013-11-20 01:02:03", "2013-11-21 22:59:00"},
        {L"0 12 15 * 3", L"2013-11-20 01:02:03", "2013-11-21 12:00:00"},
        {L"0 0 1 * *", L"2013-11-20 01:02:03", "2013-12-01 00:00:00"},
        {L"0 0 31 * *", L"2014-02-10 00:00:00", "2014-03-03 00:00:00"},
        {L"5 * 15 * *", L"2013-11-20 01:02:03", "2013-12-14 23:05:00"},
        {L"0 2 20 * *", L"2013-11-20 01:02:03", "2013-11-20 02:00:00"},
        {L"0 12 * 7 *", L"2013-11-20 12:00:00", "2013-11-21 12:00:00"},
        {L"* 5 * * *", L"2013-11-20 01:02:03", "2013-11-20 04:59:00"},
        {L"15 * * * *", L"2013-11-20 01:14:59", "2013-11-20 01:15:00"},
        {L"15 * * * *", L"2013-11-20 01:15:00", "2013-11-20 02:15:00"},
        {L"75 * * * *", L"2013-11-20 01:02:03", "2013-11-20 02:15:00"},
        {L"\"0\"  \"12\"\t* \"any month\" *", L"2013-11-20 01:02:03", "2013-11-20 12:00:00"},
        {L"* * * * *", L"2013-11-20 01:02:03", "2013-11-20 01:02:03"},
        {L"0 12 * *", L"2013-11-20 01:02:03", "2013-11-20 01:02:03"},
        {L"0 12 * * * *", L"2013-11-20 01:02:03", "2013-11-20 01:02:03"},
        {L"", L"2013-11-20 01:02:03", "2013-11-20 01:02:03"},
    };
    for (const auto& row : rows) {
        const std::int64_t from = DateTime::ParseDate(row.from, utc());
        EXPECT_EQ(utcText(RolloverSchedule::parse(row.schedule).nextTime(from, utc())), row.next)
            << narrow(row.schedule);
    }
}

// A schedule that fell back behind the present would roll over at every line.
TEST(RolloverSchedule, MovesOnThroughClockChanges) {
    const SummerZone zone(kSummerStart, kSummerEnd);
    for (const wchar_t* text : {L"30 * * * *", L"30 2 * * *", L"30 2 27 * *", L"30 2 * * 6"}) {
        const RolloverSchedule schedule = RolloverSchedule::parse(text);
        for (const std::int64_t change : {kSummerStart, kSummerEnd}) {
            for (std::int64_t from = change - 86400; from < change + 86400; from += 300) {
                const std::int64_t next = schedule.nextTime(from, zone);
                ASSERT_GT(next, from) << narrow(text) << ' ' << utcText(from);
                ASSERT_EQ(DateTime(next, 0, zone).GetMinute(), 30);
            }
        }
    }
}

}  // namespace
}  // namespace lathwind
