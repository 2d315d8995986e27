#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "filewatch/FileWatchParams.h"
#include "filewatch/LogFileProperties.h"
#include "filewatch/WatchLists.h"
#include "filewatch/WatchedPathSpec.h"

namespace lathwind::testing {

// What a test configures, by entry.
class FakeWatchLists : public WatchLists {
public:
    bool FindLogProperties(const std::wstring& path, LogFileProperties* properties) override {
        for (const auto& [entry, each] : logs) {
            if (entry == path || WatchedPathSpec(entry, 1, false).Matches(path)) {
                if (properties != nullptr) {
                    *properties = each;
                }
                return true;
            }
        }
        return false;
    }
    bool GetFileParams(const std::wstring& entry, FileWatchParams* params) override {
        const auto found = files.find(entry);
        if (found != files.end() && params != nullptr) {
            *params = found->second;
        }
        return found != files.end();
    }

    std::map<std::wstring, FileWatchParams> files;
    std::map<std::wstring, LogFileProperties> logs;
};

// Keeps what the monitor hands on, or gives it back as a full store would.
class FakeEventStore : public EventStore {
public:
    PushResult Offer(std::unique_ptr<IDSEvent> event) override {
        if (result != PushResult::Full) {
            events.push_back(std::move(event));
        }
        return result;
    }
    bool HasRoomFor(std::size_t) const override { return result != PushResult::Full; }

    PushResult result = PushResult::Stored;
    std::vector<std::unique_ptr<IDSEvent>> events;
};

}  // namespace lathwind::testing
