#include "utils/windows/CodePage.h"

#include <algorithm>

#include "utils/windows/SystemHeaders.h"

namespace lathwind::windows {
namespace {

// A unit makes at most this many bytes in any code page of the system.
constexpr std::size_t kBytesAUnit = 4;

int asInt(std::size_t size) {
    return static_cast<int>(size);
}

int convert(DWORD flags, std::wstring_view text, char* target, std::size_t room) {
    return ::WideCharToMultiByte(CP_ACP, flags, text.data(), asInt(text.size()), target,
                                 asInt(room), nullptr, nullptr);
}

}  // namespace

std::wstring widenFromCodePage(std::string_view bytes) {
    std::wstring text(bytes.size(), L'\0');  // no code page makes two units of one byte
    if (!bytes.empty()) {
        const int units = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), asInt(bytes.size()),
                                                text.data(), asInt(text.size()));
        text.resize(static_cast<std::size_t>(units));
    }
    return text;
}

void appendToCodePage(std::string& out, std::wstring_view text) {
    // Every code page of the system keeps ASCII, and most text is nothing else.
    if (std::all_of(text.begin(), text.end(), [](wchar_t unit) { return unit < 0x80; })) {
        std::transform(text.begin(), text.end(), std::back_inserter(out),
                       [](wchar_t unit) { return static_cast<char>(unit); });
        return;
    }
    const std::size_t start = out.size();
    const std::size_t room = text.size() * kBytesAUnit;
    out.resize(start + room);
    int bytes = convert(WC_NO_BEST_FIT_CHARS, text, out.data() + start, room);
    if (bytes == 0) {  // UTF-8 as the system's code page takes no flags
        bytes = convert(0, text, out.data() + start, room);
    }
    out.resize(start + static_cast<std::size_t>(bytes));
}

}  // namespace lathwind::windows
