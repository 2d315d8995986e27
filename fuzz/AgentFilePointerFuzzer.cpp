// The prevention agent's hand-over record, cut or too long.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tools/InstallPaths.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    lathwind::tool::AgentFilePointerRecord record{};
    std::memcpy(record.data(), data, std::min(size, record.size()));
    const lathwind::tool::AgentFilePointer pointer = lathwind::tool::DecodeAgentFilePointer(record);
    if (pointer.path.size() > 512 || pointer.path.find(L'\0') != std::wstring::npos) {
        std::abort();
    }
    return 0;
}
