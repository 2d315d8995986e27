#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What the agent asks its host about itself. Each look-up asks the system anew; a fact that cannot
// be found is kUnknownFact, unless said otherwise. Any thread may call.
namespace lathwind {

inline constexpr const wchar_t* kUnknownFact = L"unknown";
std::wstring orUnknown(const std::wstring& text);  // kUnknownFact for an empty text

std::wstring findIpAddress();  // dotted
std::wstring findHostName();   // in lower case

// Who is logged on here, in lower case.
struct LogonFacts {
    std::wstring user;  // empty if it cannot be found
    std::wstring domain;
    std::wstring server;
};
LogonFacts findLogon();
std::vector<std::wstring> findLoggedOnUsers();  // as the system spells them

// The program and the account of a process, in lower case.
struct ProcessIdentity {
    std::wstring name;
    std::wstring owner;
};
ProcessIdentity findProcess(std::uint32_t processId);

}  // namespace lathwind
