#include "actions/EventFiles.h"

#include <algorithm>
#include <limits>

#include "actions/EventFilePaths.h"
#include "utils/AgentInfo.h"
#include "utils/CsvField.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::ProcessEvent;
constexpr std::int64_t kBytesPerMegabyte = 1048576;
constexpr std::int64_t kMostMegabytes =
    std::numeric_limits<std::int64_t>::max() / kBytesPerMegabyte;
constexpr std::size_t kStateLetters = 5;  // the field that tells of the sending
constexpr wchar_t kRulesPath[] = L"..\\system\\agent.ini";

std::wstring lineOf(const std::vector<std::wstring>& fields) {
    std::wstring line;
    for (const std::wstring& field : fields) {
        if (&field != &fields.front()) {
            line += kCsvSeparator;
        }
        line += csvField(field);
    }
    line += L'\n';
    return line;
}

void applySetting(RotatingLogCSV& file, RecordSetting setting, const std::wstring& value) {
    switch (setting) {
        case RecordSetting::RollBySize:
            file.setSizeMode(std::clamp<std::int64_t>(parseDecimal(value), 0, kMostMegabytes) *
                             kBytesPerMegabyte);
            break;
        case RecordSetting::RollByDate:
            file.setDateMode(value);
            break;
        case RecordSetting::NoRollover:
            file.setNoRollover();
            break;
        case RecordSetting::RollNow: {
            const ScopedLock guard(file.lock());
            if (!file.forceRollover()) {
                debugLog(kModule, L"Failed to force rollover of event file: %ls.", file.path());
            }
            break;
        }
    }
}

}  // namespace

// Until it is configured a file does not roll over, where the log's own default would do so at each
// line.
EventFiles::EventFiles() : diskLock_(platformFactory.createLock()) {
    for (RotatingLogCSV& file : files_) {
        file.setNoRollover();
    }
    takePaths();
}

void EventFiles::takePaths() {
    files_[0].setPath(eventFilePath(EventFile::All));
    files_[1].setPath(eventFilePath(EventFile::RealTime));
}

EventFiles& EventFiles::instance() {
    // Never destroyed: actions of any lifetime write here.
    static EventFiles* const files = std::make_unique<EventFiles>().release();
    return *files;
}

void EventFiles::configure(RecordSetting setting, const std::wstring& value) {
    for (RotatingLogCSV& file : files_) {
        applySetting(file, setting, value);
    }
    rules_[0].load(kRulesPath, L"Log", L"");
    rules_[1].load(kRulesPath, L"IDSLogRules", L"ids.");
}

void EventFiles::setPaths(const std::wstring& all, const std::wstring& realTime) {
    setEventFilePaths(all, realTime);
    takePaths();
    pathsSet_.store(true);
}

void EventFiles::setDisk(const std::wstring& path) {
    const AgentInfoRef settings;
    setDiskLimits(path, {.lower = settings->diskLowerThreshold(),
                         .upper = settings->diskUpperThreshold(),
                         .seconds = settings->diskCheckInterval(),
                         .count = settings->diskCheckEventCount()});
}

void EventFiles::setDiskLimits(const std::wstring& path, const DiskLimits& limits) {
    const ScopedLock guard(*diskLock_);
    disk_.setPath(path);
    disk_.setIntervals(limits.seconds, limits.count);
    disk_.setThresholds(limits.lower, limits.upper);
    disk_.reset();
    disk_.check(true);
}

void EventFiles::close() {
    for (RotatingLogCSV& file : files_) {
        file.setNoRollover();
        const ScopedLock guard(file.lock());
        file.close();
    }
}

bool EventFiles::isSent(const std::vector<std::wstring>& fields, RuleSet rules) const {
    return rules_[static_cast<std::size_t>(rules)].match(fields);
}

bool EventFiles::isDiskFull() {
    const ScopedLock guard(*diskLock_);
    disk_.check();
    return disk_.enabled() && disk_.isExceeded();
}

void EventFiles::write(CsvRecord record) {
    if (record.isSent && record.fields.size() > kStateLetters) {
        record.fields[kStateLetters] += L'R';
    }
    const std::wstring line = lineOf(record.fields);
    const bool isPruned = isDiskFull() && !record.isKept;
    // The real-time file first: someone is waiting for it.
    for (const EventFile index : {EventFile::RealTime, EventFile::All}) {
        if (index == EventFile::RealTime && !record.isSent) {
            continue;
        }
        RotatingLogCSV& file = files_[static_cast<std::size_t>(index)];
        const ScopedLock guard(file.lock());
        if (isPruned) {
            debugLog(kModule, L"CSV line pruned from %ls by disk thresholding: %ls", file.path(),
                     line);
            continue;
        }
        writeLine(file, line);
    }
}

void EventFiles::writeLine(RotatingLogCSV& file, const std::wstring& line) {
    if (!file.isOpen() && !file.open()) {
        debugLog(kModule, L"Can not open file: %ls to write events to.", file.path());
        return;
    }
    if (!file.write(line)) {
        debugLog(kModule, L"Can not write to event file: %ls", file.path());
    }
}

}  // namespace lathwind
