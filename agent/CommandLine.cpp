#include "agent/CommandLine.h"

#include <array>

#include "utils/Console.h"

namespace lathwind::agent {
namespace {

struct ModeWord {
    std::wstring_view word;
    Mode mode;
};
constexpr std::array<ModeWord, 5> kModeWords = {{
    {L"--check", Mode::Check},
    {L"--install", Mode::Install},
    {L"--uninstall", Mode::Uninstall},
    {L"--service", Mode::Service},
    {L"-h", Mode::Help},
}};

const ModeWord* findMode(std::wstring_view word) {
    for (const ModeWord& entry : kModeWords) {
        if (entry.word == word) {
            return &entry;
        }
    }
    return nullptr;
}

constexpr bool needsRoot(Mode mode) {
    return mode != Mode::Help && mode != Mode::Uninstall;
}

}  // namespace

bool parseCommandLine(const std::vector<std::wstring>& words, CommandLine& line) {
    line = {};
    bool hasMode = false;
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i] == L"-p" && i + 1 < words.size()) {
            line.rootPath = words[++i];
        } else if (const ModeWord* const found = findMode(words[i]); found != nullptr && !hasMode) {
            line.mode = found->mode;
            hasMode = true;
        } else {
            return false;
        }
    }
    return !needsRoot(line.mode) || !line.rootPath.empty();
}

void showUsage() {
    print(
        L"Usage: LathwindAgent -p ROOT [--check | --install | --service]\n"
        L"       LathwindAgent --uninstall\n"
        L"       LathwindAgent -h\n"
        L"-p ROOT      : folder that holds the installation; alone: run until told to stop\n"
        L"--check      : show what would be watched, and which entries are refused and why\n"
        L"--install    : register as a service of Windows that starts with the system\n"
        L"--service    : how the service manager starts it\n"
        L"--uninstall  : stop the service and take it out of the register\n"
        L"-h           : print this text\n");
}

// Backslashes count only where a quote follows them: there each is doubled.
std::wstring quotedWord(std::wstring_view word) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t unit : word) {
        if (unit == L'"') {
            quoted.append(backslashes + 1, L'\\');
        }
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        quoted += unit;
    }
    return quoted.append(backslashes, L'\\').append(1, L'"');
}

}  // namespace lathwind::agent
