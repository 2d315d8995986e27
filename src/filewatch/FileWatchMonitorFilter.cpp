// The monitor's side of the real-time filter.
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/FilterEventDecoder.h"
#include "filewatch/RealTimeFilter.h"
#include "utils/AgentInfo.h"
#include "utils/Logging.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;

// Answers of the library to the question whether it watches a path.
constexpr std::int32_t kNotMonitored = 0;
constexpr std::int32_t kLastMonitored = 3;

}  // namespace

bool FileWatchMonitor::StartIPSFilter() {
    if (!AgentInfoRef()->enableFilewatchFilter()) {
        debugLog(kModule, L"IPS Filewatch Filter is disabled in LocalAgent.ini.");
        return false;
    }
    return filter_->Start(&OnFilterEvent);
}

// A filter that was started before the setting went off is stopped all the same.
bool FileWatchMonitor::StopIPSFilter() {
    if (!AgentInfoRef()->enableFilewatchFilter() && filter_->GetStarted() == nullptr) {
        return false;
    }
    return filter_->Stop();
}

IPSFilterInterface* FileWatchMonitor::GetStartedFilter() {
    return filter_->GetStarted();
}

// The filter is asked for what it was told, which is the entry that covers the path.
bool FileWatchMonitor::IsIPSFilterWatchingFile(const std::wstring& path, std::int32_t listId) {
    debugLog(kModule, L"FileWatchMonitor::IsIPSFilterWatchingFile(%ls, %d)", path, listId);
    IPSFilterInterface* const filter = filter_->GetStarted();
    if (filter == nullptr) {
        return false;
    }
    try {
        std::wstring asked = path;
        if (const auto spec = source_->FindSpec(path, listId)) {
            asked = spec->GetFullPath();
            debugLog(kModule, L"FileWatchMonitor::IsIPSFilterWatchingFile()-> Matching pattern %ls",
                     asked);
        }
        const std::int32_t result = filter->isPathMonitored(asked.c_str());
        const bool isMonitored = result > kNotMonitored && result <= kLastMonitored;
        if (!isMonitored && result != kNotMonitored) {
            debugLog(kModule, L"isPathMonitored failed with error %d", result);
        }
        debugLog(kModule, L"FileWatchMonitor::IsIPSFilterWatchingFile()-> %ls -> is monitored: %ls",
                 asked, isMonitored ? L"TRUE" : L"FALSE");
        return isMonitored;
    } catch (...) {  // whatever the library throws
        debugLog(kModule, L"Exception caught. Failed to query IPS Filewatch Filter monitored path");
        return false;
    }
}

// Comes from a thread of the library, which no exception may reach.
void FileWatchMonitor::OnFilterEvent(const IPSFilterEvent* event) {
    if (event == nullptr) {
        return;
    }
    try {
        WithInstance([event](FileWatchMonitor& monitor) { monitor.TakeFilterEvent(*event); });
    } catch (...) {
        try {
            debugLog(kModule, L"Exception caught. Failed to create FileNotificationInfo");
        } catch (...) {  // no memory for the line either
        }
    }
}

// Under the gate of WithInstance, and thereby one event at a time.
void FileWatchMonitor::TakeFilterEvent(const IPSFilterEvent& event) {
    ++driverEvents_;
    DecodedFilterEvent decoded = decoder_->Decode(event);
    if (decoded.notification == nullptr) {
        return;
    }
    const FileNotificationInfo& note = *decoded.notification;
    if (decoded.mount == DecodedFilterEvent::Mount::Mounted) {
        ExMount(decoded.path, note.processId, note.userSid, decoded.process);
    } else if (decoded.mount == DecodedFilterEvent::Mount::Unmounted) {
        ExUnMount(decoded.path, note.processId, note.userSid, decoded.process);
    }
    if (!source_->Queue(decoded.notification)) {
        debugLog(kModule, L"Failed to add IPS filewatch notify op (%ls) for (%ls). Process: %ls",
                 decoded.label, note.path, decoded.process);
    }
}

}  // namespace lathwind
