#include "utils/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

struct LowerCaseRow {
    std::uint32_t first;
    std::uint32_t last;
    std::uint32_t step;
    std::int32_t offset;
};

constexpr LowerCaseRow kLowerCaseRows[] = {
#include "utils/LowerCaseTable.inc"
};

constexpr std::size_t kPageSize = 256;

constexpr std::array<bool, 256> usedPages() {
    std::array<bool, 256> used{};
    for (const LowerCaseRow& row : kLowerCaseRows) {
        for (std::uint32_t unit = row.first; unit <= row.last; unit += row.step) {
            used[unit / kPageSize] = true;
        }
    }
    return used;
}

constexpr std::size_t countUsedPages() {
    std::size_t count = 0;
    for (const bool used : usedPages()) {
        count += used ? 1 : 0;
    }
    return count;
}

// What is added (modulo 2^16) to a unit to fold it: 256 units a page. All pages without a mapping
// share page 0, which is all zeros.
struct LowerCaseTable {
    std::array<std::uint8_t, 256> pageOf{};
    std::array<std::array<std::uint16_t, kPageSize>, countUsedPages() + 1> pages{};
};

constexpr LowerCaseTable makeLowerCaseTable() {
    LowerCaseTable table;
    std::uint8_t next = 1;
    const std::array<bool, 256> used = usedPages();
    for (std::size_t page = 0; page < used.size(); ++page) {
        if (used[page]) {
            table.pageOf[page] = next++;
        }
    }
    for (const LowerCaseRow& row : kLowerCaseRows) {
        for (std::uint32_t unit = row.first; unit <= row.last; unit += row.step) {
            table.pages[table.pageOf[unit / kPageSize]][unit % kPageSize] =
                static_cast<std::uint16_t>(row.offset);
        }
    }
    return table;
}

constexpr LowerCaseTable kLowerCase = makeLowerCaseTable();

constexpr std::uint32_t kReplacement = 0xFFFD;

constexpr bool isHighSurrogate(std::uint32_t unit) {
    return (unit & 0xFC00) == 0xD800;
}
constexpr bool isLowSurrogate(std::uint32_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

// Decodes one code point of UTF-8 at `bytes`; `used` gets its length, or 1 with the replacement
// character for a byte that starts none.
std::uint32_t decodeUtf8(std::string_view bytes, std::size_t& used) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const std::uint32_t lead = byte(0);
    used = 1;
    if (lead < 0x80) {
        return lead;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length) {
        return kReplacement;
    }
    std::uint32_t point = lead & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) {
            return kReplacement;
        }
        point = point << 6 | (byte(i) & 0x3Fu);
    }
    const std::uint32_t least = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
    if (point < least || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
        return kReplacement;
    }
    used = length;
    return point;
}

void appendUtf8(std::string& out, std::uint32_t point) {
    const auto put = [&](std::uint32_t byte) { out += static_cast<char>(byte); };
    if (point < 0x80) {
        put(point);
        return;
    }
    if (point < 0x800) {
        put(0xC0 | point >> 6);
    } else {
        if (point < 0x10000) {
            put(0xE0 | point >> 12);
        } else {
            put(0xF0 | point >> 18);
            put(0x80 | (point >> 12 & 0x3F));
        }
        put(0x80 | (point >> 6 & 0x3F));
    }
    put(0x80 | (point & 0x3F));
}

}  // namespace

wchar_t toLower(wchar_t unit) noexcept {
    const auto value = static_cast<std::uint32_t>(unit) & 0xFFFF;
    const auto& page = kLowerCase.pages[kLowerCase.pageOf[value / kPageSize]];
    return static_cast<wchar_t>((value + page[value % kPageSize]) & 0xFFFF);
}

void makeLower(std::wstring& text) noexcept {
    for (wchar_t& unit : text) {
        unit = toLower(unit);
    }
}

std::wstring toLower(std::wstring_view text) {
    std::wstring result(text);
    makeLower(result);
    return result;
}

std::wstring_view trimRight(std::wstring_view text, std::wstring_view set) noexcept {
    const std::size_t last = text.find_last_not_of(set);
    return text.substr(0, last == std::wstring_view::npos ? 0 : last + 1);
}

std::wstring_view trim(std::wstring_view text, std::wstring_view set) noexcept {
    const std::size_t first = text.find_first_not_of(set);
    return first == std::wstring_view::npos ? std::wstring_view()
                                            : trimRight(text.substr(first), set);
}

bool equalsNoCase(std::wstring_view first, std::wstring_view second) noexcept {
    return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                      [](wchar_t a, wchar_t b) { return toLower(a) == toLower(b); });
}

void replaceAll(std::wstring& text, std::wstring_view from, std::wstring_view to) {
    std::size_t found = from.empty() ? std::wstring::npos : text.find(from);
    if (found == std::wstring::npos) {
        return;
    }
    std::wstring result;
    std::size_t done = 0;
    for (; found != std::wstring::npos; found = text.find(from, done)) {
        result.append(text, done, found - done);
        result += to;
        done = found + from.size();
    }
    result.append(text, done);
    text = std::move(result);
}

long long parseDecimal(std::wstring_view text) noexcept {
    constexpr long long kMost = std::numeric_limits<long long>::max();
    const std::size_t begin = text.find_first_not_of(L" \t\n\v\f\r");
    if (begin == std::wstring_view::npos) {
        return 0;
    }
    text.remove_prefix(begin);
    const bool negative = text.front() == L'-';
    if (negative || text.front() == L'+') {
        text.remove_prefix(1);
    }
    long long value = 0;
    for (const wchar_t unit : text) {
        if (unit < L'0' || unit > L'9') {
            break;
        }
        const int digit = static_cast<int>(unit - L'0');
        if (value > (kMost - digit) / 10) {
            return negative ? std::numeric_limits<long long>::min() : kMost;
        }
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

std::wstring utf16FromUtf8(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        std::size_t used = 0;
        const std::uint32_t point = decodeUtf8(bytes, used);
        bytes.remove_prefix(used);
        if (point < 0x10000) {
            text += static_cast<wchar_t>(point);
        } else {
            text += static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10));
            text += static_cast<wchar_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
        }
    }
    return text;
}

std::string utf8FromUtf16(std::wstring_view text) {
    // Nearly all text is ASCII: that much of it is copied in one go.
    const auto rest = std::find_if(text.begin(), text.end(), [](wchar_t unit) {
        return (static_cast<std::uint32_t>(unit) & 0xFF80) != 0;
    });
    std::string bytes(text.begin(), rest);
    for (auto i = static_cast<std::size_t>(rest - text.begin()); i < text.size(); ++i) {
        std::uint32_t point = static_cast<std::uint32_t>(text[i]) & 0xFFFF;
        if (isHighSurrogate(point) && i + 1 < text.size() &&
            isLowSurrogate(static_cast<std::uint32_t>(text[i + 1]) & 0xFFFF)) {
            const auto low = static_cast<std::uint32_t>(text[++i]) & 0x3FF;
            point = 0x10000 + ((point & 0x3FF) << 10 | low);
        } else if (isHighSurrogate(point) || isLowSurrogate(point)) {
            point = kReplacement;
        }
        appendUtf8(bytes, point);
    }
    return bytes;
}

std::wstring widenAscii(std::string_view text) {
    return std::wstring(text.begin(), text.end());
}

std::wstring widen(std::string_view bytes) {
    return platform::host().widen(bytes);
}

std::string narrow(std::wstring_view text) {
    return platform::host().narrow(text);
}

}  // namespace lathwind
