#include "utils/windows/WinHandles.h"
#include "utils/windows/WinServices.h"
#include "utils/windows/WinSid.h"

namespace lathwind::windows {
namespace {

using platform::ErrorCode;
using platform::ProcessEntry;
using platform::ProcessFacts;

constexpr DWORD kLongestPath = 32768;
constexpr UINT kKilledExitCode = 1;

// The answer to information class 0, as ntdll lays it out.
struct BasicInformation {
    LONG exitStatus;
    void* environmentBlock;
    ULONG_PTR affinity;
    LONG basePriority;
    ULONG_PTR id;
    ULONG_PTR parentId;
};

// The system ignores the low two bits of an id when it opens a process: a handle to another
// process than the one asked for is given back, and the id counts as nobody's.
ErrorCode openProcess(std::uint32_t id, DWORD access, UniqueHandle& process) {
    process.reset(::OpenProcess(access, FALSE, id));
    if (!process) {
        return ::GetLastError();
    }
    if (::GetProcessId(process.get()) != id) {
        process.reset();
        return ERROR_INVALID_PARAMETER;
    }
    return ERROR_SUCCESS;
}

std::wstring imagePath(HANDLE process) {
    std::wstring path(kLongestPath, L'\0');
    auto length = static_cast<DWORD>(path.size());
    if (!::QueryFullProcessImageNameW(process, 0, path.data(), &length)) {
        return {};
    }
    path.resize(length);
    return path;
}

std::uint32_t parentOf(HANDLE process) {
    using Query = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    static const auto query = entryPoint<Query>(L"ntdll.dll", "NtQueryInformationProcess");
    BasicInformation facts{};
    if (query == nullptr || query(process, 0, &facts, sizeof facts, nullptr) != 0) {
        return 0;
    }
    return static_cast<std::uint32_t>(facts.parentId);
}

// The account whose token the process carries; empty where it cannot be had.
platform::AccountName ownerOf(HANDLE process) {
    platform::AccountName account;
    UniqueHandle token;
    if (!::OpenProcessToken(process, TOKEN_QUERY, token.put())) {
        return account;
    }
    alignas(TOKEN_USER) std::byte buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    if (::GetTokenInformation(token.get(), TokenUser, buffer, sizeof buffer, &size)) {
        lookUpAccount(reinterpret_cast<const TOKEN_USER*>(buffer)->User.Sid, account);
    }
    return account;
}

class WinProcesses final : public platform::Processes {
public:
    std::uint32_t currentId() override { return ::GetCurrentProcessId(); }

    ErrorCode list(std::vector<ProcessEntry>& processes) override {
        processes.clear();
        const UniqueHandle snapshot(validHandle(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)));
        if (!snapshot) {
            return ::GetLastError();
        }
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof entry;
        BOOL found = ::Process32FirstW(snapshot.get(), &entry);
        while (found) {
            processes.push_back({entry.th32ProcessID, entry.th32ParentProcessID, entry.szExeFile});
            found = ::Process32NextW(snapshot.get(), &entry);
        }
        const DWORD code = ::GetLastError();
        return code == ERROR_NO_MORE_FILES ? ERROR_SUCCESS : code;
    }

    ErrorCode query(std::uint32_t id, ProcessFacts& facts) override {
        UniqueHandle process;
        ErrorCode code = openProcess(id, PROCESS_QUERY_INFORMATION, process);
        if (code == ERROR_ACCESS_DENIED) {
            // Enough for a protected process's name and parent.
            code = openProcess(id, PROCESS_QUERY_LIMITED_INFORMATION, process);
        }
        if (code != ERROR_SUCCESS) {
            return code;
        }
        const platform::AccountName owner = ownerOf(process.get());
        facts.path = imagePath(process.get());
        facts.image = facts.path.substr(facts.path.rfind(L'\\') + 1);
        facts.ownerName = owner.name;
        facts.ownerDomain = owner.domain;
        facts.parentId = parentOf(process.get());
        facts.priorityClass = ::GetPriorityClass(process.get());
        DWORD session = 0;
        facts.sessionId = ::ProcessIdToSessionId(id, &session) ? session : 0;
        return ERROR_SUCCESS;
    }

    ErrorCode terminate(std::uint32_t id) override {
        UniqueHandle process;
        const ErrorCode code =
            openProcess(id, PROCESS_TERMINATE | PROCESS_QUERY_LIMITED_INFORMATION, process);
        return code != ERROR_SUCCESS ? code
                                     : resultOf(::TerminateProcess(process.get(), kKilledExitCode));
    }
};

}  // namespace

platform::Processes& processes() {
    static auto& service = *new WinProcesses;
    return service;
}

}  // namespace lathwind::windows
