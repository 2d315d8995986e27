// A byte of flags, the delimiter as UTF-8, a NUL, and the log: the reader finds the lines that the
// slow model finds, whatever the size of its blocks.
#include <cstddef>
#include <cstdint>
#include <string>

#include "support/LogLineModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    if (size == 0 || size > 4096) {
        return 0;
    }
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t cut = text.find('\0');
    if (cut == std::string_view::npos) {
        return 0;
    }
    LogLineReader::Format format;
    format.isWide = (data[0] & 1) != 0;
    format.includeDelimiter = (data[0] & 2) != 0;
    format.delimiter = utf16FromUtf8(text.substr(0, cut));
    // The replacement character also stands for bytes that are none; it ends no lines then.
    if (!format.isWide && format.delimiter.find(L'\xFFFD') != std::wstring::npos) {
        return 0;
    }
    const LogLineReader::Sizes sizes{.block = std::size_t{4} + data[0] % 61,
                                     .lineLimit = std::size_t{4} + data[0] % 127};
    const std::string_view log = text.substr(cut + 1);
    const testing::LogLineModel model(log, format, sizes.lineLimit);
    if (testing::readLogLines(log, format, sizes) != model.lines()) {
        __builtin_trap();
    }
    return 0;
}
