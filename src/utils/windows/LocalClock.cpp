#include "utils/windows/LocalClock.h"

#include "utils/windows/SystemHeaders.h"

namespace lathwind::windows {
namespace {

constexpr std::int64_t kUnixEpoch = 116444736000000000;  // 1970-01-01 in FILETIME units
constexpr std::int64_t kTicksASecond = 10000000;
constexpr std::int64_t kFirstSecond = -11644473600;  // 1601, the first one of the system's clock
constexpr std::int64_t kLastSecond = 253402300799;   // the end of the year 9999
constexpr std::int64_t kTicksAMillisecond = kTicksASecond / 1000;

std::int64_t ticksOf(const FILETIME& time) {
    return static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
}

FILETIME fileTimeOf(std::int64_t ticks) {
    const auto bits = static_cast<std::uint64_t>(ticks);
    return {static_cast<DWORD>(bits), static_cast<DWORD>(bits >> 32)};
}

// Local time minus universal time at that moment, in minutes with the sign turned; false for a
// moment that the system cannot express.
bool biasAt(std::int64_t utcSeconds, std::int32_t& biasMinutes) {
    if (utcSeconds < kFirstSecond || utcSeconds > kLastSecond) {
        return false;
    }
    const FILETIME utc = fileTimeOf(utcSeconds * kTicksASecond + kUnixEpoch);
    SYSTEMTIME universal{};
    SYSTEMTIME local{};
    FILETIME localTicks{};
    if (!::FileTimeToSystemTime(&utc, &universal) ||
        !::SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local) ||
        !::SystemTimeToFileTime(&local, &localTicks)) {
        return false;
    }
    const std::int64_t minutes = (ticksOf(utc) - ticksOf(localTicks)) / (kTicksASecond * 60);
    biasMinutes = static_cast<std::int32_t>(minutes);
    return true;
}

}  // namespace

std::int64_t systemTimeMs() {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return (ticksOf(now) - kUnixEpoch) / kTicksAMillisecond;
}

platform::TimeZoneFacts localZone() {
    TIME_ZONE_INFORMATION zone{};
    ::GetTimeZoneInformation(&zone);
    platform::TimeZoneFacts facts;
    facts.standardBias = zone.Bias + zone.StandardBias;
    // A zone without daylight time may carry a daylight bias all the same.
    const bool hasDaylight = zone.DaylightDate.wMonth != 0;
    facts.daylightBias = hasDaylight ? zone.Bias + zone.DaylightBias : facts.standardBias;
    facts.standardName = zone.StandardName;
    facts.daylightName = zone.DaylightName;
    return facts;
}

bool isLocalDaylight(std::int64_t utcSeconds, std::int32_t& biasMinutes) {
    const platform::TimeZoneFacts zone = localZone();
    if (!biasAt(utcSeconds, biasMinutes)) {
        biasMinutes = zone.standardBias;
        return false;
    }
    return zone.daylightBias != zone.standardBias && biasMinutes == zone.daylightBias;
}

}  // namespace lathwind::windows
