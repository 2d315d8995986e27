// The same bytes as a backup stream and as a list of extended attributes: no read outside them, and
// never more text than bytes.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "filewatch/windows/BackupStreamDecoder.h"
#include "support/FakeBackup.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto bytes = std::as_bytes(std::span(data, size));
    std::size_t total = 0;
    for (const auto& [name, value] : lathwind::decodeEaList(bytes)) {
        total += std::string(name).size() + std::string(value).size();
    }
    lathwind::testing::FakeBackup backup(std::string(reinterpret_cast<const char*>(data), size));
    const lathwind::EaStream stream = lathwind::readEaStream(backup);
    lathwind::decodeEaList(stream.data);
    if (total > size || stream.data.size() > size) {
        std::abort();
    }
    return 0;
}
