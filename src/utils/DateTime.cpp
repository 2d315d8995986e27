#include "utils/DateTime.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include "utils/Text.h"

// Days and dates. The calendar is counted in eras of 400 years, which all have 146097 days, and in
// years that begin on 1 March, so that the leap day is a year's last one and the lengths of the
// months before it follow one straight line: month m (March is 0) begins on day (153 m + 2) / 5 of
// its year. Both directions are then plain integer arithmetic, exact for negative years too. This
// is the well-known days-from-civil algorithm of the proleptic Gregorian calendar.
namespace lathwind {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kDaysPerEra = 146097;
constexpr std::int64_t kDaysToEpoch = 719468;  // from 0000-03-01 to 1970-01-01
constexpr std::int64_t kSecondsLimit = 60'000'000'000'000'000;

constexpr std::array<std::wstring_view, 7> kDayNames = {
    L"Sunday", L"Monday", L"Tuesday", L"Wednesday", L"Thursday", L"Friday", L"Saturday"};
constexpr std::array<std::wstring_view, 12> kMonthNames = {
    L"January", L"February", L"March",     L"April",   L"May",      L"June",
    L"July",    L"August",   L"September", L"October", L"November", L"December"};
constexpr std::size_t kShortName = 3;

constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t by) noexcept {
    return value / by - (value % by < 0 ? 1 : 0);
}

constexpr std::int64_t floorRemainder(std::int64_t value, std::int64_t by) noexcept {
    return value - floorDivide(value, by) * by;
}

// Days from 1970-01-01 to the first of the month; `month` counts from 0, 0 to 11.
constexpr std::int64_t daysToMonth(std::int64_t year, std::int64_t month) noexcept {
    const std::int64_t marchYear = month < 2 ? year - 1 : year;
    const std::int64_t marchMonth = (month + 10) % 12;
    const std::int64_t yearOfEra = floorRemainder(marchYear, 400);
    const std::int64_t dayOfYear = (153 * marchMonth + 2) / 5;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return floorDivide(marchYear, 400) * kDaysPerEra + dayOfEra - kDaysToEpoch;
}

struct Date {
    std::int64_t year;
    std::int32_t month;  // from 0
    std::int32_t day;    // from 1
};

constexpr Date dateOfDay(std::int64_t days) noexcept {
    const std::int64_t shifted = days + kDaysToEpoch;
    const std::int64_t dayOfEra = floorRemainder(shifted, kDaysPerEra);
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t marchMonth = (5 * dayOfYear + 2) / 153;
    const std::int64_t month = (marchMonth + 2) % 12;
    return {yearOfEra + floorDivide(shifted, kDaysPerEra) * 400 + (month < 2 ? 1 : 0),
            static_cast<std::int32_t>(month),
            static_cast<std::int32_t>(dayOfYear - (153 * marchMonth + 2) / 5 + 1)};
}

// Seconds of a calendar time on a clock that knows no zone. The month may be out of range like
// everything else.
constexpr std::int64_t clockSeconds(std::int64_t year, std::int64_t month, std::int64_t day,
                                    std::int64_t hour, std::int64_t minute,
                                    std::int64_t second) noexcept {
    const std::int64_t days =
        daysToMonth(year + floorDivide(month, 12), floorRemainder(month, 12)) + day - 1;
    return days * kSecondsPerDay + hour * 3600 + minute * 60 + second;
}

