#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "filewatch/FileWatchMonitor.h"
#include "filewatch/IPSFilterInterface.h"
#include "support/BinaryFolder.h"
#include "support/FakeEventSource.h"
#include "support/FilterLibrary.h"
#include "support/LogCapture.h"
#include "support/MonitorFakes.h"
#include "support/SleeplessHost.h"
#include "utils/AgentInfo.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using Call = testing::TestFilterControl::Call;

constexpr std::uint32_t kActor = 0x7FFFFF01;  // nobody's id

IPSFilterEvent eventOf(std::uint32_t type, const wchar_t* path, const wchar_t* newPath = nullptr) {
    return {type, 7, kActor, nullptr, path, L"p.exe", newPath};
}

// A monitor and a filter library in its binary folder.
class FileWatchMonitorFilter : public ::testing::Test {
protected:
    FileWatchMonitorFilter()
        : library(installation.root.native("bin"), installation.root.path(L"bin")) {
        remake();
    }
    void remake() {
        monitor.reset();
        auto made = std::make_unique<testing::FakeEventSource>();
        source = made.get();
        monitor = std::make_unique<FileWatchMonitor>(
            store, nullptr, std::vector<std::wstring>(),
            FileWatchMonitor::Parts{.source = std::move(made), .mounts = nullptr});
    }
    std::vector<std::wstring> queued() {
        std::vector<std::wstring> paths;
        while (!source->GetQueue().empty()) {
            const std::unique_ptr<FileNotificationInfo> note(source->GetQueue().popFront());
            paths.push_back(note->path);
        }
        return paths;
    }

    const testing::BinaryFolder installation;
    const testing::FilterLibrary library;
    testing::TestFilterControl& control = library.control();
    testing::FakeEventStore store;
    testing::FakeEventSource* source = nullptr;
    std::unique_ptr<FileWatchMonitor> monitor;
};

TEST_F(FileWatchMonitorFilter, EventsAreQueued) {
    testing::LogCapture log;
    FileWatchMonitor::OnFilterEvent(nullptr);
    for (const std::uint32_t type : {0u, 0u, 4u, 5u}) {
        const IPSFilterEvent event = eventOf(type, L"C:\\No\\Such");
        FileWatchMonitor::OnFilterEvent(&event);
    }
    EXPECT_EQ(monitor->GetDriverEventCount(), 4u);
    EXPECT_EQ(queued(), std::vector<std::wstring>(3, L"c:\\no\\such"));
    EXPECT_EQ(monitor->GetWorkItems().GetLength(), 2u);
    EXPECT_TRUE(log.hasDebug(L"FileWatchMonitor::ExMount(C:\\No\\Such)"));
    EXPECT_TRUE(log.hasDebug(L"FileWatchMonitor::ExUnMount(C:\\No\\Such)"));

    source->GetQueue().setLimit(0);
    const IPSFilterEvent refused = eventOf(2, L"C:\\x:s");
    FileWatchMonitor::OnFilterEvent(&refused);
    EXPECT_TRUE(
        log.hasDebug(L"Failed to add IPS filewatch notify op (File Modified) for "
                     L"(c:\\x). Process: p.exe"));
    monitor.reset();
    FileWatchMonitor::OnFilterEvent(&refused);  // nobody is there
}

TEST_F(FileWatchMonitorFilter, IsAPathWatchedByTheFilter) {
    source->added.push_back({L"c:\\d\\*.txt", 1, false, false, 1, L""});
    EXPECT_FALSE(monitor->IsIPSFilterWatchingFile(L"c:\\d\\a.txt", 1));  // not started
    EXPECT_EQ(control.CountOf(Call::IsMonitored), 0u);
    ASSERT_TRUE(monitor->StartIPSFilter());
    struct Row {
        std::int32_t result;
        bool isWatched;
        std::size_t lines;
    };
    for (const Row& row : {Row{0, false, 3}, Row{1, true, 3}, Row{2, true, 3}, Row{3, true, 3},
                           Row{4, false, 4}, Row{-1, false, 4}}) {
        control.SetResult(Call::IsMonitored, row.result);
        testing::LogCapture log;
        EXPECT_EQ(monitor->IsIPSFilterWatchingFile(L"c:\\d\\a.txt", 1), row.isWatched);
        ASSERT_EQ(log.debugLines.size(), row.lines);
        EXPECT_EQ(log.debugLines[0], L"FileWatchMonitor::IsIPSFilterWatchingFile(c:\\d\\a.txt, 1)");
        EXPECT_EQ(log.debugLines[1],
                  L"FileWatchMonitor::IsIPSFilterWatchingFile()-> Matching pattern c:\\d\\*.txt");
        EXPECT_EQ(log.hasDebug(L"isPathMonitored failed with error " + std::to_wstring(row.result)),
                  row.lines == 4);
        std::wstring last =
            L"FileWatchMonitor::IsIPSFilterWatchingFile()-> c:\\d\\*.txt -> is monitored: ";
        EXPECT_EQ(log.debugLines.back(), last.append(row.isWatched ? L"TRUE" : L"FALSE"));
    }
}

TEST_F(FileWatchMonitorFilter, TheSettingKeepsTheLibraryOut) {
    monitor.reset();
    installation.root.write("system/LocalAgent.ini",
                            "[File Collector]\nEnable Filewatch Filter=0\n");
    const AgentInfoRef settings;
    settings->reload();
    remake();
    testing::LogCapture log;
    EXPECT_FALSE(monitor->StartIPSFilter());
    EXPECT_FALSE(monitor->StopIPSFilter());
    EXPECT_EQ(log.debugLines,
              std::vector<std::wstring>{L"IPS Filewatch Filter is disabled in LocalAgent.ini."});
    EXPECT_TRUE(log.messages.empty());
    EXPECT_EQ(control.CountOf(Call::GetInterface), 0u);
    monitor.reset();
}

// The filter pushes on while the monitor goes and another one comes.
using FileWatchMonitorFilterThreads = FileWatchMonitorFilter;

TEST_F(FileWatchMonitorFilterThreads, TheMonitorMayGoAtAnyMoment) {
    ASSERT_TRUE(monitor->StartIPSFilter());
    control.SetResult(Call::Stop, 1);  // it does not stop when the first monitor does
    control.Push(eventOf(2, L"c:\\d\\f"), 20'000);
    remake();
    while (monitor->GetDriverEventCount() == 0 && control.CountOfEvents() < 20'000) {
        platform::host().sleepMs(1);
    }
    control.SetResult(Call::Stop, 0);
    control.Drain();
    EXPECT_EQ(control.CountOfEvents(), 20'000u);
    EXPECT_TRUE(monitor->StartIPSFilter());
    EXPECT_TRUE(monitor->StopIPSFilter());

    monitor->Start();
    const std::uint32_t stops = control.CountOf(Call::Stop);
    monitor->Stop();
    monitor->Stop();  // the library has been told
    EXPECT_EQ(control.CountOf(Call::Stop), stops + 1);
}

}  // namespace
}  // namespace lathwind
