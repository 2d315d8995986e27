#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "filewatch/FileWatchInit.h"
#include "support/LogCapture.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::LogCapture;

// Writes down what it is asked to do.
class RecordingTarget : public WorkItemTarget {
public:
    void RestoreState(const std::wstring& path, Event&) override { note(L"restore", path); }
    void AddFile(const std::wstring& path, const FileWatchParams& params, Event& stop) override {
        note(L"add", path, params.listId);
        // A long walk that looks at the stop event after each hundred paths.
        while (isLong && !isStopRequested(stop)) {
            started->set();
        }
    }
    void AddLogFile(const LogFileProperties& properties, std::int32_t offset) override {
        note(L"add log", properties.GetFileName(), offset);
    }
    void RemoveFile(const std::wstring& path, const FileWatchParams& params,
                    std::int32_t index) override {
        note(L"remove", path, params.listId * 10 + index);
    }
    void SetConfigurationPending(bool pending) override { note(L"pending", L"", pending); }
    void UpdateAll() override {
        note(L"update", L"");
        started->set();
    }
    void UpdateFileDiffs() override { note(L"update diffs", L""); }
    void ProcessMount(const std::wstring& path, std::int32_t pid, const std::wstring& user,
                      const std::wstring& process, Event&) override {
        note(L"mount", path + L"," + user + L"," + process, pid);
    }

    std::vector<std::wstring> done;
    bool isLong = false;
    const std::unique_ptr<Event> started = platformFactory.createEvent(L"");

private:
    void note(const wchar_t* what, const std::wstring& path, std::int32_t number = 0) {
        done.push_back(std::wstring(what) + L" " + path + L" " + std::to_wstring(number));
    }
};

FileWatchParams onList(std::int32_t id) {
    FileWatchParams params;
    params.listId = id;
    return params;
}

TEST(FileWatchInitTest, DoesOneItemATurnInOrder) {
    RecordingTarget target;
    FileWatchInit items(&target);
    LogFileProperties log;
    log.SetFileName(L"c:\\a.log");
    items.EnQueueRemove(L"c:\\old", onList(2), 1);
    items.EnQueueAddLog(log, WorkItemTarget::kNoOffset);
    items.EnQueueAdd(L"c:\\new", onList(7));
    items.EnQueueUpdateFileDiffs();
    items.EnQueueUpdate();
    items.EnQueueMount(L"d:\\", 42, L"ann", L"x.exe");
    items.EnQueueUnMount(L"d:\\", 42, L"ann", L"x.exe");
    items.EnQueueDeserialize(L"FileWatch.dat");
    items.EnQueueFinalizeConfig();
    const std::vector<std::wstring> expected = {
        L"pending  1",  // at once: what is stopped before the first item was not configured
        L"remove c:\\old 21",
        L"add log c:\\a.log -1",
        L"add c:\\new 7",
        L"update diffs  0",
        L"update  0",
        L"mount d:\\,ann,x.exe 42",
        L"restore FileWatch.dat 0",
        L"pending  0",
    };
    LogCapture log_;
    std::vector<std::size_t> lengths;
    while (items.GetLength() > 0) {
        EXPECT_TRUE(items.Step(0));
        lengths.push_back(items.GetLength());
    }
    EXPECT_EQ(target.done, expected);
    EXPECT_EQ(lengths, (std::vector<std::size_t>{8, 7, 6, 5, 4, 3, 2, 1, 0}));
    const std::vector<std::wstring> lines = {
        L"FileWatchInit::DoItemRemove(c:\\old)", L"FileWatchInit::DoItemAddLog(c:\\a.log)",
        L"FileWatchInit::DoItemAdd(c:\\new)",    L"FileWatchInit::DoItemUpdateFileDiffs()",
        L"FileWatchInit::DoItemUpdate()",        L"FileWatchInit::DoItemMount(d:\\)",
        L"FileWatchInit::DoItemUnMount(d:\\)",   L"FileWatchInit::DoItemDeserialize()",
        L"FileWatchInit::DoItemFinalizeConfig()"};
    EXPECT_EQ(log_.debugLines, lines);
}

TEST(FileWatchInitTest, QueueingTellsWhatItQueues) {
    LogCapture log;
    FileWatchInit items(nullptr);
    LogFileProperties properties;
    properties.SetFileName(L"l");
    items.EnQueueDeserialize(L"p");
    items.EnQueueAdd(L"p", {});
    items.EnQueueAddLog(properties, 0);
    items.EnQueueRemove(L"p", {}, 0);
    items.EnQueueFinalizeConfig();
    items.EnQueueUpdate();
    items.EnQueueUpdateFileDiffs();
    items.EnQueueMount(L"p", 0, L"", L"");
    items.EnQueueUnMount(L"p", 0, L"", L"");
    const std::vector<std::wstring> lines = {
        L"FileWatchInit::EnQueueDeserialize(p)",    L"FileWatchInit::EnQueueAdd(p)",
        L"FileWatchInit::EnQueueAddLog(l)",         L"FileWatchInit::EnQueueRemove(p)",
        L"FileWatchInit::EnQueueFinalizeConfig()",  L"FileWatchInit::EnQueueUpdate()",
        L"FileWatchInit::EnQueueUpdateFileDiffs()", L"FileWatchInit::EnQueueMount()",
        L"FileWatchInit::EnQueueUnMount()"};
    EXPECT_EQ(log.debugLines, lines);
    EXPECT_TRUE(items.Step(0));
    EXPECT_EQ(items.GetLength(), 9u) << "nobody to do them";
}

TEST(FileWatchInitThreads, AStopEndsALongItemAndDropsTheRest) {
    RecordingTarget target;
    target.isLong = true;
    FileWatchInit items(&target);
    items.EnQueueAdd(L"c:\\long", {});
    items.EnQueueFinalizeConfig();
    items.Start();
    items.Start();
    EXPECT_EQ(target.started->wait(20'000, false), WaitResult::Signalled);
    items.Stop();
    EXPECT_EQ(target.done.size(), 1u);
    EXPECT_EQ(items.GetLength(), 0u);

    target.started->reset();
    items.EnQueueUpdate();  // it may start again
    items.Start();
    EXPECT_EQ(target.started->wait(20'000, false), WaitResult::Signalled);
    items.Stop();
    EXPECT_EQ(target.done.back(), L"update  0");
}

}  // namespace
}  // namespace lathwind
