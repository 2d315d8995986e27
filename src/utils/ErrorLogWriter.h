#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "utils/AgentEventSink.h"
#include "utils/LogRecord.h"
#include "utils/StatisticsRow.h"
#include "utils/platform/Threading.h"

// The one writer of the service log. Records are built on the threads that log, queued, and
// written by the thread "ErrorLogWriter".
namespace lathwind {

inline constexpr const wchar_t* kServiceLogPath = L"../log/QVRIDSService.log";
// Behind the banner's "Version ": the product's version and the systems it is made for.
inline constexpr const wchar_t* kVersionText =
    L"" LATHWIND_PRODUCT_VERSION L" 2K/XP/2003/2008/2012";

// When the log file is opened and its banner written.
enum class OpenLog {
    AtStart,        // by start(): the service's way; start() tells whether the log can be written
    OnFirstRecord,  // when the first record reaches the file: a program that has nothing to say
                    // leaves the disk as it was
};

// What stop() does with the records that are still queued.
enum class Drain { No, Yes };

class ErrorLogWriter : public Runnable {
public:
    explicit ErrorLogWriter(std::wstring path = kServiceLogPath);
    ~ErrorLogWriter() override;  // stop(Drain::No)
    ErrorLogWriter(const ErrorLogWriter&) = delete;
    ErrorLogWriter& operator=(const ErrorLogWriter&) = delete;

    // The process's writer, which the logging functions use.
    static ErrorLogWriter& instance();

    // Opens the log (creating its folder if need be), writes the banner and starts the thread.
    // False when the log cannot be opened: there is no thread then, and every record is dropped
    // without a word, so that the program works on as before. A writer that was stopped may be
    // started again. start and stop are called by one thread.
    bool start(OpenLog when = OpenLog::AtStart);
    // Ends the thread and closes the log. Records that are still queued are lost with Drain::No;
    // with Drain::Yes they are written out on the calling thread first.
    void stop(Drain drain = Drain::No);
    bool isStarted() const noexcept;

    // Queues the record, or writes it at once while "Unsafe Exit On Crash" is on. Any thread. A
    // full queue drops the record silently: the error path raises no errors of its own. Records
    // submitted before start() are queued and written once the writer runs.
    void submit(const LogRecord& record);

    // Installs what turns records into events; null (the default) makes no events. Not owned.
    // Called before start().
    void setEventSink(AgentEventSink* sink) noexcept;

    // Messages since the program's start, for the statistics report. Any thread.
    std::uint32_t errorCount() const noexcept;
    std::uint32_t warningCount() const noexcept;
    std::uint32_t statusCount() const noexcept;
    // The same three, with their labels, in the report's order.
    std::array<StatisticsRow, 3> statistics() const;

    // The thread's loop, and its step: waits for a record, at most so long, and writes what is
    // queued. False once told to stop.
    void run() override;
    bool step(std::int32_t milliseconds);

private:
    class State;
    std::unique_ptr<State> state_;
};

// Reads the modules' debug switches from `..\system\LocalAgent.ini`, loads the catalogue and
// starts the process's writer. Gives whether it runs. Called once, early, with the binary folder
// as current directory.
bool initDebugLog(OpenLog when = OpenLog::AtStart);

// The pure half of processing a record.
bool reachesFile(const LogRecord& record);  // not a status line that holds "IA_0033"
// The line behind the code and the character that follows it, trimmed; the whole line, trimmed,
// when the code is not in it.
std::wstring messageOf(const LogRecord& record);
// The facts of the event that a record of severity Status, Warning or Error becomes.
AgentEventFacts makeAgentEventFacts(const LogRecord& record, AgentEventOrigin origin);

}  // namespace lathwind
