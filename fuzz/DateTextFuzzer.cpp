#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "utils/DateTime.h"
#include "utils/RolloverSchedule.h"

namespace {

using namespace lathwind;

// What is understood comes back from each of the forms that it is written in.
void checkDate(std::int64_t seconds, const TimeZone& zone) {
    const DateTime date(seconds, 0, zone);
    const bool hasFixedForm = date.GetYear() <= 9999;
    if (DateTime::ParseDate(date.Format(L"%c"), zone) != seconds ||
        (hasFixedForm && (DateTime::ParseDate(date.Format(kDateTimePattern), zone) != seconds ||
                          DateTime::ParseDate(date.FormatTimeStamp(), zone) != seconds))) {
        std::abort();
    }
}

}  // namespace

// Any text as a date and as a rollover schedule, whose next time is found from any moment.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TimeZone& zone = TimeZone::universal();
    std::wstring text;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    }
    const std::wstring ascii(data, data + size);
    for (const std::wstring& candidate : {text, ascii}) {
        const std::int64_t seconds = DateTime::ParseDate(candidate, zone);
        if (seconds >= 0) {
            checkDate(seconds, zone);
        }
        DateTime::ParseDate(candidate);  // in the local zone, as an event's field is read
        const RolloverSchedule schedule = RolloverSchedule::parse(candidate);
        for (const std::int64_t from : {std::int64_t{0}, std::int64_t{1384909323}, seconds}) {
            DateTime(schedule.nextTime(from, zone), 0, zone).Format(candidate);
        }
    }
    return 0;
}
