#include "plugins/PluginCollector.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "utils/AgentInfo.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::PluginCollector;
constexpr int kQueueApproachingRow = 419;
constexpr int kQueueFullRow = 420;

// The class and the source kind of an event.
constexpr std::uint32_t kStatusClass = 6;
constexpr std::uint32_t kStatusKind = 13;
constexpr std::uint32_t kEventClass = 4;
constexpr std::uint32_t kEventKind = 5;

// A record may not make the agent copy without bound, and one full queue of the largest ones must
// not take the whole of a 32-bit process.
constexpr std::uint32_t kMostFields = 1000;
constexpr std::uint64_t kMostTextBytes = 64 * 1024;  // of all its texts together

bool isSoundText(const collector_text& text) noexcept {
    return text.size == 0 || text.bytes != nullptr;
}

std::wstring wide(const collector_text& text) {
    std::wstring units = utf16FromUtf8({text.bytes, text.size});
    std::replace(units.begin(), units.end(), L'\0', L'\xFFFD');
    return units;
}

}  // namespace

bool PluginEvent::isSound(const collector_record* record) noexcept {
    if (record == nullptr || record->size < sizeof(collector_record) ||
        !isSoundText(record->text) || record->field_count > kMostFields ||
        (record->field_count != 0 && record->fields == nullptr)) {
        return false;
    }
    std::uint64_t bytes = record->text.size;
    for (std::uint32_t i = 0; i < record->field_count; ++i) {
        if (!isSoundText(record->fields[i])) {
            return false;
        }
        bytes += record->fields[i].size;
    }
    return bytes <= kMostTextBytes;
}

PluginEvent::PluginEvent(const collector_record& record) {
    const bool isStatus = record.kind == COLLECTOR_KIND_STATUS;
    SetEventClass(isStatus ? kStatusClass : kEventClass);
    SetSourceKind(isStatus ? kStatusKind : kEventKind, false);
    if (record.time != 0) {
        SetCollectTime(record.time);
    }
    SetEventText(wide(record.text));
    std::vector<std::wstring> values;
    values.reserve(record.field_count);
    for (std::uint32_t i = 0; i < record.field_count; ++i) {
        values.push_back(wide(record.fields[i]));
    }
    SetValues(std::move(values));
    const AgentInfoRef agent;
    SetMachineName(agent->hostName());
    SetAgentIp(agent->ipAddress());
    SetUserName(agent->userName());
}

PluginCollector::PluginCollector(std::wstring collectorName, std::wstring library)
    : EventSourceSubject(std::move(collectorName)),
      libraryName_(std::move(library)),
      host_{sizeof(collector_host), COLLECTOR_VERSION, this, pass},
      latchLock_(platformFactory.createLock()) {}

PluginCollector::~PluginCollector() {
    stop();
}

bool PluginCollector::start() {
    if (wasStarted_) {
        return false;
    }
    wasStarted_ = true;
    const AgentInfoRef agent;
    agent->collectors().setState(collectorBit::Plugin, collectorState::Starting);
    setLimit(agent->pluginEventsLimit());
    const bool isLoaded = load();
    if (isLoaded) {
        startThread(name());
    } else {
        stop();
    }
    agent->collectors().setState(collectorBit::Plugin,
                                 isLoaded ? collectorState::Started : collectorState::Failed);
    return isLoaded;
}

template <class Entry>
bool PluginCollector::find(const char* entryName, Entry& entry) const {
    const bool isFound = library_.find(entryName, entry);
    if (!isFound) {
        debugLog(kModule, L"Failed to load %ls API from collector plugin (%ls): %ls", entryName,
                 libraryName_, platform::host().errorText(platform::error::ProcedureNotFound));
    }
    return isFound;
}

bool PluginCollector::load() {
    const platform::ErrorCode code = library_.load(libraryName_);
    if (code != platform::error::Success) {
        debugLog(kModule, L"Failed to load collector plugin (%ls): %ls", libraryName_,
                 platform::host().errorText(code));
        return false;
    }
    collector_initialize_entry initialize = nullptr;
    if (!find("PluginInitialize", initialize) || !find("PluginTerminate", terminate_)) {
        return false;
    }
    plugin_ = initialize(&host_);
    if (plugin_ == nullptr) {
        debugLog(kModule, L"Unable to initialize collector plugin: %ls", libraryName_);
    }
    return plugin_ != nullptr;
}

// The plug-in first: it may be passing records on threads of its own.
void PluginCollector::stop() {
    if (plugin_ != nullptr) {
        terminate_(std::exchange(plugin_, nullptr));
    }
    stopThread();
    library_.unload();
}

void PluginCollector::run() {
    while (step(kWaitForever)) {
    }
}

// Called by foreign code, which no exception may cross.
std::int32_t PluginCollector::pass(void* context, const collector_record* record) noexcept {
    if (context == nullptr || !PluginEvent::isSound(record)) {
        return COLLECTOR_REFUSED;
    }
    try {
        return static_cast<PluginCollector*>(context)->take(*record);
    } catch (...) {  // no memory, or a queue that the system does not let us signal
        return COLLECTOR_FULL;
    }
}

std::int32_t PluginCollector::take(const collector_record& record) {
    const PushResult result = offer(std::make_unique<PluginEvent>(record));
    const ScopedLock guard(*latchLock_);
    report(result, kModule, kQueueApproachingRow, kQueueFullRow);
    return static_cast<std::int32_t>(result);
}

}  // namespace lathwind
