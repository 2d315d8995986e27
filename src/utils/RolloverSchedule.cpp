#include "utils/RolloverSchedule.h"

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "utils/DateTime.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::size_t kFieldCount = 5;

// Words between blanks; a blank between quotes belongs to its word, and the quotes go.
std::vector<std::wstring> splitAtBlanks(std::wstring_view text) {
    std::vector<std::wstring> words;
    bool quoted = false;
    bool inWord = false;
    for (const wchar_t unit : text) {
        if (!quoted && kBlanks.find(unit) != std::wstring_view::npos) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (unit == L'"') {
            quoted = !quoted;
        } else {
            words.back() += unit;
        }
    }
    return words;
}

std::int32_t parseField(std::wstring_view field) noexcept {
    if (field == L"*") {
        return RolloverSchedule::kAny;
    }
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp(parseDecimal(field),
                                                static_cast<long long>(Limits::min()),
                                                static_cast<long long>(Limits::max())));
}

}  // namespace

RolloverSchedule RolloverSchedule::parse(std::wstring_view text) {
    RolloverSchedule schedule;
    const std::vector<std::wstring> fields = splitAtBlanks(text);
    if (fields.size() == kFieldCount) {
        schedule.minute = parseField(fields[0]);
        schedule.hour = parseField(fields[1]);
        schedule.dayOfMonth = parseField(fields[2]);
        schedule.dayOfWeek = parseField(fields[4]);
    }
    return schedule;
}

std::int64_t RolloverSchedule::nextTime(std::int64_t seconds, const TimeZone& zone) const {
    DateTime time(seconds, 0, zone);
    const auto set = [&time](std::int32_t month, std::int32_t day, std::int32_t atHour,
                             std::int32_t atMinute) {
        time.set(time.GetYear(), month, day, atHour, atMinute, 0, 0);
    };
    if (dayOfWeek != kAny) {
        set(time.GetMonth(), time.GetDay(), hour, minute);
        const std::int32_t today = (time.GetDayOfWeek() + 6) % 7;  // Monday is 0
        const std::int64_t ahead = std::int64_t{dayOfWeek} - today + (today < dayOfWeek ? 0 : 7);
        time.AddDays(static_cast<std::int32_t>(
            std::min<std::int64_t>(ahead, std::numeric_limits<std::int32_t>::max())));
    } else if (dayOfMonth != kAny) {
        set(time.GetMonth(), dayOfMonth, hour, minute);
        if (time.GetSeconds() <= seconds) {
            set(time.GetMonth() + 1, time.GetDay(), time.GetHour(), time.GetMinute());
        }
    } else if (hour != kAny) {
        set(time.GetMonth(), time.GetDay(), hour, minute);
        if (time.GetSeconds() <= seconds) {
            time.AddDays(1);
        }
    } else if (minute != kAny) {
        set(time.GetMonth(), time.GetDay(), time.GetHour(), minute);
        if (time.GetSeconds() <= seconds) {
            time.AddSeconds(3600);
        }
    }
    return time.GetSeconds();
}

}  // namespace lathwind
