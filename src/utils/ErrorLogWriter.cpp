#include "utils/ErrorLogWriter.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "utils/AgentInfo.h"
#include "utils/FileIO.h"
#include "utils/IniFile.h"
#include "utils/RotatingLog.h"
#include "utils/SharedCatalogue.h"
#include "utils/SignalledStore.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr int kErrorsLabelRow = 185;
constexpr int kWarningsLabelRow = 186;
constexpr int kStatusLabelRow = 200;

// The row through which a text is forwarded as an event only.
constexpr std::wstring_view kEventOnlyCode = L"IA_0033";

using Queue = SignalledStore<LogRecord>;

// Many more than there are rows about a log's own rollover.
constexpr std::size_t kMaxOwnMessages = 64;

// The log counts in bytes: more kilobytes than that would overflow.
constexpr std::uint64_t kMaxLogSizeKb = std::numeric_limits<std::int64_t>::max() / 1024;

// All but the address, which changes while the process runs.
AgentEventOrigin fixedOriginOf(const AgentInfo& info) {
    AgentEventOrigin origin;
    origin.processId = info.processId();
    origin.processName = info.processName();
    origin.processOwner = info.processOwner();
    origin.hostName = info.hostName();
    origin.logonDomain = info.logonDomain();
    return origin;
}

// The writer whose log the calling thread is writing, null at other times.
constinit thread_local const void* writing = nullptr;

class WritingScope {
public:
    explicit WritingScope(const void* writer) noexcept : before_(std::exchange(writing, writer)) {}
    ~WritingScope() { writing = before_; }
    WritingScope(const WritingScope&) = delete;
    WritingScope& operator=(const WritingScope&) = delete;

private:
    const void* const before_;
};

}  // namespace

class ErrorLogWriter::State {
public:
    explicit State(std::wstring logPath)
        : path_(std::move(logPath)), lock_(platformFactory.createLock()) {
        renewQueue();
    }

    bool start(OpenLog when, Runnable& runnable);
    void stop(Drain drain);
    void submit(const LogRecord& record);
    void process(const LogRecord& record);
    bool step(std::int32_t milliseconds);

    bool isStarted() const noexcept { return started_.load(std::memory_order_acquire); }
    void setEventSink(AgentEventSink* sink) noexcept { sink_ = sink; }
    std::uint32_t count(Severity severity) const noexcept {
        return counters_[static_cast<std::size_t>(severity)].load(std::memory_order_relaxed);
    }

private:
    void renewQueue() {
        queues_.push_back(std::make_unique<Queue>());
        queue_.store(queues_.back().get(), std::memory_order_release);
    }
    Queue& queue() const noexcept { return *queue_.load(std::memory_order_acquire); }
    bool openLog() REQUIRES(*lock_);
    void writeLine(const std::wstring& line) EXCLUDES(*lock_);
    AgentEventOrigin origin() EXCLUDES(*lock_);
    void countAndForward(const LogRecord& record);
    void submitOwn(const LogRecord& record) EXCLUDES(*lock_);

    const std::wstring path_;
    std::atomic<bool> started_{false};
    // Held around every write: also those of the writer's own thread, since the setting that
    // makes callers write themselves may be turned on while that thread is at work.
    const std::unique_ptr<Lock> lock_;
    std::unique_ptr<RotatingLog> log_ GUARDED_BY(*lock_);
    bool isLogOpen_ GUARDED_BY(*lock_) = false;
    // What the log had to say about itself since start.
    std::set<std::wstring> ownMessages_ GUARDED_BY(*lock_);
    // A store serves one run. The stores of former runs stay, for a thread may just be about to
    // push onto one.
    std::vector<std::unique_ptr<Queue>> queues_;
    std::atomic<Queue*> queue_{nullptr};
    std::unique_ptr<Thread> thread_;
    std::optional<AgentInfoRef> settings_ GUARDED_BY(*lock_);   // from start to stop
    std::optional<CatalogueRef> catalogue_ GUARDED_BY(*lock_);  // likewise
    // Taken at the start, so that the settings can be read anew while the writer's thread runs.
    AgentEventOrigin fixedOrigin_ GUARDED_BY(*lock_);
    AgentEventSink* sink_ = nullptr;
    std::array<std::atomic<std::uint32_t>, 3> counters_{};  // by severity
};

