#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "utils/DateTime.h"
#include "utils/RolloverSchedule.h"

// Any text as a date and as a rollover schedule. A date that is understood comes back from the text
// that it is written as; a schedule's next time is found from any moment.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    const TimeZone& zone = TimeZone::universal();
    std::wstring text;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        text += static_cast<wchar_t>(data[i] | data[i + 1] << 8);
    }
    const std::wstring ascii(data, data + size);
    for (const std::wstring& candidate : {text, ascii}) {
        const std::int64_t seconds = DateTime::ParseDate(candidate, zone);
        if (seconds >= 0 &&
            DateTime::ParseDate(DateTime(seconds, 0, zone).Format(L"%c"), zone) != seconds) {
            std::abort();
        }
        const RolloverSchedule schedule = RolloverSchedule::parse(candidate);
        for (const std::int64_t from : {std::int64_t{0}, std::int64_t{1384909323}, seconds}) {
            DateTime(schedule.nextTime(from, zone), 0, zone).Format(candidate);
        }
    }
    return 0;
}
