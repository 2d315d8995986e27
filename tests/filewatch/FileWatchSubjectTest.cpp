#include <gtest/gtest.h>

#include "filewatch/FileWatchSubject.h"
#include "filewatch/StateFile.h"
#include "support/BinaryFolder.h"
#include "support/FakeEventSource.h"
#include "support/LogCapture.h"
#include "support/SteppedPlatform.h"
#include "utils/AgentInfo.h"
#include "utils/StatisticsReport.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using lathwind::testing::LogCapture;
using Lines = std::vector<std::wstring>;

class FileWatchSubjectTest : public ::testing::Test {
protected:
    FileWatchSubjectTest() {
        subject_.CreateMonitor({std::make_unique<testing::FakeEventSource>(), nullptr});
    }
    void writeList(const std::string& name, const std::string& text) {
        folder_.root.write("system/" + name + ".ini", text);
    }
    void writeFiles(const std::string& keys) {
        writeList("filewatch", "[FileWatch]\nNumLists=1\n[FileWatch List0001]\n" + keys);
    }
    void writeLogs(const std::string& keys) {
        writeList("logwatch", "[Log Files]\nFiles=3\n" + keys);
    }
    // What was queued since the last call: "Add(c:\a)" and the like.
    Lines queued() {
        constexpr std::wstring_view kPrefix = L"FileWatchInit::EnQueue";
        Lines items;
        for (const std::wstring& line : log_.takeDebug()) {
            if (line.starts_with(kPrefix)) {
                items.push_back(line.substr(kPrefix.size()));
            }
        }
        return items;
    }
    Lines reconfigured(std::uint32_t lists) {
        EXPECT_TRUE(subject_.Reconfigure(lists));
        return queued();
    }

    testing::SteppedPlatform platform_;
    testing::BinaryFolder folder_;
    LogCapture log_;
    FileWatchSubject subject_;
};

TEST_F(FileWatchSubjectTest, LoadsLogsAheadOfFiles) {
    writeFiles("MaxFileNumber=2\nFile0001=c:\\b\nFile0002=c:\\a|1\n");
    writeList("custfilewatch",
              "[FileWatch]\nNumLists=1\n[FileWatch List0001]\nPollInterval=40\nMaxFileNumber=2\n"
              "File0001=C:\\A|5\nFile0002=c:\\c\n");
    writeLogs("[File1]\nFileName=c:\\x.log\n[File2]\nFileName=C:\\X.log\nVirtualName=two\n");
    writeList("ipslogwatch", "[Log Files]\nFiles=1\n[File1]\nFileName=c:\\ips.log\n");
    subject_.LoadConfiguration();
    EXPECT_TRUE(log_.hasDebug(L"Duplicate filewatch.ini entry: c:\\a dropped"));
    EXPECT_TRUE(log_.hasDebug(L"Duplicate logwatch.ini entry: c:\\x.log dropped"));
    EXPECT_EQ(queued(), (Lines{L"AddLog(c:\\ips.log)", L"AddLog(c:\\x.log)", L"Add(c:\\a)",
                               L"Add(c:\\b)", L"Add(c:\\c)", L"UpdateFileDiffs()"}));
    EXPECT_TRUE(subject_.GetMonitor()->IsConfigurationPending());
    const auto& source = static_cast<testing::FakeEventSource&>(subject_.GetMonitor()->GetSource());
    EXPECT_EQ(source.intervals, (std::set<std::int32_t>{10, 40}));
    FileWatchParams params;
    ASSERT_TRUE(subject_.GetFileParams(L"c:\\a", &params));
    EXPECT_EQ(params.recursionLevel, 1) << "the first one stands";
    EXPECT_FALSE(subject_.GetFileParams(L"c:\\d", nullptr));
    LogFileProperties properties;
    ASSERT_TRUE(subject_.FindLogProperties(L"c:\\x.log", &properties));
    EXPECT_EQ(properties.GetVirtualName(), L"");
}

