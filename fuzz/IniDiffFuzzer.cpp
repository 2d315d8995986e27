// Two INI texts, split at the first "\xFE\xFE" or in the middle: equal texts give nothing, a kept
// parse changes nothing, and what is reported of keys that are in both stands in both files.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "plugins/IniDiff.h"
#include "utils/ByteArray.h"
#include "utils/IniFile.h"

namespace {

using lathwind::ByteArray;
using lathwind::IniDiff;
using lathwind::IniFile;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

ByteArray arrayOf(std::string_view bytes) {
    return {bytes.data(), static_cast<std::int32_t>(bytes.size())};
}

std::size_t countOf(const std::wstring& text, std::wstring_view part) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::wstring::npos; ++at) {
        ++count;
    }
    return count;
}

// All that the file holds, reported as gone and as new.
void requireWhole(const IniFile& file) {
    const std::wstring gone = IniDiff::compare(file, IniFile());
    const std::wstring added = IniDiff::compare(IniFile(), file);
    std::size_t keys = 0;
    for (std::size_t section = 0; section < file.sectionCount(); ++section) {
        const std::wstring head = L":\n[" + std::wstring(file.sectionName(section)) + L"]\n";
        require(gone.find(L"Deleted Section" + head) != std::wstring::npos);
        for (std::size_t i = 0; i < file.valueCount(section); ++i, ++keys) {
            const auto [key, value] = file.value(section, i);
            std::wstring pair = head;
            pair.append(key).append(L"=").append(value).append(L"\n");
            require(gone.find(L"Deleted Key" + pair) != std::wstring::npos);
            require(added.find(L"Added Key" + pair) != std::wstring::npos);
        }
    }
    require(countOf(gone, L"Deleted Key:\n[") >= keys);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t mark = bytes.find("\xFE\xFE");
    const std::size_t split = mark == std::string_view::npos ? size / 2 : mark;
    const ByteArray before = arrayOf(bytes.substr(0, split));
    const ByteArray now = arrayOf(bytes.substr(mark == std::string_view::npos ? split : mark + 2));

    const IniDiff filter;
    void* fresh = nullptr;
    const std::wstring text = filter.run(fresh, before, now);
    void* kept = nullptr;
    require(filter.run(kept, before, before).empty());
    require(filter.run(kept, before, now) == text);
    require(filter.run(kept, now, now).empty());
    filter.release(fresh);
    filter.release(kept);

    IniFile file;
    file.parseBytes(bytes.substr(0, split));
    requireWhole(file);
    return 0;
}