// The universal time at which the zone's clocks show `clock`. The zone is asked a day before and a
// day after: between two answers that differ lies a change, and `clock` may then have two meanings
// (clocks were put back; `daylight` picks one, without it the first counts) or none (they were put
// on; the time is read by the clocks as they were before).
std::int64_t universalTime(const TimeZone& zone, std::int64_t clock, std::optional<bool> daylight) {
    const TimeZone::Offset before = zone.offsetAt(clock - kSecondsPerDay);
    const TimeZone::Offset after = zone.offsetAt(clock + kSecondsPerDay);
    const std::int64_t byBefore = clock - std::int64_t{before.bias} * 60;
    const std::int64_t byAfter = clock - std::int64_t{after.bias} * 60;
    if (byBefore == byAfter) {
        return byBefore;
    }
    const TimeZone::Offset atBefore = zone.offsetAt(byBefore);
    const TimeZone::Offset atAfter = zone.offsetAt(byAfter);
    if (atAfter.bias != after.bias) {
        return byBefore;
    }
    if (atBefore.bias != before.bias) {
        return byAfter;
    }
    if (daylight.has_value() && atBefore.daylight != atAfter.daylight) {
        return atBefore.daylight == *daylight ? byBefore : byAfter;
    }
    return std::min(byBefore, byAfter);
}

// Decimal digits, filled up with zeros to `width`.
void appendNumber(std::wstring& out, std::int64_t value, int width) {
    std::array<wchar_t, 20> digits;
    auto first = digits.end();
    auto rest = static_cast<std::uint64_t>(value < 0 ? -value : value);
    while (rest != 0 || width > 0) {
        *--first = static_cast<wchar_t>(L'0' + rest % 10);
        rest /= 10;
        --width;
    }
    if (value < 0) {
        out += L'-';
    }
    out.append(first, digits.end());
}

void appendZone(std::wstring& out, std::int32_t bias) {
    const std::int32_t minutes = bias < 0 ? -bias : bias;
    out += bias < 0 ? L'-' : L'+';
    appendNumber(out, minutes / 60, 2);
    appendNumber(out, minutes % 60, 2);
}

// A number that fills the whole of `text`; leading blanks are allowed, a digit is required.
std::optional<std::int32_t> wholeNumber(std::wstring_view text) noexcept {
    constexpr std::size_t kMaxDigits = 9;  // fits 32 bits
    const std::size_t start = text.find_first_not_of(L' ');
    if (start == std::wstring_view::npos || text.size() - start > kMaxDigits) {
        return std::nullopt;
    }
    std::int32_t value = 0;
    for (const wchar_t unit : text.substr(start)) {
        if (unit < L'0' || unit > L'9') {
            return std::nullopt;
        }
        value = value * 10 + (unit - L'0');
    }
    return value;
}

struct CalendarValues {
    std::int32_t year, month, day, hour, minute, second;  // month from 0
};

// "yyyy-MM-DD HH:MM:SS": everything at its place.
std::optional<CalendarValues> parseFixedForm(std::wstring_view text) noexcept {
    constexpr std::size_t kLength = 19;
    if (text.size() < kLength || text[4] != L'-' || text[7] != L'-' ||
        (text[10] != L' ' && text[10] != L'T') || text[13] != L':' || text[16] != L':') {
        return std::nullopt;
    }
    const auto year = wholeNumber(text.substr(0, 4));
    const auto month = wholeNumber(text.substr(5, 2));
    const auto day = wholeNumber(text.substr(8, 2));
    const auto hour = wholeNumber(text.substr(11, 2));
    const auto minute = wholeNumber(text.substr(14, 2));
    const auto second = wholeNumber(text.substr(17, 2));
    if (!year || !month || !day || !hour || !minute || !second) {
        return std::nullopt;
    }
    return CalendarValues{*year, *month - 1, *day, *hour, *minute, *second};
}

std::optional<std::int32_t> monthOfName(std::wstring_view name) noexcept {
    for (std::size_t month = 0; month < kMonthNames.size(); ++month) {
        if (equalsNoCase(name, kMonthNames[month].substr(0, kShortName))) {
            return static_cast<std::int32_t>(month);
        }
    }
    return std::nullopt;
}

// Takes the next piece of `text` up to one of `separators`, runs of which count as one.
std::wstring_view takePiece(std::wstring_view& text, std::wstring_view separators) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    const std::wstring_view piece = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(piece.size());
    return piece;
}