TEST_F(FileWatchSubjectTest, ReconfiguresWhatDiffers) {
    writeFiles(
        "ListLabel=one\nMaxFileNumber=9\nFile0001=c:\\a\nFile0002=c:\\b|1|1\n"
        "File0003=c:\\c\nFile0004=c:\\logs\\x.log\n");
    writeLogs("[File1]\nFileName=c:\\logs\\*.log\n[File2]\nFileName=c:\\y.log\n");
    subject_.LoadConfiguration();
    const auto finalize = [&] { subject_.GetMonitor()->SetConfigurationPending(false); };
    finalize();
    queued();
    const Lines nothing{L"FinalizeConfig()"};
    const Lines noFile{L"UpdateFileDiffs()", L"FinalizeConfig()"};
    EXPECT_EQ(reconfigured(FileWatchSubject::kFileLists), noFile);

    writeFiles(
        "ListLabel=two\nMaxFileNumber=9\nFile0001=c:\\a\nFile0002=c:\\b|1|1\n"
        "File0003=c:\\c\nFile0004=c:\\logs\\x.log\n");
    EXPECT_EQ(reconfigured(FileWatchSubject::kFileLists), noFile) << "a label alone";
    EXPECT_FALSE(subject_.GetMonitor()->IsConfigurationPending());

    writeFiles(
        "MaxFileNumber=9\nFile0001=c:\\a\nFile0002=c:\\b|1|0\nFile0005=c:\\d\n"
        "File0006=c:\\c|2|0|1\n");
    EXPECT_EQ(reconfigured(FileWatchSubject::kFileLists),
              (Lines{L"Remove(c:\\b)", L"Remove(c:\\c)", L"Remove(c:\\logs\\x.log)",
                     L"AddLog(c:\\logs\\*.log)", L"Add(c:\\b)", L"Add(c:\\c)", L"Add(c:\\d)",
                     L"UpdateFileDiffs()", L"FinalizeConfig()"}));
    EXPECT_TRUE(subject_.GetMonitor()->IsConfigurationPending());

    finalize();
    EXPECT_EQ(reconfigured(FileWatchSubject::kLogLists), nothing);
    writeLogs("[File1]\nFileName=c:\\logs\\*.log\nDelimiter=;\n[File2]\nFileName=c:\\z.log\n");
    EXPECT_EQ(reconfigured(FileWatchSubject::kLogLists),
              (Lines{L"Remove(c:\\logs\\*.log)", L"AddLog(c:\\logs\\*.log)", L"AddLog(c:\\z.log)",
                     L"Remove(c:\\y.log)", L"FinalizeConfig()"}));
    EXPECT_TRUE(subject_.GetMonitor()->IsConfigurationPending());
    EXPECT_EQ(reconfigured(0), nothing);
}

// Of two configurations in the queue the first one's end is not the second one's.
TEST_F(FileWatchSubjectTest, IsPendingUntilTheLastConfigurationIsThrough) {
    FileWatchMonitor& monitor = *subject_.GetMonitor();
    subject_.LoadConfiguration();
    for (const char* name : {"a", "b"}) {
        writeFiles(std::string("MaxFileNumber=1\nFile0001=c:\\") + name + "\n");
        subject_.Reconfigure(FileWatchSubject::kFileLists);
    }
    subject_.Reconfigure(FileWatchSubject::kLogLists);  // changes nothing
    while (monitor.GetWorkItems().GetLength() != 0) {
        EXPECT_TRUE(monitor.IsConfigurationPending()) << monitor.GetWorkItems().GetLength();
        monitor.GetWorkItems().Step(0);
    }
    EXPECT_FALSE(monitor.IsConfigurationPending());
}

// What is watched stays so while a list cannot be read, or its state waits to be restored.
TEST_F(FileWatchSubjectTest, AReconfigurationThatMustWaitChangesNothing) {
    constexpr std::uint32_t kAll = FileWatchSubject::kFileLists | FileWatchSubject::kLogLists;
    EXPECT_FALSE(subject_.Reconfigure(kAll)) << "nothing was loaded yet";
    writeFiles("MaxFileNumber=1\nFile0001=c:\\a\n");
    subject_.LoadConfiguration();
    subject_.GetMonitor()->EnQueueDeserialize();
    queued();
    writeLogs("[File1]\nFileName=c:\\x.log\n");
    EXPECT_FALSE(subject_.Reconfigure(kAll));
    while (subject_.GetMonitor()->GetWorkItems().GetLength() != 0) {
        subject_.GetMonitor()->GetWorkItems().Step(0);
    }
    std::filesystem::remove(folder_.root.native("system/filewatch.ini"));
    folder_.root.makeFolder("system/filewatch.ini");  // there, and no text
    EXPECT_FALSE(subject_.Reconfigure(kAll));
    EXPECT_EQ(queued(), Lines());
    EXPECT_TRUE(subject_.GetFileParams(L"c:\\a", nullptr));
    EXPECT_EQ(subject_.TakeUnreadLists(), 0u);

    const std::int64_t before = platform_.steadyTimeMs();
    subject_.LoadConfiguration();
    EXPECT_EQ(platform_.steadyTimeMs() - before, 5000);
    EXPECT_EQ(subject_.TakeUnreadLists(), FileWatchSubject::kFileLists);
    EXPECT_EQ(subject_.TakeUnreadLists(), 0u);
    EXPECT_TRUE(subject_.Reconfigure(FileWatchSubject::kLogLists));
}

