#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/windows/WinFileWatcher.h"
#include "support/IdleSource.h"

namespace lathwind::testing {

// What polling stands on, in the simplest form: a source that covers what a test says, a monitor
// that knows what a test tells it, and a watcher whose walks a test starts.
class PollingRig {
public:
    class Source : public IdleSource {
    public:
        void cover(const std::wstring& path, std::int32_t level, std::int32_t listId) {
            const auto spec = std::make_shared<WatchedPathSpec>(path, level, false);
            Specs().AddList(listId);
            Specs().Insert(spec->IsWildCard() ? spec->GetDirectory() : path, spec, listId);
        }
        void uncover(const std::wstring& path, std::int32_t listId) {
            const WatchedPathSpec spec(path, 1, false);
            Specs().Remove(path, &spec, listId);
        }
    };

    class Monitor : public MonitorQueries {
    public:
        // As the entity of the path is after a notification; it goes with the file.
        void refresh(const std::wstring& path, std::int32_t listId) {
            const std::shared_ptr<const FileAttributes> now = CreateFileAttributes(path);
            if (now->Exists()) {
                known_[{listId, path}] = now;
            } else {
                known_.erase({listId, path});
            }
        }
        // As the entities are after a mount: none goes.
        void refreshAll(std::int32_t listId) {
            for (auto& [key, attributes] : known_) {
                if (key.first == listId) {
                    attributes = CreateFileAttributes(key.second);
                }
            }
        }
        void forget(const std::wstring& path) {
            std::erase_if(known_, [&](const auto& row) { return row.first.second == path; });
        }

        LastKnownState GetAttributes(const std::wstring& path, std::int32_t listId) override {
            const auto row = known_.find({listId, path});
            return row == known_.end() ? LastKnownState()
                                       : LastKnownState{row->second, unread.contains(path)};
        }
        bool IsIPSFilterWatchingFile(const std::wstring& path, std::int32_t) override {
            return filtered.contains(path);
        }
        IPSFilterInterface* GetStartedFilter() override { return nullptr; }
        bool IsConfigurationPending() const noexcept override { return isPending; }

        std::set<std::wstring> filtered;  // what the real-time filter watches
        std::set<std::wstring> unread;    // logs with lines left
        bool isPending = false;           // entries are being added

    private:
        std::map<std::pair<std::int32_t, std::wstring>, std::shared_ptr<const FileAttributes>>
            known_;
    };

    class Watcher : public WinFileWatcher {
    public:
        using WinFileWatcher::WinFileWatcher;
        ~Watcher() override { Stop(); }

        // One expiry of the list's timer; gives its period afterwards.
        std::int32_t Walk(std::int64_t timerId, std::int64_t now) {
            TimerItem timer(timerId, L"", TimerItem::Kind::Relative, 60, 60);
            TimerExpired(now, timer);
            return timer.GetPeriod();
        }

        bool isImpatient = false;  // on the thread each wait is an hour that passes at once

    protected:
        std::int64_t GetNow() override {
            return isImpatient ? now_.load() : WinFileWatcher::GetNow();
        }
        void WaitForWake(Event& wake, std::int32_t milliseconds) override {
            if (!isImpatient) {
                WinFileWatcher::WaitForWake(wake, milliseconds);
                return;
            }
            now_ += 3600;
            std::this_thread::yield();
        }

    private:
        std::atomic<std::int64_t> now_{1'800'000'000};
    };

    // What was queued since the last call, as "Action path", and without the markers.
    std::vector<std::wstring> takeTold() {
        std::vector<std::wstring> lines;
        while (!source.GetQueue().empty()) {
            const std::unique_ptr<FileNotificationInfo> next(source.GetQueue().popFront());
            lines.push_back(std::wstring(fileActionText(next->action)) + L' ' + next->path);
            told_.emplace_back(next->path, next->listId);
        }
        return lines;
    }
    // The monitor takes in what was taken from the queue.
    void learn() {
        for (const auto& [path, listId] : told_) {
            monitor.refresh(path, listId);
        }
        told_.clear();
    }
    // Does the saving's timer queue a marker?
    bool marksSaving() {
        watcher.Walk(WinFileWatcher::kSaveTimer, 0);
        const auto told = takeTold();
        told_.clear();
        return told == std::vector<std::wstring>{L"No Action NoFile"};
    }

    Source source;
    Monitor monitor;
    Watcher watcher{source};

private:
    std::vector<std::pair<std::wstring, std::int32_t>> told_;
};

}  // namespace lathwind::testing
