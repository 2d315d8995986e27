#include <algorithm>
#include <gtest/gtest.h>
#include <optional>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileWatchMonitor.h"
#include "filewatch/WatchedLogFile.h"
#include "support/BinaryFolder.h"
#include "support/FakeEventSource.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "support/StateFileBuilder.h"
#include "utils/AgentInfo.h"
#include "utils/IniFile.h"

namespace lathwind {
namespace {

using enum RestoreResult;
using lathwind::testing::LogCapture;
using lathwind::testing::ParsedEntity;
using lathwind::testing::parseStateFile;
using lathwind::testing::StateFileBuilder;
using Lines = std::vector<std::wstring>;

constexpr wchar_t kInterrupted[] =
    L"FileWatch config initialization was interrupted so the file states are not being saved.";
constexpr wchar_t kWasInterrupted[] =
    L"FileWatch config initialization was interrupted during last run so the state was not "
    L"restored.";

// Mounts of a test's own making: a save passes here with the header written and no entity yet.
class TestMounts : public MountManager {
public:
    void RefreshMounts() override {}
    bool HasVolumeInfo(const std::wstring&) override { return true; }
    bool IsFatVolume(const std::wstring&) override { return false; }
    void WriteObject(std::ostream& stream) override {
        if (whileSaving) {
            whileSaving();
        }
        MountManager::WriteObject(stream);
    }
    std::function<void()> whileSaving;
};

// "modified a.txt" and the like, of a file's event; a log's line.
std::wstring shortForm(const std::wstring& text) {
    const auto lineBehind = [&](std::wstring_view label) {
        const std::size_t begin = text.find(label) + label.size();
        return text.substr(begin, text.find(L'\n', begin) - begin);
    };
    if (text.starts_with(L"Logfile")) {
        return lineBehind(L"Message: ");
    }
    const std::wstring name = lineBehind(L"Name: ");
    return lineBehind(L"Action: ").append(L" ").append(name.substr(name.rfind(L'\\') + 1));
}

class StateTest : public ::testing::Test, public EventStore {
protected:
    StateTest() { start(); }

    // A new engine over the files as they are.
    void start() {
        monitor_.reset();
        auto mounts = std::make_unique<TestMounts>();
        mounts_ = mounts.get();
        monitor_ = std::make_unique<FileWatchMonitor>(
            *this, nullptr, Lines(),
            FileWatchMonitor::Parts{std::make_unique<testing::FakeEventSource>(),
                                    std::move(mounts)});
        const Md5Digest zeros{};
        setDigests(zeros);
        finalize();
    }
    void setDigests(const Md5Digest& digest) {
        const std::vector<Md5Digest> digests(3, digest);
        monitor_->SetDigests(digests, 0);
        monitor_->SetDigests(digests, 1);
    }
    void finalize() { monitor_->SetConfigurationPending(false); }
    std::wstring path(std::wstring_view name) const {
        return toLower(folder_.root.path(L"log\\")) + std::wstring(name);
    }
    void watch(std::wstring_view name) {
        monitor_->AddFile(path(name), {}, *stop_);
        finalize();
    }
    void follow(std::wstring_view name) {
        IniFile ini;
        ini.parse(L"[Log Files]\nFiles=1\n[File1]\nDelimiter=\\n\nFileName=" + path(name) + L"\n");
        LogFileProperties properties;
        LogFileProperties::ReadFromIni(ini, properties, 1);
        monitor_->AddLogFile(properties, WorkItemTarget::kNoOffset);
        finalize();
    }
    void write(const std::string& name, std::string_view text) {
        folder_.root.write("log/" + name, text);
    }
    void putState(const std::optional<std::string>& bytes, const std::string& name) {
        std::filesystem::remove(folder_.root.native("bin/" + name));
        if (bytes) {
            folder_.root.write("bin/" + name, *bytes);
        }
    }
    std::optional<std::string> state(const std::string& name = "FileWatch.dat") const {
        const std::string file = "bin/" + name;
        return folder_.root.exists(file) ? std::optional(folder_.root.read(file)) : std::nullopt;
    }
    std::optional<std::string> previous() const { return state("FileWatch.dat.tmp"); }
    void restore() { monitor_->RestoreState(L"FileWatch.dat", *stop_); }
    PushResult Offer(std::unique_ptr<IDSEvent> event) override {
        events_.push_back(shortForm(event->GetEventText()));
        return PushResult::Stored;
    }
    // Events since the last call.
    Lines takeEvents() { return std::exchange(events_, {}); }

    testing::BinaryFolder folder_;
    const std::unique_ptr<Event> stop_ = platformFactory.createEvent({});
    Lines events_;
    TestMounts* mounts_ = nullptr;
    std::unique_ptr<FileWatchMonitor> monitor_;
};

TEST_F(StateTest, TellsWhatChangedWhileNobodyWatched) {
    for (const char* name : {"changed", "gone", "same"}) {
        write(name, name);
    }
    write("grown.log", "one\n");
    for (const wchar_t* name : {L"changed", L"gone", L"same"}) {
        watch(name);
    }
    follow(L"grown.log");
    monitor_->Serialize();

    write("changed", "changed by somebody");
    write("new", "new");
    write("grown.log", "one\ntwo\n");
    std::filesystem::remove(folder_.root.native("log/gone"));
    start();
    for (const wchar_t* name : {L"changed", L"new", L"same"}) {
        watch(name);
    }
    follow(L"grown.log");
    restore();
    EXPECT_EQ(takeEvents(),
              (Lines{L"Modified File changed", L"Added File new", L"Deleted File gone", L"two"}));
}

}  // namespace
}  // namespace lathwind
