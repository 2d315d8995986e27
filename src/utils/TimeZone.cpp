#include "utils/TimeZone.h"

#include <array>
#include <atomic>
#include <utility>

#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

// The order counts: a zone's identity is its place.
constexpr std::array<std::wstring_view, 32> kKnownZones = {
    L"Coordinated Universal Time",
    L"New Zealand Standard Time",
    L"Solomon Standard Time",
    L"Australian Eastern Time",
    L"Australian Central Time",
    L"Japan Standard Time",
    L"China Taiwan Time",
    L"Vietnam Standard Time",
    L"Bangladesh Standard Time",
    L"India Standard Time",
    L"Pakistan Lahore Time",
    L"Near East Time",
    L"Middle East Time",
    L"Eastern African Time",
    L"(Arabic) Egypt Standard Time",
    L"Eastern European Time",
    L"European Central Time",
    L"Greenwich Mean Time",
    L"Central African Time",
    L"Brazil Eastern Time",
    L"Argentina Standard Time",
    L"Canada Newfoundland Time",
    L"Puerto Rico and US Virgin Islands Time",
    L"Indian Eastern Standard Time",
    L"Eastern Standard Time",
    L"Central Standard Time",
    L"Mountain Standard Time",
    L"Phoenix Standard Time",
    L"Pacific Standard Time",
    L"Alaska Standard Time",
    L"Hawaii Standard Time",
    L"Midway Islands Time",
};

// The platform counts biases from local to universal time; here they run the other way, so that
// their sign is the one that is written.
class LocalZone final : public TimeZone {
public:
    explicit LocalZone(const platform::TimeZoneFacts& facts)
        : TimeZone(-facts.standardBias, -facts.daylightBias, facts.standardName,
                   facts.daylightName) {}

    Offset offsetAt(std::int64_t utcSeconds) const override {
        const std::uint64_t quarter = quarterOf(utcSeconds);
        const std::uint64_t known = lastAnswer_.load(std::memory_order_relaxed);
        if (quarter != 0 && (known >> kQuarterShift) == quarter) {
            return {static_cast<std::int32_t>((known >> 1) & kBiasMask) - kBiasOrigin,
                    (known & 1) != 0};
        }
        std::int32_t bias = 0;
        const bool daylight = platform::host().isDaylightAt(utcSeconds, bias);
        const Offset offset{-bias, daylight};
        remember(quarter, offset);
        return offset;
    }

private:
    // Log lines ask for the present moment again and again, and no zone changes its clocks but at
    // a full quarter of an hour: the answer for the last quarter asked for is kept, in one word so
    // that no lock is needed. From the top: the quarter's number (0 for one that is not kept), 12
    // bits of bias, the daylight flag.
    static constexpr int kQuarterShift = 13;
    static constexpr std::uint64_t kBiasMask = 0xFFF;
    static constexpr std::int32_t kBiasOrigin = 2048;

    static std::uint64_t quarterOf(std::int64_t utcSeconds) noexcept {
        constexpr std::int64_t kLastKept = std::int64_t{1} << 40;
        return utcSeconds < 0 || utcSeconds > kLastKept
                   ? 0
                   : static_cast<std::uint64_t>(utcSeconds / (15 * 60)) + 1;
    }

    void remember(std::uint64_t quarter, Offset offset) const noexcept {
        if (quarter == 0 || offset.bias < -kBiasOrigin || offset.bias >= kBiasOrigin) {
            return;
        }
        lastAnswer_.store(quarter << kQuarterShift |
                              static_cast<std::uint64_t>(offset.bias + kBiasOrigin) << 1 |
                              (offset.daylight ? 1u : 0u),
                          std::memory_order_relaxed);
    }

    mutable std::atomic<std::uint64_t> lastAnswer_{0};
};

}  // namespace

TimeZone::TimeZone(std::int32_t standardBias, std::int32_t daylightBias, std::wstring standardName,
                   std::wstring daylightName)
    : standardBias_(standardBias),
      daylightBias_(daylightBias),
      standardName_(std::move(standardName)),
      daylightName_(std::move(daylightName)) {}

// Never destroyed: a log line may be written while static destructors run.
const TimeZone& TimeZone::universal() {
    static const TimeZone& zone =
        *new TimeZone(0, 0, std::wstring(kKnownZones.front()), std::wstring(kKnownZones.front()));
    return zone;
}

const TimeZone& TimeZone::local() {
    static const TimeZone& zone = *new LocalZone(platform::host().timeZone());
    return zone;
}

int TimeZone::identityOf(std::wstring_view name) noexcept {
    for (std::size_t i = 0; i < kKnownZones.size(); ++i) {
        if (kKnownZones[i] == name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

TimeZone::Offset TimeZone::offsetAt(std::int64_t /*utcSeconds*/) const {
    return {standardBias_, false};
}

}  // namespace lathwind