bool ErrorLogWriter::State::start(OpenLog when, Runnable& runnable) {
    if (isStarted()) {
        return true;
    }
    stop(Drain::No);  // a run whose log could not be opened late still has its thread
    if (!queue().accepting()) {
        renewQueue();
    }
    {
        const ScopedLock guard(*lock_);
        catalogue_.emplace();
        ownMessages_.clear();
        AgentInfo& settings = *settings_.emplace();
        fixedOrigin_ = fixedOriginOf(settings);
        queue().setLimit(settings.errorLogQueueLimit());
        log_ = std::make_unique<RotatingLog>(
            path_, settings.errorLogBackups(),
            static_cast<std::int64_t>(std::min(settings.errorLogSizeKb(), kMaxLogSizeKb)),
            RotatingLog::Mode::Size, true);
        if (when == OpenLog::AtStart && !openLog()) {
            log_.reset();
            settings_.reset();
            catalogue_.reset();
            return false;
        }
    }
    // Before the thread, which drops records while the flag is clear.
    started_.store(true, std::memory_order_release);
    thread_ = platformFactory.createThread(runnable);
    thread_->start(L"ErrorLogWriter");
    return true;
}

void ErrorLogWriter::State::stop(Drain drain) {
    if (thread_ == nullptr) {
        return;
    }
    if (drain == Drain::No) {
        started_.store(false, std::memory_order_release);
    }
    queue().terminate();
    thread_->wait();
    thread_.reset();
    if (drain == Drain::Yes) {
        while (!queue().empty()) {
            process(queue().popFront());
        }
        started_.store(false, std::memory_order_release);
    }
    {
        const ScopedLock guard(*lock_);
        log_.reset();
        isLogOpen_ = false;
        settings_.reset();
        catalogue_.reset();
    }
    if (sink_ != nullptr) {
        sink_->drain();
    }
}

void ErrorLogWriter::State::submit(const LogRecord& record) {
    if (writing == this) {
        submitOwn(record);
    } else if (AgentInfo::isLoggingSynchronous()) {
        process(record);
    } else {
        queue().pushChecked(record);
    }
}

// What writing a line has to say itself, such as that an old backup cannot be deleted, is queued
// once: the line that tells it would be the next one to cause it, for ever. Debug lines, which
// differ each time, are not queued at all.
void ErrorLogWriter::State::submitOwn(const LogRecord& record) {
    if (record.severity == Severity::Debug) {
        return;
    }
    const ScopedLock guard(*lock_);
    if (ownMessages_.size() < kMaxOwnMessages && ownMessages_.insert(messageOf(record)).second) {
        queue().pushChecked(record);
    }
}

bool ErrorLogWriter::State::step(std::int32_t milliseconds) {
    return drainStep(
        queue(), [this](const LogRecord& record) { process(record); }, milliseconds);
}

void ErrorLogWriter::State::process(const LogRecord& record) {
    if (!isStarted()) {
        return;
    }
    if (reachesFile(record)) {
        writeLine(record.line);
    }
    if (isStarted() && record.severity != Severity::Debug) {
        countAndForward(record);
    }
}

bool ErrorLogWriter::State::openLog() {
    const WritingScope scope(this);
    if (!log_->open()) {
        FileIO::MakeDirectoryPath(FileIO::GetDirectory(path_));
        if (!log_->open()) {
            return false;
        }
    }
    isLogOpen_ = true;
    log_->write(L"\nVersion " + std::wstring(kVersionText) + L"\n\n");
    return true;
}

void ErrorLogWriter::State::writeLine(const std::wstring& line) {
    const ScopedLock guard(*lock_);
    if (log_ == nullptr) {
        return;
    }
    const WritingScope scope(this);
    if (!isLogOpen_ && !openLog()) {
        started_.store(false, std::memory_order_release);
        return;
    }
    log_->write(line);
}

AgentEventOrigin ErrorLogWriter::State::origin() {
    const ScopedLock guard(*lock_);
    AgentEventOrigin origin = fixedOrigin_;
    if (settings_.has_value()) {
        origin.ipAddress = (*settings_)->ipAddress();
    }
    return origin;
}

