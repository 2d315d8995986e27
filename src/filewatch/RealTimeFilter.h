#pragma once

#include <atomic>
#include <string>

#include "filewatch/IPSFilterInterface.h"

namespace lathwind {

// The library of the real-time filter: loads it by its name from the agent's own folder (the
// process's current one) and nowhere else, and starts and stops it. A library that is absent or
// does not work is a start that failed: the engine then polls. No operation throws.
class RealTimeFilter {
public:
    static constexpr const wchar_t* kLibraryName = L"IPSFileWatchCollector";

    RealTimeFilter();
    ~RealTimeFilter();  // Stop(); the library stays loaded, its thread may still be on its way out
    RealTimeFilter(const RealTimeFilter&) = delete;
    RealTimeFilter& operator=(const RealTimeFilter&) = delete;

    bool Start(IPSFilterCallback callback);
    bool Stop();
    // Null unless started. Any thread.
    IPSFilterInterface* GetStarted() const noexcept;
};

}  // namespace lathwind
