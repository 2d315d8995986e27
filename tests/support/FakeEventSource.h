#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "filewatch/EntryKind.h"
#include "filewatch/FileEventSource.h"

namespace lathwind::testing {

// A source that watches nothing and writes down what it is asked to. It refuses the paths of
// `refused`, and finds specs for what it has accepted.
class FakeEventSource : public FileEventSource {
public:
    bool AddFileToWatch(const WatchRequest& request) override {
        if (refused.contains(request.path)) {
            return false;
        }
        added.push_back(request);
        return true;
    }
    bool RemoveFileToWatch(const WatchRequest& request) override {
        removed.push_back(request);
        return std::erase_if(added, [&](const WatchRequest& each) {
                   return each.path == request.path && each.listId == request.listId;
               }) != 0;
    }
    void RemoveFromWatchers(const WatchedPathSpec& spec, std::int32_t, bool notRealTime,
                            std::size_t) override {
        removedSpecs.push_back(spec.GetFullPath() + (notRealTime ? L"" : L" and of the filter"));
    }
    void Start() override { isStarted = true; }
    void Stop() override {
        isStarted = false;
        GetQueue().terminate();
    }
    void SetPollingIntervals(const std::set<std::int32_t>& listIds) override {
        intervals = listIds;
    }
    std::uint32_t GetNotificationCount() const override { return 0; }
    std::size_t GetPolledCount() const override { return added.size(); }
    bool CanWatch(const std::wstring& path) const override { return !unwatchable.contains(path); }

    // By what was added, on any list.
    std::shared_ptr<const WatchedPathSpec> FindSpec(const std::wstring& path,
                                                    std::int32_t) override {
        for (const WatchRequest& request : added) {
            std::shared_ptr<const WatchedPathSpec> spec =
                request.virtualEntry.empty()
                    ? makeEntrySpec(request.path, request.recursionLevel)
                    : std::make_unique<VirtualPathSpec>(request.path, request.recursionLevel, false,
                                                        request.virtualEntry);
            const bool isInFolder = splitAtLastBackslash(path).directory == spec->GetDirectory() &&
                                    spec->MatchesAtLevel(path, 1, false);
            if (request.path == path || isInFolder || spec->Matches(path)) {
                return spec;
            }
        }
        return nullptr;
    }

    // Paths that are watched now, in the order in which they came.
    std::vector<std::wstring> watchedPaths() const {
        std::vector<std::wstring> paths;
        for (const WatchRequest& request : added) {
            paths.push_back(request.path);
        }
        return paths;
    }

    std::set<std::wstring> refused;
    std::set<std::wstring> unwatchable;
    std::vector<WatchRequest> added;
    std::vector<WatchRequest> removed;
    std::vector<std::wstring> removedSpecs;
    std::set<std::int32_t> intervals;
    bool isStarted = false;
};

}  // namespace lathwind::testing
