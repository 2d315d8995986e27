#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "filewatch/IPSFilterInterface.h"
#include "utils/LocalLibrary.h"

namespace lathwind {

// The library of the real-time filter: loads it by its name from the agent's own folder (the
// process's current one) and nowhere else, and starts and stops it. A library that is absent or
// does not work is a start that failed: the engine then polls. docs/filter-library.md describes its
// side. No operation throws.
//
// Start and Stop are not called at the same time.
class RealTimeFilter {
public:
    static constexpr const wchar_t* kLibraryName = L"IPSFileWatchCollector";
    // The library's one export, a function without arguments; null says that there is no filter.
    static constexpr const char* kEntryName = "GetIPSFilterInterface";

    RealTimeFilter() = default;
    ~RealTimeFilter();  // Stop(); the library stays loaded, its thread may still be on its way out
    RealTimeFilter(const RealTimeFilter&) = delete;
    RealTimeFilter& operator=(const RealTimeFilter&) = delete;

    // Each call tries anew what has not worked yet, and tells by FWC_0028 or FWC_0029 how it went.
    // True, without a word about it, while the filter is started.
    bool Start(IPSFilterCallback callback);
    // False if the filter refuses, which leaves it started, or was never there.
    bool Stop();
    // Null unless started. Any thread.
    IPSFilterInterface* GetStarted() const noexcept { return started_.load(); }

private:
    void FindInterface();
    bool StartInterface(IPSFilterCallback callback);

    LocalLibrary library_;
    IPSFilterInterface* filter_ = nullptr;               // the library's
    std::atomic<IPSFilterInterface*> started_{nullptr};  // the same, once started
};

}  // namespace lathwind
