// The entity list of a state file: one byte for the version, then the list as it lies behind the
// header. What could be read is updated, written and read again.

#include <sstream>
#include <vector>

#include "filewatch/WatchedEntity.h"

namespace {

using lathwind::SerializeException;
using lathwind::WatchedEntity;

// The oldest records look for the version at the stream's start.
std::string frame(unsigned version, std::string_view list) {
    std::string bytes = {'\xCE', '\xAB', static_cast<char>(version), '\0'};
    return bytes.append(list);
}

std::vector<std::unique_ptr<WatchedEntity>> readList(const std::string& bytes,
                                                     std::uint16_t version) {
    std::vector<std::unique_ptr<WatchedEntity>> entities;
    std::istringstream stream(bytes);
    stream.seekg(4);
    try {
        while (auto entity = WatchedEntity::ReadEntityOfVersion(stream, version)) {
            entities.push_back(std::move(entity));
        }
    } catch (const SerializeException&) {
        entities.clear();
    }
    return entities;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::uint16_t version = data[0] % 16;
    const std::string_view list(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto entities = readList(frame(version, list), version);
    std::ostringstream out;
    try {
        for (const auto& entity : entities) {
            entity->WriteEntity(out);
        }
    } catch (const SerializeException&) {
        return 0;  // for example an access list of more pieces than a list may have
    }
    if (readList(frame(12, out.str()), 12).size() != entities.size()) {
        __builtin_trap();
    }
    return 0;
}
