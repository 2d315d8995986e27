#include "agent/LathwindAgent.h"
#include "utils/platform/PlatformFactory.h"
#include "utils/platform/WideMain.h"

namespace lathwind {

int programMain(std::vector<std::wstring>& words) {
    const agent::ExitCode code = agent::runAgent(words);
    agent::finishRecording();
    platform::host().flushOutput();
    return static_cast<int>(code);
}

}  // namespace lathwind
