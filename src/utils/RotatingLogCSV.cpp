#include "utils/RotatingLogCSV.h"

#include <algorithm>
#include <limits>

#include "utils/AgentInfo.h"
#include "utils/CsvField.h"
#include "utils/DateTime.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr int kRolledOverRow = 416;
constexpr wchar_t kThreadName[] = L"RotatingCSVLog";
constexpr std::int64_t kWaitMarginSeconds = 2;

std::atomic<HostIdentityProvider> identityProvider{nullptr};

HostIdentity identityFromSettings() {
    const AgentInfoRef settings;
    return {settings->hostName(), settings->ipAddress(), settings->logonDomain(),
            std::wstring(settings->osName()), settings->agentId()};
}

HostIdentity hostIdentity() {
    const HostIdentityProvider provider = identityProvider.load();
    return provider == nullptr ? identityFromSettings() : provider();
}

}  // namespace

void setHostIdentityProvider(HostIdentityProvider provider) noexcept {
    identityProvider = provider;
}

RotatingLogCSV::RotatingLogCSV() : RotatingLog(std::wstring(), 0, 0, Mode::Size, true) {}

RotatingLogCSV::~RotatingLogCSV() {
    stopThread();
}

bool RotatingLogCSV::rollOver() {
    const std::wstring oldPath = path();
    const bool rolled = RotatingLog::rollOver();
    logCatalogued(Severity::Status, ModuleId::ProcessEvent, kRolledOverRow, oldPath, path());
    debugLog(ModuleId::ProcessEvent, L"Post rename = %d", postRename_);
    if (postRename_) {
        FileIO::Move(oldPath, markedName(oldPath), false);
        FileIO::Delete(oldPath);
    }
    return rolled;
}

std::wstring RotatingLogCSV::markedName(const std::wstring& path) {
    return FileIO::GetDirectory(path) + L"\\_" + FileIO::GetFileName(path);
}

void RotatingLogCSV::writeHeader(std::int64_t time, const std::wstring& other) {
    writeMarker(L"MSOF", time, other);
}

void RotatingLogCSV::writeFooter(std::int64_t time, const std::wstring& other) {
    writeMarker(L"MEOF", time, other);
}

void RotatingLogCSV::writeMarker(std::wstring_view marker, std::int64_t time,
                                 const std::wstring& other) {
    const HostIdentity host = hostIdentity();
    const std::wstring fields[] = {
        std::wstring(marker),
        L"0",                                // sequence number
        DateTime::FormatTimeStamp(time, 0),  //
        L"I",                                // severity letter
        L"",                                 // 5 to 10 belong to event lines
        L"",
        L"",
        L"",
        L"",
        L"",
        csvField(host.hostName),
        csvField(host.ipAddress),
        csvField(host.logonDomain),
        host.osName,
        csvField(host.agentId),
        csvField(path()),
        csvField(other),
        L"E",  // character set
        widenAscii(LATHWIND_PRODUCT_VERSION),
    };
    std::wstring line;
    for (const std::wstring& field : fields) {
        if (!line.empty()) {
            line += kCsvSeparator;
        }
        line += field;
    }
    append(line + L"\n");
}

void RotatingLogCSV::reschedule(bool stop) {
    if (stop || mode() != Mode::Date) {
        stopThread();
        return;
    }
    ScopedLock guard(lock());
    if (thread_ != nullptr && !left_) {
        stopEvent_->set();
    } else {
        startThread();
    }
}

void RotatingLogCSV::startThread() {
    if (thread_ != nullptr) {
        thread_->wait();  // it has left by itself
    }
    stopping_ = false;
    left_ = false;
    stopEvent_ = platformFactory.createEvent(std::wstring());
    thread_ = platformFactory.createThread(*this);
    thread_->start(kThreadName);
}

// The wait happens without the lock, which the thread may want for its last turn.
void RotatingLogCSV::stopThread() {
    Thread* thread = nullptr;
    {
        ScopedLock guard(lock());
        if (thread_ == nullptr) {
            return;
        }
        stopping_ = true;
        stopEvent_->set();
        thread = thread_.get();
    }
    thread->wait();
    ScopedLock guard(lock());
    thread_.reset();
    stopEvent_.reset();
}

void RotatingLogCSV::run() {
    while (step()) {
    }
    left_ = true;
}

bool RotatingLogCSV::step() {
    Event* stopEvent = nullptr;
    {
        ScopedLock guard(lock());
        stopEvent = stopEvent_.get();
    }
    if (stopEvent == nullptr) {
        return false;
    }
    switch (stopEvent->wait(waitTime(), false)) {
        case WaitResult::Signalled:
            // Reset first: a stop that comes in between is then seen here or at the next wait.
            stopEvent->reset();
            return !stopping_;
        case WaitResult::TimeOut: {
            ScopedLock guard(lock());
            rollIfDue();
            return true;
        }
        default:
            debugLog(ModuleId::ProcessEvent,
                     L"Unexpected FAILED/TIMEOUT in Event->Wait()() within Run()");
            return false;
    }
}

// A rollover that lies further ahead than an event can wait is waited for in several turns.
std::int32_t RotatingLogCSV::waitTime() {
    ScopedLock guard(lock());
    constexpr std::int64_t kLongest = std::numeric_limits<std::int32_t>::max();
    const std::int64_t seconds = limit() + kWaitMarginSeconds - currentTime();
    return static_cast<std::int32_t>(std::clamp(seconds, std::int64_t{0}, kLongest / 1000) * 1000);
}

}  // namespace lathwind
