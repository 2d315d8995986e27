#include <algorithm>
#include <gtest/gtest.h>

#include "utils/Exceptions.h"
#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"
#include "utils/windows/WinSid.h"

namespace lathwind::windows {
namespace {

// A name that no other run of the tests uses at the same time.
std::wstring uniqueName(const wchar_t* what) {
    return std::wstring(L"Lathwind test ") + what + std::to_wstring(::GetCurrentProcessId());
}

void CALLBACK ignoreCompletion(ULONG_PTR) {}

TEST(WinEvent, EveryWaitResult) {
    const auto event = makeEvent(L"");
    EXPECT_EQ(WaitResult::TimeOut, event->wait(0, false));
    event->set();
    EXPECT_EQ(WaitResult::Signalled, event->wait(0, false));
    EXPECT_EQ(WaitResult::Signalled, event->wait(kWaitForever, true));
    event->reset();
    ASSERT_TRUE(::QueueUserAPC(ignoreCompletion, ::GetCurrentThread(), 0));
    EXPECT_EQ(WaitResult::TimeOut, event->wait(0, false));
    EXPECT_EQ(WaitResult::Completion, event->wait(kWaitForever, true));
    EXPECT_EQ(WaitResult::TimeOut, event->wait(0, true));
}

TEST(WinEvent, OneNameIsOneEvent) {
    const auto first = makeEvent(uniqueName(L"shared"));
    const auto second = makeEvent(uniqueName(L"shared"));
    first->set();
    EXPECT_EQ(WaitResult::Signalled, second->wait(0, false));
    second->reset();
    EXPECT_EQ(WaitResult::TimeOut, first->wait(0, false));
}

TEST(WinEvent, NamedOneIsOpenToSystemAndAdministratorsOnly) {
    const std::wstring name = uniqueName(L"access");
    const auto event = makeEvent(name);
    const UniqueHandle handle(::OpenEventW(READ_CONTROL, FALSE, name.c_str()));
    ASSERT_TRUE(handle);
    PACL list = nullptr;
    UniqueLocal<PSECURITY_DESCRIPTOR> descriptor;
    ASSERT_EQ(DWORD{ERROR_SUCCESS},
              ::GetSecurityInfo(handle.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                nullptr, &list, nullptr, descriptor.put()));
    ASSERT_NE(nullptr, list);
    std::vector<std::wstring> trustees;
    for (DWORD index = 0; index < list->AceCount; ++index) {
        void* entry = nullptr;
        ASSERT_TRUE(::GetAce(list, index, &entry));
        auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        EXPECT_EQ(ACCESS_ALLOWED_ACE_TYPE, allowed->Header.AceType);
        EXPECT_EQ(0, allowed->Header.AceFlags);
        const ACCESS_MASK mask = allowed->Mask;
        EXPECT_TRUE(mask == GENERIC_ALL || mask == EVENT_ALL_ACCESS) << mask;
        std::wstring sid;
        ASSERT_EQ(0U, sidToText(&allowed->SidStart, sid));
        trustees.push_back(sid);
    }
    std::sort(trustees.begin(), trustees.end());
    EXPECT_EQ((std::vector<std::wstring>{L"S-1-5-18", L"S-1-5-32-544"}), trustees);
}

TEST(WinEvent, FailureNamesTheErrorCode) {
    // The name belongs to an object of another kind: invalid handle, 6.
    const std::wstring name = uniqueName(L"mutex");
    const UniqueHandle mutex(::CreateMutexW(nullptr, FALSE, name.c_str()));
    ASSERT_TRUE(mutex);
    try {
        makeEvent(name);
        FAIL() << "a mutex passed for an event";
    } catch (const IDSException& exception) {
        EXPECT_EQ(0U, exception.message.find(
                          L"Error occured in Event class : Win32 Error Code6 at line "))
            << std::string(exception.message.begin(), exception.message.end());
        EXPECT_TRUE(exception.message.ends_with(L" in file .\\windows\\Event"));
    }
}

}  // namespace
}  // namespace lathwind::windows
