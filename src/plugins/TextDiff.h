#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "plugins/DiffFilter.h"
#include "plugins/LineChanges.h"

namespace lathwind {

// The "txt" filter: what has changed in a text, line by line, in the normal form of the `diff`
// program (docs/text-diff.md). Keeps no state.
class TextDiff : public DiffFilter {
public:
    // Decoded from the system code page. Any bytes count as text.
    std::wstring run(void*& state, const ByteArray& previous,
                     const ByteArray& current) const override;
    void release(void* state) const override;

    // The same in bytes; empty for equal texts. `mostEffort` as in LineChanges.
    static std::string compare(std::string_view oldText, std::string_view newText,
                               std::uint64_t mostEffort = LineChanges::kMostEffort);
};

}  // namespace lathwind
