// A list of alternate data streams: no read outside it, and never more text than bytes.
#include <cstdint>
#include <cstdlib>
#include <span>

#include "filewatch/windows/StreamListDecoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t total = 0;
    for (const auto& stream : lathwind::decodeStreamList(std::as_bytes(std::span(data, size)))) {
        total += 2 * stream.name.size();
    }
    if (total > size) {
        std::abort();
    }
    return 0;
}
