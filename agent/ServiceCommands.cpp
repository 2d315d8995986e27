#include "agent/ServiceCommands.h"

#include "agent/CommandLine.h"
#include "agent/LathwindAgent.h"
#include "utils/Console.h"
#include "utils/FileIO.h"
#include "utils/InstallLayout.h"
#include "utils/Text.h"

namespace lathwind::agent {
namespace {

constexpr const wchar_t* kDisplayName = L"Tessarin IDS Service";
constexpr const wchar_t* kDescription =
    L"Watches files and logs for changes and records them as events.";

ExitCode conclude(platform::ErrorCode code, const wchar_t* done) {
    if (code == platform::error::Success) {
        print(L"The service %ls is %ls.\n", kServiceName, done);
        return ExitCode::Success;
    }
    if (code == platform::error::CallNotImplemented) {
        print(
            L"Programs do not register services on this system; see docs/agent.md for the unit.\n");
    } else {
        print(L"The service %ls cannot be %ls: %ls\n", kServiceName, done,
              platform::host().errorText(code));
    }
    return ExitCode::ServiceFailed;
}

// The service manager starts a service in a folder of its own.
std::wstring absolute(const std::wstring& path) {
    return FileIO::IsAbsolutePath(path) ? path : FileIO::MakeAbsolutePath(path);
}

}  // namespace

ExitCode installService(const std::wstring& root) {
    const std::wstring folder = absolute(root);
    if (!FileIO::Exists(binFolderOf(folder))) {
        print(L"There is no folder %ls.\n", binFolderOf(folder));
        return ExitCode::DirectoryFailed;
    }
    platform::ProcessFacts program;
    const platform::ErrorCode known =
        platform::processes().query(platform::processes().currentId(), program);
    if (known != platform::error::Success) {
        return conclude(known, L"installed");
    }
    std::wstring commandLine = quotedWord(program.path);
    commandLine.append(L" -p ").append(quotedWord(folder)).append(L" --service");
    return conclude(platform::supervision().installService(
                        {kServiceName, kDisplayName, kDescription, commandLine}),
                    L"installed");
}

ExitCode uninstallService() {
    return conclude(platform::supervision().removeService(kServiceName), L"removed");
}

}  // namespace lathwind::agent
