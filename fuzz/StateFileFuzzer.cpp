// A whole state file, viewed and read for an upgrade, without a file system behind it. Both must
// agree on what they accept, and what was accepted is written and read again.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "filewatch/WatchedEntity.h"
#include "filewatch/windows/WinMountManager.h"
#include "support/FakeFiles.h"
#include "support/HostDecorator.h"
#include "support/ServiceOverride.h"
#include "tools/StateFileTool.h"

namespace {

using namespace lathwind;

class SilentHost : public testing::HostDecorator {
public:
    using HostDecorator::HostDecorator;
    bool writeOutput(std::wstring_view) override { return true; }
};

bool reads(const std::string& bytes, tool::EntityTable& entities) {
    std::istringstream stream(bytes);
    WinMountManager mounts;
    tool::StateFileHeader header;
    return tool::ReadFileWatchDat(stream, entities, &mounts, header);
}

void requireRoundTrip(const tool::EntityTable& entities) {
    std::ostringstream written;
    try {
        for (const auto& [key, entity] : entities) {
            entity->WriteEntity(written);
        }
    } catch (const SerializeException&) {
        return;  // an access list may be cut in pieces above the limits of a list
    }
    std::istringstream stream(written.str());
    tool::EntityTable again;
    if (!tool::ReadWatchedEntities(stream, again, FileWatchVersion) ||
        again.size() != entities.size()) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static SilentHost host(platform::host());
    static testing::FakeFiles files;
    static testing::ServiceOverride silence(platformFactory.host, host);
    static testing::ServiceOverride nothing(platformFactory.files, files);

    const std::string bytes(reinterpret_cast<const char*>(data), size);
    tool::EntityTable entities;
    const bool accepted = reads(bytes, entities);
    std::istringstream stream(bytes);
    WinMountManager mounts;
    if (tool::ViewFileWatchDat(stream, &mounts) != accepted) {
        std::abort();
    }
    if (accepted) {
        requireRoundTrip(entities);
    }
    return 0;
}
