#pragma once

#include <cstdint>
#include <string_view>

#include "utils/TimeZone.h"

namespace lathwind {

// When a log rolls over by date. Five fields as in a crontab: minute, hour, day of month, month,
// day of week (0 is Monday, 6 is Sunday), each a number or "*" for any.
//
// One field leads: the day of the week if it is given, else the day of the month, else the hour,
// else the minute. The fields before it in the text say at which time of that day or hour; one of
// them that is left "any" counts as -1, which the calendar carries to the end of what precedes:
// "* 5 * * *" is one minute before five. The month is not looked at.
struct RolloverSchedule {
    static constexpr std::int32_t kAny = -1;

    std::int32_t minute = kAny;
    std::int32_t hour = kAny;
    std::int32_t dayOfMonth = kAny;
    std::int32_t dayOfWeek = kAny;

    // Fields are separated by blanks; one may stand between quotes. A text that has not five
    // fields leaves all of them "any".
    static RolloverSchedule parse(std::wstring_view text);

    // The time after `seconds`, in the zone's calendar. With no field given that is `seconds`
    // itself: such a log is always due.
    std::int64_t nextTime(std::int64_t seconds, const TimeZone& zone = TimeZone::local()) const;
};

}  // namespace lathwind
