#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/FakeProcesses.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "utils/ProcessObject.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::FakeProcesses;
using testing::LogCapture;
using testing::ServiceOverride;
using Lines = std::vector<std::wstring>;

class ProcessObjectTest : public ::testing::Test {
protected:
    ProcessObjectTest() {
        const auto add = [this](std::uint32_t id, const wchar_t* image, const wchar_t* owner) {
            platform::ProcessFacts facts;
            facts.image = image;
            facts.ownerDomain = L"BOX";
            facts.ownerName = owner;
            facts.priorityClass = 0x20;
            processes_.running[id] = facts;
        };
        add(1, L"self.exe", L"Jane");
        add(10, L"a.exe", L"jane");
        add(11, L"b.exe", L"SYSTEM");
        add(12, L"c.exe", L"JANE");
        add(13, L"d.exe", L"");
    }

    FakeProcesses processes_;
    ServiceOverride<platform::Processes> answers_{platformFactory.processes, processes_};
    LogCapture log_;
};

TEST_F(ProcessObjectTest, TellsTheFactsOfAProcess) {
    const auto process = makeProcessObject(11);
    EXPECT_TRUE(process->exists());
    EXPECT_EQ(process->name(), L"b.exe");
    EXPECT_EQ(process->owner(), L"SYSTEM");
    EXPECT_EQ(process->ownerDomain(), L"BOX");
    EXPECT_EQ(process->priorityClass(), L"NORMAL_PRIORITY_CLASS");
    EXPECT_FALSE(makeProcessObject(99)->exists());
    EXPECT_TRUE(log_.messages.empty());  // an id without a process is an answer
    processes_.protectedIds = {11};
    const auto closed = makeProcessObject(11);
    EXPECT_FALSE(closed->exists());
    EXPECT_EQ(closed->name(), L"");
    EXPECT_EQ(log_.messages,
              (std::vector<LogCapture::Message>{
                  {Severity::Warning, L"UT_0017: Failed to open process. Process ID: 11"}}));
}

TEST_F(ProcessObjectTest, KillsById) {
    processes_.protectedIds = {11};
    EXPECT_TRUE(ProcessBase::killById(10));
    EXPECT_FALSE(ProcessBase::killById(11));
    EXPECT_FALSE(ProcessBase::killById(4000000000u));
    EXPECT_EQ(processes_.ended, std::vector<std::uint32_t>{10});
    EXPECT_EQ(log_.debugLines, (Lines{L"Succeeded to kill process with PID: 10",
                                      L"FAILED to kill process with PID: 11",
                                      L"Unable to find process with PID: 4000000000"}));
}

TEST_F(ProcessObjectTest, KillsByUserButNotItself) {
    EXPECT_EQ(ProcessBase::killByUser(L"Jane"), 2u);
    EXPECT_EQ(processes_.ended, (std::vector<std::uint32_t>{10, 12}));
    EXPECT_EQ(log_.debugLines, (Lines{L"Attempting to kill 2 processes owned by user Jane",
                                      L"Succeeded to kill process with PID: 10",
                                      L"Succeeded to kill process with PID: 12"}));
    EXPECT_EQ(ProcessBase::killByUser(L"box\\system"), 1u);
    // A process whose owner is unknown belongs to nobody.
    EXPECT_EQ(ProcessBase::killByUser(L""), 0u);
    EXPECT_EQ(ProcessBase::killByUser(L"BOX\\"), 0u);
}

TEST_F(ProcessObjectTest, ReportsAListThatCannotBeHad) {
    std::vector<platform::ProcessEntry> list;
    EXPECT_TRUE(ProcessBase::list(list));
    EXPECT_EQ(list.size(), 5u);
    for (std::uint32_t id = 100; processes_.running.size() <= ProcessBase::kMaxProcesses; ++id) {
        processes_.running[id];
    }
    EXPECT_TRUE(ProcessBase::list(list));
    EXPECT_EQ(list.size(), ProcessBase::kMaxProcesses);
    processes_.listing = platform::error::AccessDenied;
    EXPECT_FALSE(ProcessBase::list(list));
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(log_.messages,
              (std::vector<LogCapture::Message>{
                  {Severity::Warning, L"UT_0052: Total number of processes exceeded."},
                  {Severity::Error, L"UT_0016: Unable to create process list"}}));
}

TEST_F(ProcessObjectTest, PriorityClasses) {
    const std::pair<std::uint32_t, const wchar_t*> cases[] = {
        {0x100, L"REALTIME_PRIORITY_CLASS"},
        {0x20, L"NORMAL_PRIORITY_CLASS"},
        {0x40, L"IDLE_PRIORITY_CLASS"},
        {0x80, L"HIGH_PRIORITY_CLASS"},
        {0x4000, L"BELOW_NORMAL_PRIORITY_CLASS"},
        {0x8000, L"ABOVE_NORMAL_PRIORITY_CLASS"},
        {0, L"unkown"}};
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(priorityClassText(value), text);
    }
}

}  // namespace
}  // namespace lathwind
