#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lathwind {

// A zone's distance from universal time. Biases are in minutes by which the zone is ahead of
// universal time, so they are negative west of Greenwich. Immutable: any thread may ask.
class TimeZone {
public:
    struct Offset {
        std::int32_t bias = 0;
        bool daylight = false;
    };

    TimeZone(std::int32_t standardBias, std::int32_t daylightBias, std::wstring standardName,
             std::wstring daylightName);
    virtual ~TimeZone() = default;
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

    // Both live as long as the process. The local zone's facts come from the platform at the first
    // call.
    static const TimeZone& universal();
    static const TimeZone& local();

    std::int32_t standardBias() const noexcept { return standardBias_; }
    std::int32_t daylightBias() const noexcept { return daylightBias_; }
    // The platform's names, as they stand.
    const std::wstring& longName() const noexcept { return standardName_; }
    const std::wstring& daylightName() const noexcept { return daylightName_; }
    // The long name's place in the table of known zones, -1 for a name that is not in it.
    int identity() const noexcept { return identityOf(standardName_); }
    static int identityOf(std::wstring_view name) noexcept;

    // What is in force at that second of universal time. Standard time all year round here.
    virtual Offset offsetAt(std::int64_t utcSeconds) const;

private:
    std::int32_t standardBias_;
    std::int32_t daylightBias_;
    std::wstring standardName_;
    std::wstring daylightName_;
};

}  // namespace lathwind