void ErrorLogWriter::State::countAndForward(const LogRecord& record) {
    const auto index = static_cast<std::size_t>(record.severity);
    if (index >= counters_.size()) {
        return;
    }
    PushResult result = PushResult::Stored;
    if (sink_ != nullptr) {
        result = sink_->push(makeAgentEventFacts(record, origin()));
    }
    // An error counts when its event was stored, the others count in any case.
    if (record.severity != Severity::Error || result == PushResult::Stored) {
        counters_[index].fetch_add(1, std::memory_order_relaxed);
    }
}

ErrorLogWriter::ErrorLogWriter(std::wstring path)
    : state_(std::make_unique<State>(std::move(path))) {}

ErrorLogWriter::~ErrorLogWriter() {
    state_->stop(Drain::No);
}

ErrorLogWriter& ErrorLogWriter::instance() {
    // Never destroyed, so that static destructors may still log; what they log is dropped.
    static ErrorLogWriter* const writer = [] {
        auto made = std::make_unique<ErrorLogWriter>();
        std::atexit([] { instance().stop(); });
        return made.release();
    }();
    return *writer;
}

bool ErrorLogWriter::start(OpenLog when) {
    return state_->start(when, *this);
}
void ErrorLogWriter::stop(Drain drain) {
    state_->stop(drain);
}
bool ErrorLogWriter::isStarted() const noexcept {
    return state_->isStarted();
}
void ErrorLogWriter::submit(const LogRecord& record) {
    state_->submit(record);
}
void ErrorLogWriter::setEventSink(AgentEventSink* sink) noexcept {
    state_->setEventSink(sink);
}

std::uint32_t ErrorLogWriter::errorCount() const noexcept {
    return state_->count(Severity::Error);
}
std::uint32_t ErrorLogWriter::warningCount() const noexcept {
    return state_->count(Severity::Warning);
}
std::uint32_t ErrorLogWriter::statusCount() const noexcept {
    return state_->count(Severity::Status);
}

std::array<StatisticsRow, 3> ErrorLogWriter::statistics() const {
    return {{{getMessage(kErrorsLabelRow), errorCount()},
             {getMessage(kWarningsLabelRow), warningCount()},
             {getMessage(kStatusLabelRow), statusCount()}}};
}

void ErrorLogWriter::run() {
    while (step(kWaitForever)) {
    }
}

bool ErrorLogWriter::step(std::int32_t milliseconds) {
    return state_->step(milliseconds);
}

bool initDebugLog(OpenLog when) {
    IniFile settings;
    const bool isRead = settings.load(L"..\\system\\LocalAgent.ini");
    for (std::size_t i = 0; i < kModuleCount; ++i) {
        const auto module = static_cast<ModuleId>(i);
        const std::wstring key = moduleName(module);
        detail::setDebug(module,
                         isRead && settings.getInteger<std::uint32_t>(L"Log Debugs", key, 0) != 0);
    }
    return ErrorLogWriter::instance().start(when);
}

bool reachesFile(const LogRecord& record) {
    return record.severity != Severity::Status ||
           record.line.find(kEventOnlyCode) == std::wstring::npos;
}

std::wstring messageOf(const LogRecord& record) {
    std::wstring_view message = record.line;
    const std::size_t found =
        record.code.empty() ? std::wstring::npos : record.line.find(record.code);
    if (found != std::wstring::npos) {
        message.remove_prefix(std::min(found + record.code.size() + 1, message.size()));
    }
    return std::wstring(trim(message));
}

AgentEventFacts makeAgentEventFacts(const LogRecord& record, AgentEventOrigin origin) {
    AgentEventFacts facts;
    facts.origin = std::move(origin);
    facts.severity = record.severity;
    if (record.severity == Severity::Status) {
        facts.eventSeverity = 3;
        facts.eventCode = 10;
        facts.type = L"MSTD";
    } else {
        const bool isError = record.severity == Severity::Error;
        facts.eventSeverity = isError ? 0 : 1;
        facts.eventCode = 9;
        facts.type = L"MERR";
        facts.priority = isError ? 85 : 55;
        facts.controlFlags = kPriorityControlFlag;
    }
    facts.rawText = record.line;
    facts.fields[agentEventField::Code] = record.code;
    facts.fields[agentEventField::Module] = record.module;
    facts.fields[agentEventField::Message] = messageOf(record);
    return facts;
}

}  // namespace lathwind
