#pragma once

#include "filewatch/FileEventSource.h"

namespace lathwind::testing {

// A source whose table holds what a test or a benchmark puts there: nothing is added to it or taken
// out of it, and nothing is watched.
class IdleSource : public FileEventSource {
public:
    // `accepts` is the answer to everything that is to be watched or to be watched no more.
    explicit IdleSource(bool accepts = false) : accepts_(accepts) {}

    bool AddFileToWatch(const WatchRequest&) override { return accepts_; }
    bool RemoveFileToWatch(const WatchRequest&) override { return accepts_; }
    void RemoveFromWatchers(const WatchedPathSpec&, std::int32_t, bool, std::size_t) override {}
    void Start() override {}
    void Stop() override {}
    void SetPollingIntervals(const std::set<std::int32_t>&) override {}
    std::uint32_t GetNotificationCount() const override { return 0; }
    std::size_t GetPolledCount() const override { return 0; }

private:
    const bool accepts_;
};

}  // namespace lathwind::testing
