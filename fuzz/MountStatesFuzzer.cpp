// A block of mount states. What reads must survive being written and read again.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "filewatch/windows/WinMountManager.h"

namespace {

std::string written(lathwind::MountManager& manager) {
    std::ostringstream stream;
    manager.WriteObject(stream);
    return stream.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::istringstream stream(std::string(reinterpret_cast<const char*>(data), size));
    lathwind::WinMountManager manager;
    try {
        manager.ReadObject(stream);
    } catch (const lathwind::SerializeException&) {
        return 0;
    }
    const std::string block = written(manager);
    std::istringstream again(block);
    lathwind::WinMountManager copy;
    copy.ReadObject(again);
    if (written(copy) != block) {
        std::abort();
    }
    return 0;
}
