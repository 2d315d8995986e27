#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "utils/windows/WinHandles.h"
#include "utils/windows/WinLock.h"

namespace lathwind::windows {

// Standard output or error as text. A console takes the text as it is; a file or pipe takes bytes
// of the system code page with CR LF line ends, gathered in blocks of 64 KiB. Any thread may
// write; a text is written as a whole.
class TextOutput {
public:
    // `which` is STD_OUTPUT_HANDLE or STD_ERROR_HANDLE. Unbuffered output leaves with each call.
    TextOutput(DWORD which, bool buffered);

    // False when this or an earlier write failed: what was lost then stays lost.
    bool write(std::wstring_view text) EXCLUDES(lock_);
    bool flush() EXCLUDES(lock_);
    bool isConsole() const { return console_; }

private:
    void append(std::wstring_view text) REQUIRES(lock_);
    void writeConsole(std::wstring_view text) REQUIRES(lock_);
    void drain() REQUIRES(lock_);

    const HANDLE handle_;  // the process's, not ours to close
    const bool console_;
    const bool buffered_;
    WinLock lock_;
    std::string buffer_ GUARDED_BY(lock_);
    bool failed_ GUARDED_BY(lock_) = false;
};

}  // namespace lathwind::windows
