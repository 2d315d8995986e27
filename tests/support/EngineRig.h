#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "filewatch/FileWatchMonitor.h"
#include "filewatch/FileWatchSubject.h"
#include "filewatch/windows/WinFileEventSource.h"
#include "support/BinaryFolder.h"
#include "support/SteppedPlatform.h"
#include "utils/AgentInfo.h"
#include "utils/Text.h"

namespace lathwind::testing {

// The whole engine on one thread and a clock of its own, over real files: an installation in a
// temporary folder, with "watched" beside its "bin". A test changes files, lets time pass, and asks
// what has been told.
//
//     EngineRig rig;
//     rig.writeFileList("MaxFileNumber=1\nFile0001=" + rig.watched("*.txt") + "|1|1|0\n");
//     rig.start();
//     rig.write("a.txt", "1");
//     rig.poll();
//     EXPECT_EQ(rig.take(), std::vector<std::string>{"C a.txt"});
class EngineRig : private EventDestination {
public:
    // The list of high protection is walked every 10 seconds, as logs are, the normal one each
    // minute; the state is saved every two minutes if anything was found.
    EngineRig() {
        WinFileWatcher::SetDirty(false);  // one flag for the process
        writeSettings("");
        settings_ = std::make_unique<AgentInfoRef>();
        (*settings_)->reload();
        folder_.root.makeFolder("watched");
    }
    ~EngineRig() override { kill(); }

    void writeSettings(const std::string& fileCollectorKeys) {
        folder_.root.write("system/agent.ini",
                           "[File Collector]\nshort poll interval=10\nlong poll interval=1\n");
        folder_.root.write(
            "system/LocalAgent.ini",
            // Of two keys of one name the first counts.
            "[File Collector]\n" + fileCollectorKeys + "DatFile State Saving Frequency=2\n");
        if (settings_ != nullptr) {
            (*settings_)->reload();
        }
    }
    // The keys of the list of high protection.
    void writeFileList(const std::string& keys) {
        folder_.root.write("system/filewatch.ini",
                           "[FileWatch]\nNumLists=1\n[FileWatch List - High Protection]\n" + keys);
    }
    const TempDir& root() const { return folder_.root; }
    SteppedPlatform& platform() { return platform_; }
    FileWatchMonitor& monitor() { return *subject_->GetMonitor(); }
    FileWatchSubject& subject() { return *subject_; }
    WinFileEventSource& source() { return static_cast<WinFileEventSource&>(monitor().GetSource()); }

    // A path below "watched", as the lists spell it, and as a file.
    std::string watched(std::string_view name) const {
        return narrow(folder_.root.path(L"watched\\" + widen(name)));
    }
    void write(const std::string& name, std::string_view text) {
        folder_.root.write("watched/" + name, text);
    }
    void append(const std::string& name, std::string_view text) {
        std::ofstream(native(name), std::ios::binary | std::ios::app) << text;
    }
    void remove(const std::string& name) { std::filesystem::remove_all(native(name)); }
    void rename(const std::string& from, const std::string& to) {
        std::filesystem::rename(native(from), native(to));
    }
    std::filesystem::path native(const std::string& name) const {
        return folder_.root.native("watched/" + name);
    }

    // From reading the lists to the final configuration.
    void start() {
        subject_ = std::make_unique<FileWatchSubject>();
        subject_->attach(*this);
        subject_->CreateMonitor(FileWatchMonitor::MakeParts());
        subject_->LoadConfiguration();
        monitor().EnQueueDeserialize();
        monitor().EnQueueFinalizeConfig();
        monitor().Start();
        settle();
    }
    // In order: the state is saved.
    void stop() {
        monitor().Stop();
        subject_->Drain();
        subject_.reset();
    }
    // As a crash leaves it: the state that was saved last.
    void kill() {
        if (subject_ == nullptr) {
            return;
        }
        const std::string state = stateFile("FileWatch.dat");
        const std::string previous = stateFile("FileWatch.dat.tmp");
        subject_->Drain();
        subject_.reset();
        restoreFile("FileWatch.dat", state);
        restoreFile("FileWatch.dat.tmp", previous);
    }
    void reconfigure(std::uint32_t lists) {
        subject_->Reconfigure(lists);
        settle();
    }
    // Everything that is queued is done.
    void settle() {
        while (monitor().GetWorkItems().GetLength() != 0) {
            monitor().GetWorkItems().Step();
        }
        while (monitor().GetSource().GetQueue().state().count != 0) {
            try {
                monitor().Step();
            } catch (const NothingToWaitFor&) {  // the rest was not relevant
            }
        }
        subject_->Drain();
    }
    // So much time passes, with every walk that falls into it.
    void poll(std::int64_t seconds = 10) {
        const std::int64_t end = platform_.currentTimeMs() + seconds * 1000;
        while (platform_.currentTimeMs() < end) {
            source().GetPolling().Step();
            settle();
        }
    }

    // The events since the last call: "M a.txt" of a file, with the letter of what happened,
    // "a.log: line" of a log.
    std::vector<std::string> take() {
        subject_ != nullptr ? static_cast<void>(subject_->Drain()) : void();
        std::vector<std::string> told;
        for (const auto& event : events) {
            told.push_back(describe(*event));
        }
        events.clear();
        return told;
    }

    EventList events;  // handed on and not yet taken

private:
    bool isFull() override { return false; }
    void take(std::unique_ptr<IDSEvent> event) override { events.push_back(std::move(event)); }

    std::string describe(const IDSEvent& event) const {
        const auto& values = event.GetValues();
        const std::wstring prefix = toLower(folder_.root.path(L"watched\\"));
        std::wstring path = values.size() > 1 ? values[1] : std::wstring();
        if (path.starts_with(prefix)) {
            path.erase(0, prefix.size());
        }
        return event.GetSourceKind() == sourceKind::LogWatch
                   ? narrow(path) + ": " + narrow(event.GetField(eventField::Description))
                   : narrow(values.size() > 2 ? values[2] : std::wstring()) + " " + narrow(path);
    }
    std::string stateFile(const std::string& name) const {
        return folder_.root.exists("bin/" + name) ? folder_.root.read("bin/" + name) : "";
    }
    void restoreFile(const std::string& name, const std::string& bytes) const {
        std::filesystem::remove(folder_.root.native("bin/" + name));
        if (!bytes.empty()) {
            folder_.root.write("bin/" + name, bytes);
        }
    }

    SteppedPlatform platform_;
    BinaryFolder folder_;
    std::unique_ptr<AgentInfoRef> settings_;
    std::unique_ptr<FileWatchSubject> subject_;
};

}  // namespace lathwind::testing
