// Two texts, split at the first byte of all ones or in the middle: the script must turn one into
// the other, and equal texts must give none. Lines of any length come from the fuzzer itself;
// with a first byte that is odd every byte becomes a line, so that short inputs hold many. Its
// second bit makes the search give up at once.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "plugins/TextDiff.h"
#include "support/NormalDiff.h"

namespace {

std::string oneLineAByte(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        (text += byte) += '\n';
    }
    return text;
}

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const bool shortLines = (bytes.front() & 1) != 0;
    const bool givesUp = (bytes.front() & 2) != 0;
    bytes.remove_prefix(1);
    std::size_t split = bytes.find('\xFF');
    if (split == std::string_view::npos) {
        split = bytes.size() / 2;
    }
    std::string before(bytes.substr(0, split));
    std::string now(bytes.substr(std::min(split + 1, bytes.size())));
    if (shortLines) {
        before = oneLineAByte(before);
        now = oneLineAByte(now);
    }
    const std::string script =
        lathwind::TextDiff::compare(before, now, givesUp ? 0 : lathwind::LineChanges::kMostEffort);
    require(script.empty() == (before == now));
    require(lathwind::testing::NormalDiff::apply(before, script) == now);
    // No longer than both texts with their marks and headers.
    require(script.size() <= 64 + 30 * (before.size() + now.size()));
    return 0;
}