TEST_F(FileWatchSubjectTest, ReportsWhatItRefuses) {
    const std::string tooLong = "c:\\" + std::string(257, 'x');
    writeFiles("MaxFileNumber=9\nFile0001=" + tooLong +
               "\nFile0002=no\nFile0003=c:\\a|64\nFile0004=c:\\..\nFile0005=" + tooLong +
               "y\nFile0006=c:\\b|99\n");
    writeLogs("[File1]\nFileName=bad.log\n[File2]\nFileName=" + tooLong + "\n");
    writeList("custlogwatch", "[Log Files]\nFiles=1\n[File1]\nFileName=worse.log\n");
    subject_.LoadConfiguration();
    const auto warning = [](const std::wstring& text) {
        return LogCapture::Message{Severity::Warning, text};
    };
    const auto tooLongRow = [&](const std::wstring& paths) {
        return warning(std::wstring(L"FWC_0020: Files exceeding maximum allowed path length (260) "
                                    L"will not be monitored:\n")
                           .append(paths));
    };
    const std::wstring path = widen(tooLong);
    EXPECT_EQ(log_.messages,
              (std::vector<LogCapture::Message>{
                  tooLongRow(path),
                  warning(L"FWC_0018: Invalid path(s) will not be monitored: bad.log\nworse.log"),
                  tooLongRow(path + L"\n" + path + L"y"),
                  warning(L"FWC_0018: Invalid path(s) will not be monitored: no\nc:\\.."),
                  warning(L"FWC_0032: Invalid File collector rule(s) dropped. Maximum search depth "
                          L"63 exceeded: c:\\a\nc:\\b")}));
    EXPECT_EQ(queued(), Lines{L"UpdateFileDiffs()"});
}

TEST_F(FileWatchSubjectTest, FindsThePropertiesOfALog) {
    writeLogs(
        "[File1]\nFileName=c:\\logs\\*.log\nVirtualName=mask\n"
        "[File2]\nFileName=c:\\one.log\nVirtualName=one\n"
        "[File3]\nFileName=c:\\i\\{virtual_tag}\\x.log\nVirtualName=virtual\n");
    writeList("custlogwatch",
              "[Log Files]\nFiles=1\n[File1]\nFileName=c:\\logs\\own.log\nVirtualName=own\n");
    subject_.LoadConfiguration();
    const struct {
        const wchar_t* path;
        const wchar_t* name;  // null: no entry
    } rows[] = {
        {L"c:\\one.log", L"one"},           {L"c:\\two.log", nullptr},
        {L"c:\\logs\\a.log", L"mask"},      {L"c:\\logs\\a.txt", nullptr},
        {L"c:\\logs\\b\\a.log", nullptr},   {L"c:\\logs\\*.log", L"mask"},
        {L"c:\\logs\\own.log", L"own"},     {L"c:\\logs\\a*.log", nullptr},
        {L"c:\\i\\web\\x.log", L"virtual"},
    };
    for (const auto& row : rows) {
        LogFileProperties properties;
        EXPECT_EQ(subject_.FindLogProperties(row.path, &properties), row.name != nullptr)
            << narrow(row.path);
        EXPECT_EQ(properties.GetVirtualName(), row.name != nullptr ? row.name : L"");
    }
}

TEST_F(FileWatchSubjectTest, TellsTheMonitorTheDigests) {
    writeFiles("MaxFileNumber=0\n");
    subject_.LoadConfiguration();
    FileWatchMonitor& monitor = *subject_.GetMonitor();
    monitor.SetConfigurationPending(false);
    const auto savedDigests = [&] {
        monitor.Serialize();
        return folder_.root.read("bin/FileWatch.dat").substr(8, kFrameBytes - 8);
    };
    const auto present = [] {
        std::string bytes;
        for (const Md5Digest& digest : digestWatchLists()) {
            bytes.append(digest.begin(), digest.end());
        }
        return bytes;
    };
    const std::string first = present();
    EXPECT_EQ(savedDigests(), first);
    writeFiles("MaxFileNumber=0\nListLabel=x\n");
    writeLogs("");
    subject_.Reconfigure(FileWatchSubject::kLogLists);
    EXPECT_EQ(savedDigests(), first.substr(0, 32) + present().substr(32));
    subject_.Reconfigure(FileWatchSubject::kFileLists);
    EXPECT_EQ(savedDigests(), present());
}

