#include <algorithm>
#include <gtest/gtest.h>

#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using platform::ProcessEntry;
using platform::ProcessFacts;
namespace error = platform::error;

TEST(WinProcesses, ListAndQueryAgreeAboutThisProcess) {
    std::vector<ProcessEntry> list;
    ASSERT_EQ(error::Success, processes().list(list));
    const std::uint32_t own = processes().currentId();
    const auto entry = std::find_if(list.begin(), list.end(),
                                    [&](const ProcessEntry& each) { return each.id == own; });
    ASSERT_NE(list.end(), entry);

    ProcessFacts facts;
    ASSERT_EQ(error::Success, processes().query(own, facts));
    EXPECT_EQ(entry->image, facts.image);
    EXPECT_EQ(entry->parentId, facts.parentId);
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    EXPECT_EQ(0, ::_wcsicmp(path, facts.path.c_str()));
    std::wstring user;
    accounts().currentUser(user);
    EXPECT_EQ(user, facts.ownerName);
    EXPECT_EQ(::GetPriorityClass(::GetCurrentProcess()), facts.priorityClass);
}

TEST(WinProcesses, TerminateEndsTheProcessOfThatIdOnly) {
    std::wstring command = L"cmd.exe /c pause";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child{};
    ASSERT_TRUE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED,
                                 nullptr, nullptr, &startup, &child));
    const UniqueHandle process(child.hProcess);
    const UniqueHandle thread(child.hThread);
    // The system opens a process by any of four ids; nobody has the other three.
    ProcessFacts facts;
    EXPECT_EQ(error::InvalidParameter, processes().query(child.dwProcessId + 1, facts));
    EXPECT_EQ(error::InvalidParameter, processes().terminate(child.dwProcessId + 1));
    EXPECT_EQ(DWORD{WAIT_TIMEOUT}, ::WaitForSingleObject(process.get(), 0));
    EXPECT_EQ(error::Success, processes().query(child.dwProcessId, facts));
    EXPECT_EQ(::GetCurrentProcessId(), facts.parentId);
    EXPECT_EQ(error::Success, processes().terminate(child.dwProcessId));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, ::WaitForSingleObject(process.get(), INFINITE));
}

}  // namespace
}  // namespace lathwind::windows
