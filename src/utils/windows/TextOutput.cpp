#include "utils/windows/TextOutput.h"

#include <algorithm>

#include "utils/windows/CodePage.h"

namespace lathwind::windows {
namespace {

constexpr std::size_t kBlock = 64 * 1024;
constexpr std::size_t kConsoleUnits = 8 * 1024;  // a console refuses much longer texts

bool isConsoleHandle(HANDLE handle) {
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != 0;
}

bool isHighSurrogate(wchar_t unit) {
    return (unit & 0xFC00) == 0xD800;
}

}  // namespace

TextOutput::TextOutput(DWORD which, bool buffered)
    : handle_(::GetStdHandle(which)), console_(isConsoleHandle(handle_)), buffered_(buffered) {}

bool TextOutput::write(std::wstring_view text) {
    const ScopedLock guard(lock_);
    if (console_) {
        writeConsole(text);
        return !failed_;
    }
    append(text);
    if (!buffered_ || buffer_.size() >= kBlock) {
        drain();
    }
    return !failed_;
}

bool TextOutput::flush() {
    const ScopedLock guard(lock_);
    drain();
    return !failed_;
}

void TextOutput::append(std::wstring_view text) {
    while (!text.empty()) {
        const std::size_t end = text.find(L'\n');
        appendToCodePage(buffer_, text.substr(0, end));
        if (end == std::wstring_view::npos) {
            return;
        }
        buffer_ += "\r\n";
        text.remove_prefix(end + 1);
    }
}

void TextOutput::writeConsole(std::wstring_view text) {
    while (!text.empty() && !failed_) {
        std::size_t units = std::min(text.size(), kConsoleUnits);
        if (units < text.size() && isHighSurrogate(text[units - 1])) {
            --units;  // the console shows a pair only when it comes whole
        }
        DWORD written = 0;
        failed_ =
            !::WriteConsoleW(handle_, text.data(), static_cast<DWORD>(units), &written, nullptr) ||
            written == 0;
        text.remove_prefix(written);
    }
}

void TextOutput::drain() {
    std::string_view rest = buffer_;
    while (!rest.empty() && !failed_) {
        DWORD written = 0;
        const auto piece = static_cast<DWORD>(std::min(rest.size(), kBlock));
        failed_ = !::WriteFile(handle_, rest.data(), piece, &written, nullptr) || written == 0;
        rest.remove_prefix(written);
    }
    buffer_.clear();
}

}  // namespace lathwind::windows
