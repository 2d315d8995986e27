#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "events/LogRecordEvents.h"
#include "filewatch/LogFileProperties.h"
#include "filewatch/LogLineReader.h"
#include "filewatch/WatchedEntity.h"

namespace lathwind {

class LogLineFilter;  // filewatch/LogLineFilter.h

// Follows one growing text file: how many bytes of it have been consumed, and a digest of exactly
// those bytes, so that a restart can tell a log that merely grew from one that was rotated. Each
// complete line behind them that passes the entry's filter becomes an event.
// docs/log-following.md tells what is read when, and what each way of rotating a log costs.
class WatchedLogFile : public WatchedEntity {
public:
    // `logProperties` may be null: the defaults then stay until SetLogProperties or a record.
    WatchedLogFile(const std::wstring& name, const LogFileProperties* logProperties,
                   const std::wstring& nameInEvents);
    // A copy has no open file.
    WatchedLogFile(const WatchedLogFile& other);
    WatchedLogFile& operator=(const WatchedLogFile& other);

    // Takes the entry's settings. A byte-order mark of the file at `path` beats their encoding, and
    // does so again whenever the log is read from its start.
    void SetLogProperties(const LogFileProperties& logProperties, const std::wstring& path);

    // A log starts at its present end, or at its start with `clearSize`; a log of the prevention
    // service keeps its offset.
    bool InitializeEntity(bool clearSize) override;
    void BeginWatching(bool clearSize) override;
    // Reads the new lines, if the snapshot differs from the one of `saved`, the state before, or
    // if that had left some. One pass makes at most four fifths of the events that the queue
    // holds, and fewer of long lines; the rest is left to the next. `nameInEvents` is the
    // machine's name in injected events.
    std::size_t CompareWithSaved(EventList& events, const WatchedEntity& saved,
                                 const std::wstring& nameInEvents) override;
    // Takes a new snapshot and reads the new lines. A log that was removed gives no event.
    std::size_t ProcessNotification(EventList& events, const FileNotificationInfo& note) override;
    void Assign(const WatchedEntity& other) override;
    void WriteObject(std::ostream& stream) override;
    // Reading compares the stored digest with the file as it is now: a log that was cut or
    // rewritten comes back with offset 0.
    void ReadObject(std::istream& stream) override;
    void ReadObjectOfVersion(std::istream& stream, std::uint16_t version) override;

    std::uint32_t GetOffset() const { return offset; }  // bytes
    void SetOffset(std::uint32_t bytes) { offset = bytes; }
    const LogFileProperties& GetProperties() const { return properties; }
    std::wstring GetEncoding() const { return encoding; }
    // Did the last reading leave lines: did it end at a pass's limit, or could the log not be
    // opened? The next notification reads them, but one that waits for the file to change may be
    // long in coming, or come with the file's replacement. An unfinished last line is none.
    bool HasUnreadLines() const { return hasUnreadLines; }

    // The most events that one pass makes.
    static std::size_t GetPassLimit();
    // Is `path` a log of the prevention service, "qvrips*.log" beside the CSV event file?
    static bool IsServiceCsvLog(const std::wstring& path);

private:
    struct StreamCloser {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };
    struct Pass;  // how much one reading has made so far

    std::wstring FindEncoding(const std::wstring& path) const;
    void ReadPosition(std::istream& stream, bool hasEncoding);
    void ReadObjectOfFirstVersion(std::istream& stream);
    void CheckConsumedPart(bool digestIsMd5);

    // WatchedLogFileRead.cpp
    bool IsWide() const;
    bool OpenLogFile();
    bool SeekLog(std::FILE* stream, std::int64_t position, int origin) const;
    bool SeekOffset();
    bool StartReading();
    bool ReadLine(bool closeAfterRead);  // leaves the line with `reader`

    // WatchedLogFileEvents.cpp
    void CheckEncoding();
    bool IsToBeRead(const WatchedEntity& saved) const;
    std::size_t ReadEvents(EventList& events, const WatchedEntity& saved,
                           const std::wstring& nameInEvents);
    bool NextText(bool closeAfterRead, const LogLineFilter& filter, std::wstring& line);
    void ReadInjected(EventList& events, const std::wstring& nameInEvents, Pass& pass);
    void ReadMatching(EventList& events, const WatchedEntity& saved, bool closeAfterRead,
                      Pass& pass);
    std::unique_ptr<IDSEvent> CreateLineEvent(const std::vector<std::wstring>& fileValues,
                                              const std::wstring& line,
                                              const FieldMap& captures) const;

    std::unique_ptr<std::FILE, StreamCloser> file;  // null while closed
    std::unique_ptr<LogLineReader> reader;          // while lines are read
    std::uint32_t offset = 0;                       // bytes consumed, from the file's start
    LogFileProperties properties;
    std::int32_t lastAction = 0;  // of the notification being processed
    std::wstring encoding = L"ANSI";
    bool hasUnreadLines = false;
};

}  // namespace lathwind
