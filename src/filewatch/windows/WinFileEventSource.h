#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "filewatch/FileEventSource.h"
#include "filewatch/windows/WinFIMWatcher.h"
#include "filewatch/windows/WinFileWatcher.h"

namespace lathwind {

// Watches by polling and by the real-time filter, and chooses for each path which of them does it:
// the filter, where it has started and takes the path; nobody, where the filter watches the path
// by a policy of its own; else polling. Logs are always polled: what the filter reports never
// concerns one.
class WinFileEventSource : public FileEventSource {
public:
    WinFileEventSource();
    ~WinFileEventSource() override;

    bool AddFileToWatch(const WatchRequest& request) override;
    bool RemoveFileToWatch(const WatchRequest& request) override;
    void RemoveFromWatchers(const WatchedPathSpec& spec, std::int32_t listId, bool notRealTime,
                            std::size_t remaining) override;
    // The filter, if it is to be used, has started before.
    void Start() override;
    void Stop() override;
    void SetPollingIntervals(const std::set<std::int32_t>& listIds) override;
    std::uint32_t GetNotificationCount() const override;
    std::size_t GetPolledCount() const override;

    // For those who drive the two themselves.
    WinFileWatcher& GetPolling() noexcept { return polling_; }
    WinFIMWatcher& GetRealTime() noexcept { return realTime_; }

private:
    bool AddVirtual(const WatchRequest& request) REQUIRES(ChangeLock());
    bool AddPlain(const WatchRequest& request) REQUIRES(ChangeLock());
    // A path with a mask, or an instance of a virtual entry.
    bool AddSpec(const WatchRequest& request) REQUIRES(ChangeLock());
    // Such a path as it stands in the table; null if it does not.
    SpecTable::SpecPtr FindRow(const WatchRequest& request) REQUIRES(ChangeLock());
    // Polls the spec's folder, the folders below it, and the files that are there.
    void PollFolder(const WatchedPathSpec& spec, std::int32_t listId);
    // Does the filter see to the path, so that polling need not?
    bool IsWatchedInRealTime(const std::wstring& path, std::int32_t level,
                             const WatchRequest& request);

    bool RemovePlain(const WatchRequest& request) REQUIRES(ChangeLock());
    bool RemoveMasked(const WatchRequest& request) REQUIRES(ChangeLock());
    bool RemoveVirtual(const WatchRequest& request) REQUIRES(ChangeLock());
    // Out of the table and of those who watch. False when it was not in the table.
    bool RemoveSpecOf(const WatchedPathSpec& spec, const WatchRequest& request)
        REQUIRES(ChangeLock());

    // By list and the name in which an entry has a folder the long one, where that is another.
    std::map<std::pair<std::int32_t, std::wstring>, std::wstring> longFolders_
        GUARDED_BY(ChangeLock());
    WinFileWatcher polling_;
    WinFIMWatcher realTime_;
};

}  // namespace lathwind
