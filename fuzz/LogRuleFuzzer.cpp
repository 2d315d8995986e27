// A rule, a line feed, and a CSV line. A rule that is understood gives one answer for a record,
// whatever stands behind its last token.

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "actions/LogRule.h"
#include "actions/RecordFields.h"
#include "utils/CsvField.h"
#include "utils/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = std::min(bytes.find('\n'), size);
    std::wstring text = utf16FromUtf8(bytes.substr(0, cut));
    std::vector<std::wstring> record;
    SplitFields(utf16FromUtf8(bytes.substr(std::min(cut + 1, size))), record);

    const auto rule = LogRule::parse(text);
    if (!rule) {
        return 0;
    }
    text += L"behind";
    const auto again = LogRule::parse(text);
    RecordFields fields(record);
    if (!again || again->sends() != rule->sends() ||
        again->matches(fields) != rule->matches(fields)) {
        std::abort();
    }
    return 0;
}
