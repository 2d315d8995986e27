// Any text as a CSV line. The fields that it is split into come back from the line that they are
// joined to.

#include <cstdint>
#include <cstdlib>

#include "utils/CsvField.h"
#include "utils/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    const std::wstring line =
        utf16FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
    std::vector<std::wstring> fields;
    if (!SplitFields(line, fields)) {
        return 0;
    }
    std::wstring joined;
    for (const std::wstring& field : fields) {
        joined += &field == fields.data() ? L"" : L",";
        joined += csvField(field);
    }
    std::vector<std::wstring> again;
    const bool isOneEmpty = fields.size() == 1 && fields[0].empty();
    if (!isOneEmpty && (!SplitFields(joined, again) || again != fields)) {
        std::abort();
    }
    return 0;
}
