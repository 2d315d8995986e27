#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/TempDir.h"
#include "tools/ToolRun.h"

namespace lathwind::testing {

// An installation in a temporary folder, on which the tool is run.
class Installation {
public:
    Installation() {
        root.makeFolder("IDS/bin");
        root.makeFolder("IDS/system");
        root.makeFolder("IPS");
        root.write("rvmklog/QVRIPSService.log", "first line\r\nsecond line\r\n");
    }
    // A copy of a golden one with its state file, by version.
    explicit Installation(int version);

    std::wstring serviceLog() const { return root.path(L"rvmklog\\QVRIPSService.log"); }

    // Runs the tool on it with these mode words.
    ToolRun run(const std::vector<std::wstring>& modes, std::int64_t terminalStep = 0) const {
        std::vector<std::wstring> words = {L"-p", root.path(), L"-l", serviceLog()};
        words.insert(words.end(), modes.begin(), modes.end());
        return runTool(words, terminalStep);
    }

    void writeState(std::string_view bytes) const { root.write("IDS/bin/FileWatch.dat", bytes); }
    std::string state() const { return root.read("IDS/bin/FileWatch.dat"); }
    bool hasState() const { return root.exists("IDS/bin/FileWatch.dat"); }

    TempDir root;
};

std::string goldenName(int version);  // "v02"
std::string readGolden(int version, std::string_view name);
inline constexpr int kGoldenVersions[] = {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

}  // namespace lathwind::testing
