#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "utils/SidText.h"

// Any bytes as a security identifier. A text has one part for each sub-authority, whatever stands
// behind them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text = lathwind::sidTextOfBytes(std::as_bytes(std::span(data, size)));
    std::size_t dashes = 0;
    for (const wchar_t unit : text) {
        dashes += unit == L'-' ? 1 : 0;
    }
    if (!text.empty() && dashes != std::size_t{2} + data[1]) {
        std::abort();
    }
    return 0;
}
