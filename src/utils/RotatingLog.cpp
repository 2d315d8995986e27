#include "utils/RotatingLog.h"

#include <algorithm>
#include <limits>
#include <set>

#include "utils/Logging.h"
#include "utils/RolloverSchedule.h"

namespace lathwind {
namespace {

constexpr int kCannotDeleteRow = 158;
constexpr int kCannotRenameRow = 159;
constexpr std::int64_t kKilobyte = 1024;
// Keeps a schedule from firing twice within its second.
constexpr std::uint32_t kPauseMs = 1000;

bool exists(const std::wstring& path) {
    return FileIO::Exists(FileIO::NormalizePath(path));
}

// The pairs of names whose renaming was reported, for the life of the process: a log that cannot
// be renamed now will not be at the next line either.
class ReportedRenames {
public:
    bool insert(const std::wstring& source, const std::wstring& target) {
        ScopedLock guard(*lock_);
        return keys_.insert(source + L"+" + target).second;
    }

private:
    const std::unique_ptr<Lock> lock_ = platformFactory.createLock();
    std::set<std::wstring> keys_ GUARDED_BY(*lock_);
};

ReportedRenames& reportedRenames() {
    static ReportedRenames& renames = *new ReportedRenames;
    return renames;
}

void renameBackup(const std::wstring& source, const std::wstring& target) {
    const platform::ErrorCode code =
        platform::files().move(FileIO::NormalizePath(source), FileIO::NormalizePath(target),
                               platform::Files::MoveCopyAllowed);
    if (code != platform::error::Success && reportedRenames().insert(source, target)) {
        logCatalogued(Severity::Warning, ModuleId::Utils, kCannotRenameRow, source, target,
                      platform::host().errorText(code));
    }
}

// The number behind `digits` (which may be empty: 0), of any length.
std::wstring successor(std::wstring digits) {
    digits.erase(0, digits.find_first_not_of(L'0'));
    std::size_t place = digits.size();
    while (place > 0 && digits[place - 1] == L'9') {
        digits[--place] = L'0';
    }
    if (place == 0) {
        return L'1' + digits;
    }
    ++digits[place - 1];
    return digits;
}

}  // namespace

RotatingLog::RotatingLog(const std::wstring& path, std::uint32_t backupCount, std::int64_t limit,
                         Mode mode, bool keepName)
    : path_(path),
      backupCount_(backupCount),
      limit_(limit),
      mode_(mode),
      keepName_(keepName),
      lock_(platformFactory.createLock()) {
    if (mode == Mode::Size) {
        constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max() / kKilobyte;
        limit_ = std::min(limit, kMost) * kKilobyte;
    }
}

bool RotatingLog::open(bool force) {
    close();
    pendingHeader_ = !keepName_ && !force && !exists(path_);
    if (path_.empty()) {
        return false;
    }
    if (!file_.Open(path_, L"a+")) {
        FileIO::MakeDirectoryPath(FileIO::GetDirectory(path_));
        if (!file_.Open(path_, L"a+")) {
            return false;
        }
    }
    if (pendingHeader_) {
        writeHeader(currentTime(), std::wstring());
        pendingHeader_ = false;
    }
    return true;
}

bool RotatingLog::isOpen() {
    if (file_.IsOpen() && !exists(path_)) {
        close();
    }
    return file_.IsOpen();
}

void RotatingLog::close() {
    file_.Close();
}

void RotatingLog::setPath(const std::wstring& path) {
    ScopedLock guard(*lock_);
    if (path != path_) {
        close();
        path_ = path;
    }
}

void RotatingLog::setSizeMode(std::int64_t bytes) {
    {
        ScopedLock guard(*lock_);
        mode_ = Mode::Size;
        limit_ = bytes;
        keepName_ = false;
    }
    reschedule(false);
}

void RotatingLog::setDateMode(const std::wstring& schedule) {
    bool changed = false;
    {
        ScopedLock guard(*lock_);
        schedule_ = schedule;
        keepName_ = false;
        const std::int64_t next = RolloverSchedule::parse(schedule_).nextTime(currentTime());
        changed = mode_ != Mode::Date || next != limit_;
        mode_ = Mode::Date;
        limit_ = next;
    }
    if (changed) {
        reschedule(false);
    }
}

void RotatingLog::setNoRollover() {
    {
        ScopedLock guard(*lock_);
        mode_ = Mode::None;
    }
    reschedule(false);
}

bool RotatingLog::write(const std::wstring& line) {
    return !pendingHeader_ && rollIfDue() && isOpen() && append(line);
}

// The empty text makes the file flush: a line may hold any unit, a NUL too.
bool RotatingLog::append(const std::wstring& text) {
    return file_.WriteLine(text) && file_.WriteText("");
}

bool RotatingLog::rollIfDue() {
    if (inRollover_ || path_.empty() || !isDue()) {
        return true;
    }
    return rollOver();
}

bool RotatingLog::isDue() {
    if (mode_ == Mode::Size) {
        // 32 bits of size: a limit of 4 GiB or more never comes due.
        return std::int64_t{file_.GetSize()} > limit_;
    }
    if (mode_ != Mode::Date || currentTime() < limit_) {
        return false;
    }
    platform::host().sleepMs(kPauseMs);
    limit_ = RolloverSchedule::parse(schedule_).nextTime(currentTime() + 1);
    reschedule(false);
    return true;
}

bool RotatingLog::rollOver() {
    close();
    if (keepName_) {
        shiftBackups();
    } else {
        stepName();
    }
    return open();
}

// Opens the next file and, where that works, lets the two files name each other. Where it does not
// the old path stands, and the next write tries again.
void RotatingLog::stepName() {
    inRollover_ = true;
    const std::int64_t time = currentTime();
    const std::wstring oldPath = path_;
    const std::wstring newPath = nextName(oldPath);
    path_ = newPath;
    if (open(true)) {
        writeHeader(time, oldPath);
        close();
        path_ = oldPath;
        if (open(true)) {
            writeFooter(time, newPath);
            close();
        }
        path_ = newPath;
    } else {
        path_ = oldPath;
    }
    inRollover_ = false;
}

// Moves the live file to ".1", ".1" to ".2" and so on up to the first free number; the backup that
// has the last number allowed makes room.
void RotatingLog::shiftBackups() {
    std::uint32_t last = 1;
    while (last < backupCount_ && exists(backupName(last))) {
        ++last;
    }
    const std::wstring lastName = backupName(last);
    if (last >= backupCount_ && exists(lastName) && !FileIO::Delete(lastName)) {
        logCatalogued(Severity::Warning, ModuleId::Utils, kCannotDeleteRow, lastName);
    }
    for (std::uint32_t number = last; number > 0; --number) {
        renameBackup(backupName(number - 1), backupName(number));
    }
}

std::wstring RotatingLog::backupName(std::uint32_t number) const {
    return number == 0 ? path_ : path_ + L"." + std::to_wstring(number);
}

std::wstring RotatingLog::nextName(const std::wstring& path) {
    std::wstring directory;
    std::wstring stem;
    std::wstring extension;
    FileIO::SplitPath(path, directory, stem, extension, false);
    const std::size_t digits = stem.find_last_not_of(L"0123456789") + 1;  // npos + 1 is 0
    std::wstring next = directory;
    if (!next.empty() && !next.ends_with(L'\\')) {
        next += L'\\';
    }
    next += stem.substr(0, digits) + successor(stem.substr(digits));
    if (!extension.empty()) {
        next += L"." + extension;
    }
    return next;
}

std::int64_t RotatingLog::currentTime() {
    return platform::host().currentTimeMs() / 1000;
}

void RotatingLog::writeHeader(std::int64_t /*time*/, const std::wstring& /*other*/) {}
void RotatingLog::writeFooter(std::int64_t /*time*/, const std::wstring& /*other*/) {}
void RotatingLog::reschedule(bool /*stop*/) {}

}  // namespace lathwind
