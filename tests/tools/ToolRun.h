#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace lathwind::testing {

// Keeps what is written to standard output and error for as long as it lives. `terminalStep`,
// unless 0, makes standard error a terminal and moves the steady clock by so many milliseconds at
// each look. One at a time.
class ScopedCapture {
public:
    explicit ScopedCapture(std::int64_t terminalStep = 0);
    ~ScopedCapture();
    ScopedCapture(const ScopedCapture&) = delete;
    ScopedCapture& operator=(const ScopedCapture&) = delete;

    std::string output() const;  // UTF-8, line ends as LF
    std::string error() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

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
