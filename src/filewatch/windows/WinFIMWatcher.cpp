#include "filewatch/windows/WinFIMWatcher.h"

#include "filewatch/IPSFilterInterface.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::FilewatchCollector;
constexpr std::int32_t kSuccess = 0;

// What the code page lacks becomes a "?", which to the filter is a wildcard: polling takes such a
// path as it is.
bool isSame(const std::string& bytes, const std::wstring& path) {
    return widen(bytes) == path;
}

}  // namespace

WinFIMWatcher::WinFIMWatcher() : lock_(platformFactory.createLock()) {}

bool WinFIMWatcher::AddFileToWatch(const std::wstring& path, std::int32_t recursionLevel,
                                   bool monitorAccessTime) {
    IPSFilterInterface* const filter = filter_.load();
    const std::string bytes = narrow(path);
    if (filter == nullptr || FileIO::IsUncPath(path) || !isSame(bytes, path)) {
        return false;
    }
    const Watched entry{path, recursionLevel, monitorAccessTime};
    if (JoinWatched(entry)) {
        debugLog(kModule, L"REALTIME FileWatch AddFileToWatch: %ls already being watched", path);
        return false;
    }
    try {
        const std::int32_t result =
            filter->addPath(bytes.c_str(), recursionLevel, monitorAccessTime ? 1 : 0, 0);
        if (result != kSuccess) {
            debugLog(kModule, L"REALTIME FileWatch AddFileToWatch FAILED: %ls %d", path, result);
            return false;
        }
    } catch (...) {  // whatever the library throws
        debugLog(kModule, L"Exception caught. Failed to AddFileToWatch");
        return false;
    }
    debugLog(kModule, L"REALTIME FileWatch AddFileToWatch: %ls %d", path, recursionLevel);
    const ScopedLock guard(*lock_);
    ++watched_[entry];
    return true;
}

bool WinFIMWatcher::JoinWatched(const Watched& entry) {
    const ScopedLock guard(*lock_);
    const auto watched = watched_.find(entry);
    if (watched == watched_.end()) {
        return false;
    }
    ++watched->second;
    return true;
}

bool WinFIMWatcher::LeaveWatched(const Watched& entry) {
    const ScopedLock guard(*lock_);
    const auto watched = watched_.find(entry);
    if (watched == watched_.end() || watched->second == 1) {
        return false;
    }
    --watched->second;
    return true;
}

bool WinFIMWatcher::RemoveFileToWatch(const std::wstring& path, std::int32_t recursionLevel,
                                      bool monitorAccessTime) {
    IPSFilterInterface* const filter = filter_.load();
    const std::string bytes = narrow(path);
    if (filter == nullptr || !isSame(bytes, path)) {
        return false;
    }
    const Watched entry{path, recursionLevel, monitorAccessTime};
    if (LeaveWatched(entry)) {
        return true;
    }
    try {
        const std::int32_t result =
            filter->removePath(bytes.c_str(), recursionLevel, monitorAccessTime ? 1 : 0, 0);
        if (result != kSuccess) {
            debugLog(kModule, L"REALTIME FileWatch RemoveFileToWatch FAILED: %ls %d", path, result);
            return false;
        }
    } catch (...) {
        debugLog(kModule, L"Exception caught. Failed to RemoveFileToWatch");
        return false;
    }
    debugLog(kModule, L"REALTIME FileWatch RemoveFileToWatch: %ls %d", path, recursionLevel);
    const ScopedLock guard(*lock_);
    watched_.erase(entry);
    return true;
}

}  // namespace lathwind