// "Www Mmm dd HH:MM:SS yyyy": words between blanks.
std::optional<CalendarValues> parseWordForm(std::wstring_view text) noexcept {
    takePiece(text, kBlanks);  // the weekday follows from the date
    const auto month = monthOfName(takePiece(text, kBlanks));
    const auto day = wholeNumber(takePiece(text, kBlanks));
    std::wstring_view clock = takePiece(text, kBlanks);
    const auto year = wholeNumber(takePiece(text, kBlanks));
    const auto hour = wholeNumber(takePiece(clock, L":"));
    const auto minute = wholeNumber(takePiece(clock, L":"));
    const auto second = wholeNumber(takePiece(clock, L":"));
    if (!month || !day || !year || !hour || !minute || !second || !clock.empty() ||
        !trim(text).empty()) {
        return std::nullopt;
    }
    return CalendarValues{*year, *month, *day, *hour, *minute, *second};
}

}  // namespace

DateTime::DateTime(std::int64_t seconds, std::int32_t milliseconds, const TimeZone& zone)
    : milliseconds_(static_cast<std::int32_t>(floorRemainder(milliseconds, 1000))), zone_(&zone) {
    fromSeconds(std::clamp(seconds, -kSecondsLimit, kSecondsLimit) +
                floorDivide(milliseconds, 1000));
}

DateTime::DateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
                   std::int32_t minute, std::int32_t second, std::int32_t milliseconds,
                   const TimeZone& zone)
    : milliseconds_(static_cast<std::int32_t>(floorRemainder(milliseconds, 1000))), zone_(&zone) {
    const std::int64_t clock =
        clockSeconds(year, month, day, hour, minute, second) + floorDivide(milliseconds, 1000);
    fromSeconds(universalTime(zone, clock, std::nullopt));
}

void DateTime::set(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
                   std::int32_t minute, std::int32_t second, std::int32_t milliseconds) {
    milliseconds_ = static_cast<std::int32_t>(floorRemainder(milliseconds, 1000));
    const std::int64_t clock =
        clockSeconds(year, month, day, hour, minute, second) + floorDivide(milliseconds, 1000);
    fromSeconds(universalTime(*zone_, clock, daylight_));
}

void DateTime::fromSeconds(std::int64_t seconds) {
    seconds_ = std::clamp(seconds, -kSecondsLimit, kSecondsLimit);
    const TimeZone::Offset offset = zone_->offsetAt(seconds_);
    bias_ = offset.bias;
    daylight_ = offset.daylight;
    const std::int64_t clock = seconds_ + std::int64_t{bias_} * 60;
    const std::int64_t days = floorDivide(clock, kSecondsPerDay);
    const auto rest = static_cast<std::int32_t>(floorRemainder(clock, kSecondsPerDay));
    const Date date = dateOfDay(days);
    year_ = static_cast<std::int32_t>(date.year);
    month_ = date.month;
    day_ = date.day;
    hour_ = rest / 3600;
    minute_ = rest / 60 % 60;
    second_ = rest % 60;
    weekday_ = static_cast<std::int32_t>(floorRemainder(days + 4, 7));  // day 0 was a Thursday
}

std::int32_t DateTime::GetDayOfYear() const noexcept {
    return static_cast<std::int32_t>(daysToMonth(year_, month_) - daysToMonth(year_, 0)) + day_;
}

void DateTime::AddSeconds(std::int64_t count) {
    fromSeconds(seconds_ + std::clamp(count, -2 * kSecondsLimit, 2 * kSecondsLimit));
}

void DateTime::AddDays(std::int32_t count) {
    const std::int64_t clock =
        clockSeconds(year_, month_, std::int64_t{day_} + count, hour_, minute_, second_);
    fromSeconds(universalTime(*zone_, clock, daylight_));
}

std::wstring DateTime::Format(std::wstring_view pattern) const {
    std::wstring out;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != L'%' || i + 1 == pattern.size()) {
            out += pattern[i];
        } else {
            appendCode(out, pattern[++i]);
        }
    }
    return out;
}

