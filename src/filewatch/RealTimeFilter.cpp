#include "filewatch/RealTimeFilter.h"

#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;
constexpr int kStartedRow = 37;  // FWC_0028
constexpr int kFailedRow = 38;   // FWC_0029
constexpr std::int32_t kSuccess = 0;

using InterfaceEntry = IPSFilterInterface* (*)();

}  // namespace

RealTimeFilter::~RealTimeFilter() {
    if (GetStarted() != nullptr) {
        Stop();
    }
    library_.keepForGood();
}

bool RealTimeFilter::Start(IPSFilterCallback callback) {
    debugLog(kModule, L"Starting IPS Filewatch Filter.");
    bool isStarted = false;
    try {
        if (filter_ == nullptr) {
            FindInterface();
        }
        if (GetStarted() != nullptr) {
            debugLog(kModule, L"IPS Filewatch Filter already started.");
            return true;
        }
        isStarted = filter_ != nullptr && StartInterface(callback);
    } catch (...) {  // whatever the library throws
        debugLog(kModule, L"Exception caught. Failed to start IPS Filewatch Filter");
    }
    if (isStarted) {
        logCatalogued(Severity::Status, kModule, kStartedRow);
    } else {
        logCatalogued(Severity::Warning, kModule, kFailedRow);
    }
    return isStarted;
}

// A library that was loaded once is not loaded again, and never unloaded: even one that gives no
// interface may have set threads going.
void RealTimeFilter::FindInterface() {
    if (!library_.isLoaded()) {
        std::wstring name = kLibraryName;
        name += platform::libraries().suffix();
        const platform::ErrorCode code = library_.load(name);
        if (code != platform::error::Success) {
            debugLog(kModule, L"Failed to load IPS Filewatch Filter (%ls): %ls", name,
                     platform::host().errorText(code));
            return;
        }
    }
    InterfaceEntry entry = nullptr;
    if (library_.find(kEntryName, entry)) {
        filter_ = entry();
    } else {
        debugLog(kModule, L"Failed to load %ls API from IPS Filewatch Filter", kEntryName);
    }
}

bool RealTimeFilter::StartInterface(IPSFilterCallback callback) {
    const std::int32_t result = filter_->start(callback);
    if (result != kSuccess) {
        debugLog(kModule, L"IPS Filewatch Filter start failed with error %d.", result);
        return false;
    }
    started_ = filter_;
    return true;
}

bool RealTimeFilter::Stop() {
    debugLog(kModule, L"Stopping IPS Filewatch Filter.");
    try {
        const bool isStopped = filter_ != nullptr && filter_->stop() == kSuccess;
        if (isStopped) {
            started_ = nullptr;
        }
        debugLog(kModule, L"IPS Filewatch Filter stop %ls.", isStopped ? L"succeeded" : L"failed");
        return isStopped;
    } catch (...) {
        debugLog(kModule, L"Exception caught. Failed to stop IPS Filewatch Filter");
        return false;
    }
}

}  // namespace lathwind
