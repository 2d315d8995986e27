#include "tools/ToolRun.h"

#include "support/ScopedCapture.h"
#include "tools/Lathwind.h"

namespace lathwind::testing {

ToolRun runTool(const std::vector<std::wstring>& words, std::int64_t terminalStep) {
    const ScopedDirectory directory(std::filesystem::current_path());
    const ScopedCapture capture(terminalStep);
    std::vector<std::wstring> line = {L"Lathwind"};
    line.insert(line.end(), words.begin(), words.end());
    ToolRun run;
    run.exitCode = static_cast<int>(tool::runLathwind(line));
    run.output = capture.output();
    run.error = capture.error();
    return run;
}

}  // namespace lathwind::testing
