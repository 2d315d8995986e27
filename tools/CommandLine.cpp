#include "tools/CommandLine.h"

#include "utils/Console.h"

namespace lathwind::tool {
namespace {

constexpr std::size_t kLeastWords = 2;
constexpr std::size_t kMostWords = 6;

bool setFlag(CommandLine& line, const std::wstring& word) {
    bool* flag = word == L"-v"   ? &line.viewFlag
                 : word == L"-i" ? &line.initFlag
                 : word == L"-h" ? &line.helpFlag
                 : word == L"-c" ? &line.convertFlag
                                 : nullptr;
    if (flag != nullptr) {
        *flag = true;
    }
    return flag != nullptr;
}

}  // namespace

bool ParseCommandLine(const std::vector<std::wstring>& words, CommandLine& line) {
    if (words.size() < kLeastWords || words.size() > kMostWords) {
        return false;
    }
    line = CommandLine();
    const std::size_t last = words.size() - 1;
    // From word 0: a program that is named like an option switches that option on.
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == L"-p" && i < last) {
            line.rootPath = words[++i];
        } else if (setFlag(line, words[i])) {
            continue;
        } else if (words[i] == L"-l") {
            if (i == last) {
                return false;
            }
            // Not skipped, unlike the value of -p: installers rely on a value that is an option
            // being taken as one too.
            line.logPath = words[i + 1];
        }
    }
    return line.helpFlag || (!line.rootPath.empty() && !line.logPath.empty());
}

void ShowUsage() {
    print(L"Usage: Lathwind [-h] [-c] -p <rvmk-root-path> -l <rvmk-ipslog-path> [-v] [-i]\n");
    print(L"-h (optional)           : print this usage message.\n");
    print(L"-c (optional)           : upgrade FileWatch.dat to the latest format.\n");
    print(L"<rvmk-root-path>        : folder containing rvmk installation\n");
    print(L"<rvmk-ipslog-path>      : full path to ips service log\n");
    print(L"-v (optional)           : view contents of FileWatch.dat.\n");
    print(L"-i (optional)           : initialize contents of FileWatch.dat.\n");
}

}  // namespace lathwind::tool
