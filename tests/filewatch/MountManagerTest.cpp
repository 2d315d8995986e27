#include <gtest/gtest.h>
#include <sstream>
#include <thread>

#include "filewatch/MountManager.h"
#include "support/Bytes.h"
#include "support/LogCapture.h"

namespace lathwind {
namespace {

using testing::Bytes;
using testing::LogCapture;
using Action = MountManager::PendingAction;

class TestMount : public MountInfo {
public:
    TestMount(const std::wstring& point, const std::wstring& path, bool ready)
        : MountInfo(point, path, MountType::Fixed, ready ? 1u << kMediaReady : 0u) {}
    void Refresh() override {}
};

// A manager whose mounts a test sets, and which finds one spec for every path but "d:\none".
class TestManager : public MountManager, public SpecFinder {
public:
    TestManager() { SetSpecFinder(this); }
    void RefreshMounts() override {}
    bool HasVolumeInfo(const std::wstring&) override { return true; }
    bool IsFatVolume(const std::wstring&) override { return false; }
    std::shared_ptr<const WatchedPathSpec> FindSpec(const std::wstring& path,
                                                    std::int32_t) override {
        return path == L"d:\\none" ? nullptr : spec_;
    }

    void mount(const std::wstring& point, bool ready = true, const std::wstring& path = L"") {
        Refreshment refreshed = BeginRefresh();
        refreshed.mounts.push_back(
            std::make_shared<TestMount>(point, path.empty() ? point : path, ready));
        EndRefresh(std::move(refreshed));
    }
    void unmountAll() { EndRefresh({{}, BeginRefresh().number}); }
    using MountManager::BeginRefresh;
    using MountManager::EndRefresh;
    FileAction actionOf(const std::wstring& path, std::int32_t listId) {
        return GetPendingAction(path, listId).action;
    }
    std::set<std::wstring> known(std::int32_t id) const { return GetStates().at(id).knownNames; }

private:
    std::shared_ptr<const WatchedPathSpec> spec_ =
        std::make_shared<WatchedPathSpec>(L"d:\\data\\*.log", 1, false);
};

void read(MountManager& manager, const std::string& bytes) {
    std::istringstream stream(bytes);
    manager.ReadObject(stream);
}

std::string written(MountManager& manager) {
    std::ostringstream stream;
    manager.WriteObject(stream);
    return stream.str();
}

const std::string kBlock =
    Bytes().u32(2).u32(0xFFFFFFFE).u32(2).string(L"c:\\").string(L"d:\\").u32(10).u32(0).str();

TEST(MountManager, RecordRoundTrip) {
    TestManager manager;
    EXPECT_EQ(written(manager), std::string(4, '\0'));
    read(manager, kBlock);
    EXPECT_EQ(written(manager), kBlock);
    // A read adds to what is there.
    read(manager, Bytes().u32(1).u32(0xFFFFFFFE).u32(1).string(L"b:\\").str());
    EXPECT_EQ(manager.known(-2), (std::set<std::wstring>{L"b:\\", L"c:\\", L"d:\\"}));
}

TEST(MountManager, DamagedRecords) {
    for (std::size_t size = 0; size < kBlock.size(); ++size) {
        TestManager manager;
        EXPECT_THROW(read(manager, kBlock.substr(0, size)), SerializeException) << size;
    }
    TestManager manager;
    EXPECT_THROW(read(manager, Bytes().u32(0xFFFFFFFF).str()), SerializeException);
    EXPECT_THROW(read(manager, Bytes().u32(1).u32(0).u32(0x7FFFFFFF).str()), SerializeException);
    // The count of names is signed: below zero there are none, and the next state follows.
    read(manager, Bytes().u32(2).u32(5).u32(0x80000000).u32(6).u32(1).string(L"e:\\").str());
    EXPECT_TRUE(manager.known(5).empty());
    EXPECT_EQ(manager.known(6), std::set<std::wstring>{L"e:\\"});
}

TEST(MountManager, FindMountTable) {
    TestManager manager;
    manager.mount(L"d:\\");
    manager.mount(L"d:\\data\\vol\\");
    manager.mount(L"z:\\", true, L"\\\\server\\share\\");
    manager.mount(L"y:\\", true, L"d:\\");  // the same length as the first: it does not replace it
    struct Row {
        const wchar_t* path;
        bool exactOnly;
        const wchar_t* point;  // null: none
    } rows[] = {
        {L"d:\\", true, L"d:\\"},
        {L"d:\\data\\vol\\x", false, L"d:\\data\\vol\\"},
        {L"d:\\data\\volx", false, L"d:\\"},
        {L"d:\\data\\vol\\x", true, nullptr},
        {L"e:\\x", false, nullptr},
        {L"\\\\server\\share\\", false, nullptr},
        {L"z:\\x", false, L"z:\\"},
    };
    for (const Row& row : rows) {
        const auto mount = manager.FindMount(row.path, row.exactOnly);
        ASSERT_EQ(mount != nullptr, row.point != nullptr) << ::testing::PrintToString(row.path);
        if (mount != nullptr) {
            EXPECT_EQ(mount->GetMountPoint(), row.point);
        }
    }
}

TEST(MountManager, TheRefreshThatBeganLastCounts) {
    TestManager manager;
    auto early = manager.BeginRefresh();
    manager.mount(L"d:\\");  // begins and ends meanwhile
    const auto kept = manager.FindMount(L"d:\\x", false);
    manager.EndRefresh(std::move(early));
    EXPECT_EQ(manager.FindMount(L"d:\\x", false), kept);
    manager.unmountAll();
    EXPECT_EQ(manager.FindMount(L"d:\\x", false), nullptr);
    EXPECT_EQ(kept->GetMountPoint(), L"d:\\");  // as long as somebody has it
}

TEST(MountManager, PendingActionTable) {
    struct Row {
        const char* what;
        std::vector<const wchar_t*> known;
        std::vector<const wchar_t*> mounted;
        bool ready;
        const wchar_t* path;
        FileAction action;
    } rows[] = {
        {"known and ready", {L"d:\\"}, {L"d:\\"}, true, L"D:\\x", FileAction::None},
        {"volume gone", {L"d:\\"}, {}, true, L"d:\\x", FileAction::Unmount},
        {"media gone", {L"d:\\"}, {L"d:\\"}, false, L"d:\\x", FileAction::Unmount},
        {"neither known nor there", {}, {}, true, L"d:\\x", FileAction::None},
        {"volume new", {}, {L"d:\\"}, true, L"d:\\x", FileAction::Mount},
        {"deeper mount gone",
         {L"d:\\", L"d:\\data\\vol\\"},
         {L"d:\\"},
         true,
         L"d:\\data\\vol\\x",
         FileAction::Unmount},
        {"deeper mount new",
         {L"d:\\"},
         {L"d:\\", L"d:\\data\\vol\\"},
         true,
         L"d:\\data\\vol\\x",
         FileAction::Mount},
        {"a name that is no whole prefix counts",
         {L"d:\\other\\"},
         {},
         true,
         L"d:\\x",
         FileAction::Unmount},
        {"UNC path", {L"d:\\"}, {L"d:\\"}, true, L"\\\\s\\x", FileAction::None},
    };
    for (const Row& row : rows) {
        TestManager manager;
        for (const wchar_t* name : row.known) {
            manager.mount(name);
            manager.AddMountState(std::wstring(name) + L"x", 7);
        }
        manager.unmountAll();
        for (const wchar_t* name : row.mounted) {
            manager.mount(name, row.ready);
        }
        EXPECT_EQ(manager.actionOf(row.path, 7), row.action) << row.what;
        EXPECT_EQ(manager.actionOf(row.path, MountManager::kAllStates), row.action) << row.what;
    }
}

TEST(MountManager, OneSpecIsReportedOnceAWalk) {
    TestManager manager;
    manager.mount(L"d:\\");
    manager.AddMountState(L"d:\\data\\a.log", 7);
    manager.unmountAll();
    for (int i = 0; i < 10; ++i) {
        const Action action = manager.GetPendingAction(L"d:\\data\\a.log", 7);
        EXPECT_EQ(action.action, FileAction::Unmount);
        EXPECT_EQ(action.alreadyReported, i > 0);
        ASSERT_NE(action.spec, nullptr);
    }
    EXPECT_TRUE(manager.GetPendingAction(L"d:\\none", 7).alreadyReported);  // nothing to report
    EXPECT_EQ(manager.known(7).size(), 1u);                                 // until the walk ends
    manager.EndWalk(8);                                                     // no such state
    manager.EndWalk(7);
    EXPECT_TRUE(manager.known(7).empty());
    EXPECT_EQ(manager.actionOf(L"d:\\data\\a.log", 7), FileAction::None);

    // The merge forgot what was reported, so the way back is told too.
    manager.mount(L"d:\\");
    EXPECT_FALSE(manager.GetPendingAction(L"d:\\data\\a.log", 7).alreadyReported);
    manager.EndWalk(MountManager::kAllStates);
    EXPECT_EQ(manager.known(7), std::set<std::wstring>{L"d:\\"});
}

TEST(MountManager, MergeWithoutChangesKeepsWhatWasReported) {
    MountState state;
    state.reportedSpecs = {L"d:\\*"};
    state.Merge();
    EXPECT_EQ(state.reportedSpecs.size(), 1u);
    state.addedNames = {L"d:\\", L"e:\\"};
    state.removedNames = {L"d:\\"};
    state.Merge();
    EXPECT_EQ(state.knownNames, std::set<std::wstring>{L"e:\\"});  // removal comes last
    EXPECT_TRUE(state.addedNames.empty() && state.removedNames.empty());
    EXPECT_TRUE(state.reportedSpecs.empty());
}

TEST(MountManager, LookThroughAllStates) {
    TestManager manager;
    manager.mount(L"d:\\");
    // No state at all: the action stands, and makes no state.
    const Action mounted = manager.GetPendingAction(L"d:\\x", MountManager::kAllStates);
    EXPECT_EQ(mounted.action, FileAction::Mount);
    EXPECT_FALSE(mounted.alreadyReported);
    EXPECT_TRUE(manager.GetStates().empty());

    manager.AddMountState(L"d:\\x", 1);
    manager.AddMountState(L"e:\\x", 9);  // no such mount: an empty state
    manager.unmountAll();
    EXPECT_EQ(manager.actionOf(L"d:\\x", MountManager::kAllStates), FileAction::Unmount);
    // The removal is noted with the last state, not with the one that knows the name.
    EXPECT_TRUE(manager.GetStates().at(1).removedNames.empty());
    EXPECT_EQ(manager.GetStates().at(9).removedNames, std::set<std::wstring>{L"d:\\"});
}

// A look-up of specs may itself take locks, and come back to the manager.
TEST(MountManagerThreads, LooksUpSpecsWithoutItsLock) {
    class Curious : public TestManager {
    public:
        std::shared_ptr<const WatchedPathSpec> FindSpec(const std::wstring& path,
                                                        std::int32_t listId) override {
            std::thread([this] { EndWalk(7); }).join();
            return TestManager::FindSpec(path, listId);
        }
    };
    Curious manager;
    manager.mount(L"d:\\");
    EXPECT_EQ(manager.actionOf(L"d:\\data\\a.log", 7), FileAction::Mount);
}

TEST(MountManager, ShowInfoLines) {
    TestManager manager;
    manager.mount(L"d:\\");
    read(manager, Bytes().u32(1).u32(10).u32(1).string(L"c:\\").str());
    LogCapture lines;
    manager.ShowInfo();
    EXPECT_EQ(lines.takeDebug(),
              (std::vector<std::wstring>{
                  L"-------------- MountManager::ShowInfo called --------------",
                  L"\nCurrent Mount information...",
                  L"\nMount Point: d:\\ Mount Path: d:\\ Mount Type: TYPE_FIXED_DRIVE\n"
                  L"Is Media Ready: 1 \n",
                  L"Mount Volume:  Volume label:  FS Name: \n",
                  L"\nMount State information... ",
                  L"\nMount State ID: 10",
                  L"\nCurrently known Mount List...",
                  L"\nMount Name: c:\\",
              }));
}

}  // namespace
}  // namespace lathwind
