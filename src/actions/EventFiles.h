#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "actions/DiskThreshold.h"
#include "actions/LogRules.h"
#include "utils/RotatingLogCSV.h"

namespace lathwind {

// One line on its way to the event files.
struct CsvRecord {
    std::vector<std::wstring> fields;
    bool isSent = false;  // the real-time file gets the line too
    bool isKept = false;  // written even while the disk is too full
};

// Which rules say whether a record is sent: those for the records of the prevention service, or
// those for the agent's own events.
enum class RuleSet : std::size_t { Service = 0, Agent = 1 };

// What recordConfigure can do to both files.
enum class RecordSetting : std::int32_t {
    RollBySize = 0,  // the value is megabytes
    RollByDate = 1,  // the value is a schedule (utils/RolloverSchedule.h)
    NoRollover = 2,
    RollNow = 3,
};

// The two event files, for the whole process: every recorded event in one, those for real-time
// delivery in the other; with the rules that choose, and the watch over the disk.
//
// Any thread may write and ask. The settings come from one thread at a time, which holds no lock of
// a file: they may wait for a file's own thread.
class EventFiles {
public:
    EventFiles();
    EventFiles(const EventFiles&) = delete;
    EventFiles& operator=(const EventFiles&) = delete;

    static EventFiles& instance();

    // Reloads the rules from "agent.ini" behind any setting.
    void configure(RecordSetting setting, const std::wstring& value);
    // An empty path stands for the default.
    void setPaths(const std::wstring& all, const std::wstring& realTime);
    bool arePathsSet() const noexcept { return pathsSet_.load(); }
    // Watches the volume that holds `path`, as the settings say, and looks at it at once.
    void setDisk(const std::wstring& path);
    struct DiskLimits {
        std::uint32_t lower = 0;  // percent in use
        std::uint32_t upper = 0;
        std::uint32_t seconds = 0;  // between two looks
        std::uint32_t count = 0;    // lines between two looks
    };
    void setDiskLimits(const std::wstring& path, const DiskLimits& limits);
    void close();

    // Numbers label lines: from 1, for the life of the process.
    std::uint32_t nextSequence() noexcept { return ++sequence_; }
    bool isSent(const std::vector<std::wstring>& fields, RuleSet rules) const;
    // Failures are told by debug lines; the line is lost then.
    void write(CsvRecord record);

private:
    void takePaths();
    bool isDiskFull();
    void writeLine(RotatingLogCSV& file, const std::wstring& line);

    // In the order of EventFile: all, real time.
    std::array<RotatingLogCSV, 2> files_;
    std::array<LogRules, 2> rules_;
    const std::unique_ptr<Lock> diskLock_;
    ReportingDiskThreshold disk_ GUARDED_BY(*diskLock_);
    std::atomic<std::uint32_t> sequence_{0};
    std::atomic<bool> pathsSet_{false};
};

}  // namespace lathwind