void DateTime::appendCode(std::wstring& out, wchar_t code) const {
    const std::wstring_view dayName = kDayNames[static_cast<std::size_t>(weekday_)];
    const std::wstring_view monthName = kMonthNames[static_cast<std::size_t>(month_)];
    switch (code) {
        case L'%':
            out += L'%';
            break;
        case L'A':
            out += dayName;
            break;
        case L'B':
            out += monthName;
            break;
        case L'H':
            appendNumber(out, hour_, 2);
            break;
        case L'I':
            appendNumber(out, (hour_ + 11) % 12 + 1, 2);
            break;
        case L'M':
            appendNumber(out, minute_, 2);
            break;
        case L'S':
            appendNumber(out, second_, 2);
            break;
        case L'T':
            appendNumber(out, milliseconds_, 3);
            break;
        case L'U':
            appendNumber(out, (GetDayOfYear() + 6 - weekday_) / 7, 2);
            break;
        case L'W':
            appendNumber(out, (GetDayOfYear() + 6 - (weekday_ + 6) % 7) / 7, 2);
            break;
        case L'X':
            out += Format(L"%H:%M:%S");
            break;
        case L'Y':
            appendNumber(out, year_, 4);
            break;
        case L'Z':
            out += daylight_ ? zone_->daylightName() : zone_->longName();
            break;
        case L'a':
            out += dayName.substr(0, kShortName);
            break;
        case L'b':
            out += monthName.substr(0, kShortName);
            break;
        case L'c':
            out += Format(L"%a %b %d %H:%M:%S %Y");
            break;
        case L'd':
            appendNumber(out, day_, 2);
            break;
        case L'j':
            appendNumber(out, GetDayOfYear(), 3);
            break;
        case L'm':
            appendNumber(out, month_ + 1, 2);
            break;
        case L'p':
            out += hour_ < 12 ? L"AM" : L"PM";
            break;
        case L'w':
            appendNumber(out, weekday_, 1);
            break;
        case L'x':
            out += Format(L"%m/%d/%y");
            break;
        case L'y':
            appendNumber(out, floorRemainder(year_, 100), 2);
            break;
        case L'z':
            appendZone(out, bias_);
            break;
        default:
            out += L'%';
            out += code;
            break;
    }
}

std::wstring DateTime::FormatTimeStamp() const {
    std::wstring out;
    out.reserve(32);
    appendNumber(out, year_, 4);
    out += L'-';
    appendNumber(out, month_ + 1, 2);
    out += L'-';
    appendNumber(out, day_, 2);
    out += L' ';
    appendNumber(out, hour_, 2);
    out += L':';
    appendNumber(out, minute_, 2);
    out += L':';
    appendNumber(out, second_, 2);
    out += L'.';
    appendNumber(out, milliseconds_, 3);
    out += L" Z";
    appendZone(out, bias_);
    return out;
}

std::wstring DateTime::FormatZoneHours() const {
    std::wstring out(1, bias_ < 0 ? L'-' : L'+');
    appendNumber(out, (bias_ < 0 ? -bias_ : bias_) / 60, 1);
    return out;
}

std::wstring DateTime::FormatTimeStamp(std::int64_t seconds, std::int32_t milliseconds) {
    return DateTime(seconds, milliseconds).FormatTimeStamp();
}

std::wstring DateTime::FormatDate(std::int64_t seconds) {
    return seconds == 0 ? std::wstring() : FormatTimeStamp(seconds, 0);
}

std::int64_t DateTime::ParseDate(std::wstring_view text, const TimeZone& zone) {
    std::optional<CalendarValues> values = parseFixedForm(text);
    if (!values) {
        values = parseWordForm(text);
    }
    if (!values) {
        return -1;
    }
    return DateTime(values->year, values->month, values->day, values->hour, values->minute,
                    values->second, 0, zone)
        .GetSeconds();
}

}  // namespace lathwind
