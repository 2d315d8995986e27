#include "tools/Lathwind.h"
#include "utils/platform/PlatformFactory.h"
#include "utils/platform/WideMain.h"

namespace lathwind {

int programMain(std::vector<std::wstring>& words) {
    const tool::ExitCode code = tool::runLathwind(words);
    platform::host().flushOutput();
    return static_cast<int>(code);
}

}  // namespace lathwind
