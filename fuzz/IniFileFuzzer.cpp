// Any bytes as an INI file: everything that the parse lists must be found again by its name.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "utils/IniFile.h"

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    lathwind::IniFile file;
    file.parseBytes({reinterpret_cast<const char*>(data), size});
    for (std::size_t section = 0; section < file.sectionCount(); ++section) {
        const std::wstring_view name = file.sectionName(section);
        require(file.hasSection(name));
        for (std::size_t i = 0; i < file.valueCount(section); ++i) {
            const auto [key, value] = file.value(section, i);
            require(!key.empty());
            file.getInteger<std::uint32_t>(name, key, 0);
            file.getBoolean(name, key, false);
            // A section of that name may come first, and hide this one.
            if (section == 0 && !value.empty()) {
                require(file.getText(name, key) == value);
            }
        }
    }
    return 0;
}
