#pragma once

#include <cstdint>
#include <string>

namespace lathwind {

// Says when a volume is too full to log on: from the upper percentage on, until it is below the
// lower one. The volume is asked at intervals of time or of events, not each time.
//
// Not locked: one thread uses an object.
class DiskThreshold {
public:
    virtual ~DiskThreshold() = default;

    // Seconds and events between two looks at the volume; 0 switches that test off.
    void setIntervals(std::uint32_t seconds, std::uint32_t events);
    // Percent of the volume that is in use.
    void setThresholds(std::uint32_t lower, std::uint32_t upper);

    // Counts an event and, when it is time or `force` is set, looks at the volume. True when the
    // state changed, which has been reported then. A volume that cannot be asked leaves it alone.
    bool check(bool force = false);
    bool isExceeded() const noexcept { return exceeded_; }

    virtual void reset();                     // counters and time of the last look
    virtual std::uint32_t usedPercent() = 0;  // 0 where it cannot be told
    virtual bool enabled() const;             // are both thresholds and an interval set?
    virtual std::int64_t currentTime();       // seconds
    virtual void report() = 0;                // isExceeded() is the new state

protected:
    std::uint32_t lowerPercent() const noexcept { return lower_; }
    std::uint32_t upperPercent() const noexcept { return upper_; }

private:
    bool isDue(std::int64_t now) const;

    std::uint32_t interval_ = 0;  // seconds
    std::uint32_t count_ = 0;     // events
    std::uint32_t lower_ = 0;
    std::uint32_t upper_ = 0;
    std::int64_t lastCheck_ = 0;
    std::uint32_t events_ = 0;  // since the last look
    bool exceeded_ = false;
};

// Of the volume that holds a path. Without a path it is not enabled.
class FileDiskThreshold : public DiskThreshold {
public:
    void setPath(const std::wstring& path) { path_ = path; }
    std::uint32_t usedPercent() override;
    bool enabled() const override;

private:
    std::wstring path_;
};

// The same, with a warning in the log when logging stops and one when it goes on.
class ReportingDiskThreshold : public FileDiskThreshold {
public:
    void report() override;
};

}  // namespace lathwind