TEST_F(FileWatchSubjectTest, Statistics) {
    const auto line = [](const wchar_t* values) {
        return StatisticsReport::paddedLabel(L"Events collected by File Collector").append(values);
    };
    EXPECT_EQ(subject_.GetStatistics(),
              line(L"0 (Files : 0 Logs : 0 Diffs : 0  @ 0 KB RT Trig : 0 Poll Trig : 0/0)"));
    EXPECT_TRUE(subject_.HasRoomFor(1'000'000)) << "as much as there ever is";
    subject_.Offer(std::make_unique<IDSEvent>());
    EXPECT_TRUE(subject_.HasRoomFor(4999));
    EXPECT_FALSE(subject_.HasRoomFor(5000));
    while (subject_.Offer(std::make_unique<IDSEvent>()) != PushResult::Full) {
    }
    EXPECT_FALSE(subject_.HasRoomFor(1));
    subject_.Drain();
    EXPECT_TRUE(subject_.GetStatistics().starts_with(line(L"5000(Events dropped:1) (Files : ")));
}

// An entry has what it says, and what the settings give to all.
TEST_F(FileWatchSubjectTest, SettingsSwitchFlagsOn) {
    writeFiles("MaxFileNumber=2\nFile0001=c:\\a\nFile0002=c:\\b|2|1|1\n");
    subject_.LoadConfiguration();
    const AgentInfoRef settings;
    const auto flags = [&](const wchar_t* path) {
        FileWatchParams params;
        subject_.GetFileParams(path, &params);
        return std::pair(params.checksum, params.monitorAccessTime);
    };
    for (const bool isOn : {false, true}) {
        const std::string value = isOn ? "1\n" : "0\n";
        writeList("agent", "[File Collector]\nEnable Watched Files Checksum=" + value +
                               "Monitor Last Access Time=" + value);
        settings->reload();
        subject_.Reconfigure(FileWatchSubject::kFileLists);
        EXPECT_EQ(flags(L"c:\\a"), std::pair(isOn, isOn));
        EXPECT_EQ(flags(L"c:\\b"), std::pair(true, true));
    }
}

struct Recorder : EventDestination {
    bool isFull() override { return false; }
    void take(std::unique_ptr<IDSEvent> event) override { texts.push_back(event->GetEventText()); }
    Lines texts;
};

std::unique_ptr<IDSEvent> eventOf(const wchar_t* text) {
    auto event = std::make_unique<IDSEvent>();
    event->SetEventText(text);
    return event;
}

// The thread starts the engine and ends it; what the engine still tells on its way out is kept.
TEST(FileWatchSubjectThreads, RunsAndStops) {
    const testing::BinaryFolder folder;
    folder.root.write("system/filewatch.ini", "[FileWatch]\nNumLists=1\n");
    Recorder recorder;
    FileWatchSubject subject;
    subject.attach(recorder);
    struct Source : testing::FakeEventSource {
        void Stop() override {
            if (isStarted) {
                subject->Offer(eventOf(L"late"));
            }
            FakeEventSource::Stop();
        }
        FileWatchSubject* subject = nullptr;
    };
    auto source = std::make_unique<Source>();
    source->subject = &subject;
    const Source& watched = *source;
    EXPECT_TRUE(subject.Initialize({std::move(source), nullptr}));
    subject.Offer(eventOf(L"early"));
    subject.Stop();
    EXPECT_EQ(recorder.texts, (Lines{L"early", L"late"}));
    EXPECT_FALSE(watched.isStarted);
    EXPECT_FALSE(folder.root.exists("bin/FileWatch.dat"))
        << "stopped before the restore, there is nothing to save";
}

// The monitor does not run on when the thread that would have stopped it has died.
TEST(FileWatchSubjectThreads, StopsTheMonitorOfADeadThread) {
    const testing::BinaryFolder folder;
    struct Dead : FileWatchSubject {
        void run() override { GetMonitor()->Start(); }
    } subject;
    subject.Initialize({std::make_unique<testing::FakeEventSource>(), nullptr});
    subject.Stop();
    EXPECT_FALSE(subject.GetMonitor()->IsRunning());
}

}  // namespace
}  // namespace lathwind
