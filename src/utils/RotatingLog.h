#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "utils/FileIO.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

// An append-only text file with rollover, by size or by date. Each line is on its way to the disk
// when write returns, so that readers see it at once. Lines are written in the system code page.
//
// Not locked: callers that share a log hold its lock() around everything but the set operations.
// Those take the lock themselves and come from one thread at a time, which must not hold it: see
// RotatingLogCSV.
class RotatingLog {
public:
    enum class Mode : std::int32_t { None = 0, Size = 1, Date = 2 };

    // `limit` is in kilobytes in size mode. With `keepName` the live file keeps its name and the
    // older ones take ".1" to ".backupCount"; without, each file's name is the next number.
    RotatingLog(const std::wstring& path, std::uint32_t backupCount, std::int64_t limit, Mode mode,
                bool keepName);
    virtual ~RotatingLog() = default;
    RotatingLog(const RotatingLog&) = delete;
    RotatingLog& operator=(const RotatingLog&) = delete;

    // Opens for appending, making the folder if need be. A file that is not there yet starts with
    // a header, unless the name is kept or `force` is set.
    virtual bool open(bool force = false);
    // Writes the text as it is, so a line brings its own line feed. Rolls over first where that is
    // due. False when nothing was written: never opened, gone from the disk, or no rollover.
    virtual bool write(const std::wstring& line);
    virtual bool rollOver();
    virtual std::int64_t currentTime();  // seconds since 1970
    // Called with the file open; `other` is the file before this one or after it, or empty.
    virtual void writeHeader(std::int64_t time, const std::wstring& other);
    virtual void writeFooter(std::int64_t time, const std::wstring& other);
    // The next rollover's time or the mode has changed. With `stop` set there is none any more.
    virtual void reschedule(bool stop);

    // A file that has vanished from the disk counts as closed.
    bool isOpen();
    void close();
    void setPath(const std::wstring& path);
    const std::wstring& path() const noexcept { return path_; }

    // Both turn to the scheme of numbered names.
    void setSizeMode(std::int64_t bytes);
    // Five fields: minute, hour, day of month, month, day of week; see utils/RolloverSchedule.h.
    void setDateMode(const std::wstring& schedule);
    void setNoRollover();

    Mode mode() const noexcept { return mode_; }
    // Bytes in size mode, the time of the next rollover in date mode.
    std::int64_t limit() const noexcept { return limit_; }
    bool keepsName() const noexcept { return keepName_; }
    Lock& lock() const noexcept RETURN_CAPABILITY(*lock_) { return *lock_; }

    // a.csv gives a1.csv, a7.csv gives a8.csv.
    static std::wstring nextName(const std::wstring& path);

protected:
    // The check that precedes each write: rolls over if that is due. False when it failed.
    bool rollIfDue();
    // Writes without any check.
    bool append(const std::wstring& text);

private:
    bool isDue();
    void stepName();
    void shiftBackups();
    std::wstring backupName(std::uint32_t number) const;

    std::wstring path_;
    std::uint32_t backupCount_;
    std::int64_t limit_;
    std::wstring schedule_;
    Mode mode_;
    bool keepName_;
    bool pendingHeader_ = true;
    FileIO file_;
    bool inRollover_ = false;
    const std::unique_ptr<Lock> lock_;
};

}  // namespace lathwind
