#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "utils/TimeZone.h"

namespace lathwind {

// The two patterns that the rest of the system uses, and the compact forms.
inline constexpr std::wstring_view kDateTimePattern = L"%Y-%m-%d %H:%M:%S";
inline constexpr std::wstring_view kDateTimeMillisPattern = L"%Y-%m-%d %H:%M:%S.%T";
inline constexpr std::wstring_view kCompactPattern = L"%Y%m%d%H%M%S";
inline constexpr std::wstring_view kCompactUtcPattern = L"%Y%m%d%H%M%SZ";
inline constexpr std::wstring_view kShortCompactUtcPattern = L"%y%m%d%H%M%SZ";

// A broken-down calendar time of the Gregorian calendar in a zone. Seconds are those since
// 1970-01-01 00:00:00 universal time, without leap seconds, 64 bits wide; they are held within
// +-6e16 (some two thousand million years), where a year fits its field. The zone must outlive
// the object. A value: copies are independent; not shared between threads.
class DateTime {
public:
    explicit DateTime(std::int64_t seconds, std::int32_t milliseconds = 0,
                      const TimeZone& zone = TimeZone::local());

    // From calendar values of the zone's time; `month` counts from 0. A value out of range
    // carries into the next field: minute -1 is the last minute of the hour before, day 32 of
    // January is 1 February. An hour that the zone's clocks skip is read as if they had not been
    // put on yet; of an hour that comes twice the first is meant.
    DateTime(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
             std::int32_t minute, std::int32_t second, std::int32_t milliseconds = 0,
             const TimeZone& zone = TimeZone::local());

    // The same on an object, in its own zone. Of an hour that comes twice this means the one in
    // the object's present half of the year, so that a time can be moved within that hour.
    void set(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour,
             std::int32_t minute, std::int32_t second, std::int32_t milliseconds);

    std::int64_t GetSeconds() const noexcept { return seconds_; }
    std::int32_t GetMilliseconds() const noexcept { return milliseconds_; }
    std::int32_t GetSecond() const noexcept { return second_; }
    std::int32_t GetMinute() const noexcept { return minute_; }
    std::int32_t GetHour() const noexcept { return hour_; }
    std::int32_t GetDay() const noexcept { return day_; }      // of the month, from 1
    std::int32_t GetMonth() const noexcept { return month_; }  // from 0
    std::int32_t GetYear() const noexcept { return year_; }
    std::int32_t GetDayOfWeek() const noexcept { return weekday_; }  // Sunday is 0
    std::int32_t GetDayOfYear() const noexcept;                      // from 1
    bool IsDaylight() const noexcept { return daylight_; }
    // Minutes by which the zone was ahead of universal time at that moment.
    std::int32_t GetBias() const noexcept { return bias_; }

    // So many seconds on, as time passes; negative goes back.
    void AddSeconds(std::int64_t count);
    // The same time of day so many days on.
    void AddDays(std::int32_t count);

    // Text by a pattern. Everything is copied but these:
    //   %Y year, 4 digits   %y its last 2   %m month 01-12   %d day   %j day of the year, 3 digits
    //   %H hour   %I hour 01-12   %M minute   %S second   %T milliseconds, 3 digits   %p AM or PM
    //   %w weekday, Sunday is 0   %U, %W week of the year, of Sundays and of Mondays, 00-53
    //   %a %A weekday's name, short and long   %b %B month's name, short and long
    //   %x month/day/year, 2 digits each   %X hour:minute:second   %c "Wed Nov 20 01:02:03 2013"
    //   %z sign, hours and minutes ahead of universal time   %Z the zone's name   %% a percent sign
    // An unknown code, and a percent sign at the very end, are copied. Names are English.
    std::wstring Format(std::wstring_view pattern) const;

    // The event date text in the zone: "2013-11-20 01:02:03.004 Z+0100". The sign is that of local
    // time minus universal time.
    std::wstring FormatTimeStamp() const;
    // The sign and the hours of the zone alone: "+1", "-5".
    std::wstring FormatZoneHours() const;

    // The event date text in the local zone. Written for the log: no format is interpreted.
    static std::wstring FormatTimeStamp(std::int64_t seconds, std::int32_t milliseconds);
    // Empty for 0, else the event date text.
    static std::wstring FormatDate(std::int64_t seconds);

    // Seconds since 1970 of a text in one of the forms "yyyy-MM-DD HH:MM:SS" (the blank may be a
    // "T", anything may follow) and "Www Mmm dd HH:MM:SS yyyy" (the first word is not looked at).
    // Numbers out of range carry. Anything else gives a negative value. Takes any text.
    static std::int64_t ParseDate(std::wstring_view text, const TimeZone& zone = TimeZone::local());

private:
    void fromSeconds(std::int64_t seconds);
    void appendCode(std::wstring& out, wchar_t code) const;

    std::int32_t milliseconds_ = 0;
    std::int32_t second_ = 0;
    std::int32_t minute_ = 0;
    std::int32_t hour_ = 0;
    std::int32_t day_ = 1;
    std::int32_t month_ = 0;
    std::int32_t year_ = 1970;
    std::int32_t weekday_ = 4;
    bool daylight_ = false;
    const TimeZone* zone_;
    std::int32_t bias_ = 0;
    std::int64_t seconds_ = 0;
};

}  // namespace lathwind
