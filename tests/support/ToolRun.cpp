#include "support/ToolRun.h"

#include <filesystem>

#include "support/HostDecorator.h"
#include "support/ScopedOverride.h"
#include "utils/Text.h"

namespace lathwind::testing {
namespace {

class CapturingHost : public HostDecorator {
public:
    CapturingHost(platform::Host& host, std::int64_t terminalStep)
        : HostDecorator(host), terminalStep_(terminalStep) {}

    bool writeOutput(std::wstring_view text) override {
        output += text;
        return true;
    }
    bool writeError(std::wstring_view text) override {
        error += text;
        return true;
    }
    bool flushOutput() override { return true; }
    bool isErrorTerminal() override { return terminalStep_ != 0; }
    std::int64_t steadyTimeMs() override { return terminalStep_ * ++looks_; }

    std::wstring output;
    std::wstring error;

private:
    std::int64_t terminalStep_;
    std::int64_t looks_ = 0;
};

CapturingHost* capturing = nullptr;

}  // namespace

ToolRun runTool(const std::vector<std::wstring>& words, std::int64_t terminalStep) {
    const std::filesystem::path directory = std::filesystem::current_path();
    CapturingHost host(platform::host(), terminalStep);
    capturing = &host;
    std::vector<std::wstring> line = {L"Lathwind"};
    line.insert(line.end(), words.begin(), words.end());
    ToolRun run;
    {
        ScopedOverride override(
            platformFactory.host, +[]() -> platform::Host& { return *capturing; });
        run.exitCode = static_cast<int>(tool::runLathwind(line));
    }
    run.output = utf8FromUtf16(host.output);
    run.error = utf8FromUtf16(host.error);
    std::filesystem::current_path(directory);
    return run;
}

}  // namespace lathwind::testing
