#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lathwind::testing {

// Another current directory for as long as it lives.
class ScopedDirectory {
public:
    explicit ScopedDirectory(const std::filesystem::path& directory)
        : previous_(std::filesystem::current_path()) {
        std::filesystem::current_path(directory);
    }
    ~ScopedDirectory() { std::filesystem::current_path(previous_); }
    ScopedDirectory(const ScopedDirectory&) = delete;
    ScopedDirectory& operator=(const ScopedDirectory&) = delete;

private:
    std::filesystem::path previous_;
};

// One run of the console tool in this process. `words` come behind the program's name. The
// process's current directory is put back.
struct ToolRun {
    int exitCode = -1;
    std::string output;
    std::string error;
};
ToolRun runTool(const std::vector<std::wstring>& words, std::int64_t terminalStep = 0);

}  // namespace lathwind::testing
