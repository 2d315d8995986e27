// How a followed log is opened and its next line found.
#include <array>
#include <cerrno>
#include <limits>

#include "filewatch/FileAttributes.h"
#include "filewatch/WatchedLogFile.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

// The furthest position that the record of a log can hold.
constexpr std::uint64_t kLastPosition = std::numeric_limits<std::uint32_t>::max();

std::string_view markOf(const std::wstring& encoding) {
    switch (FileIO::EncodingCode(encoding)) {
        case 3:
            return "\xEF\xBB\xBF";
        case 2:
            return "\xFF\xFE";
        default:
            return {};
    }
}

bool beginsWith(std::FILE* stream, std::string_view mark) {
    std::array<char, 4> bytes{};
    return std::fread(bytes.data(), 1, mark.size(), stream) == mark.size() &&
           mark == std::string_view(bytes.data(), mark.size());
}

}  // namespace

bool WatchedLogFile::IsWide() const {
    return encoding != L"ANSI" && encoding != L"UTF-8";
}

bool WatchedLogFile::OpenLogFile() {
    // Line ends of text become line feeds before the delimiter is looked for.
    if (!IsWide() && properties.GetDelimiter() == L"\r\n") {
        properties.SetDelimiter(L"\n");
    }
    // In binary mode for text too: the run-time's text mode ends a file at Ctrl-Z, and its
    // positions are not those of bytes. The reader does what the mode would do.
    file.reset(FileIO::OpenStream(MapToRealPath(GetName()), L"rb", platform::Sharing::ReadWrite));
    return file != nullptr;
}

bool WatchedLogFile::SeekLog(std::FILE* stream, std::int64_t position, int origin) const {
    platform::Files& files = platform::files();
    if (position != 0 || origin != SEEK_SET) {
        return files.seekStream(stream, position, origin) == 0;
    }
    // A file that is read from its start skips its mark, if it has the one of its encoding: an
    // entry may name an encoding for a log without.
    const std::string_view mark = markOf(encoding);
    return files.seekStream(stream, 0, SEEK_SET) == 0 &&
           (mark.empty() || beginsWith(stream, mark) || files.seekStream(stream, 0, SEEK_SET) == 0);
}

// Goes to the offset. A log that ends ahead of it was cut or replaced, and is read from its start.
// This may have happened since the snapshot was taken. The next one is compared with that, would
// find the new file smaller than the old one, and have it read a second time.
bool WatchedLogFile::SeekOffset() {
    platform::Files& files = platform::files();
    const bool isAtEnd = files.seekStream(file.get(), 0, SEEK_END) == 0;
    const std::int64_t size = files.tellStream(file.get());
    if (isAtEnd && size < offset) {
        offset = 0;
        attributes.renew();
    }
    if (SeekLog(file.get(), offset, SEEK_SET)) {
        return true;
    }
    debugLog(ModuleId::FilewatchCollector, L"Failed to seek in logwatch file: %ls error: %d\n",
             GetName(), errno);
    return isAtEnd && size >= 0;  // what is appended from now on
}

bool WatchedLogFile::StartReading() {
    if (!OpenLogFile()) {
        const int number = errno;
        debugLog(ModuleId::FilewatchCollector, L"Failed to open logwatch file: %ls error: %d\n",
                 GetName(), number);
        // A log that is gone, perhaps with its last record, comes back as another file.
        if (number == ENOENT) {
            offset = 0;
        } else {
            hasUnreadLines = true;
        }
        return false;
    }
    if (!SeekOffset()) {
        hasUnreadLines = true;
        return false;
    }
    if (reader == nullptr) {
        reader = std::make_unique<LogLineReader>(LogLineReader::Format{
            .isWide = IsWide(),
            .delimiter = properties.GetDelimiter(),
            .includeDelimiter = properties.GetIncludeDelimiter(),
        });
    }
    reader->Restart(static_cast<std::uint64_t>(platform::files().tellStream(file.get())));
    return true;
}

bool WatchedLogFile::ReadLine(bool closeAfterRead) {
    using Found = LogLineReader::Found;
    // A block holds many lines: those that were read along with the last one are taken first.
    Found found = reader == nullptr ? Found::Nothing : reader->Find();
    if (found == Found::Nothing && (file != nullptr || StartReading())) {
        found = reader->Find([this](char* target, std::size_t count) {
            return std::fread(target, 1, count, file.get());
        });
    }
    if (closeAfterRead) {
        file.reset();
    }
    if (found == Found::Nothing) {
        return false;
    }
    if (reader->GetPosition() > kLastPosition) {
        debugLog(ModuleId::FilewatchCollector,
                 L"Logwatch file: %ls is followed up to its first %u bytes only", GetName(),
                 kLastPosition);
        return false;
    }
    if (found == Found::Piece) {
        debugLog(ModuleId::FilewatchCollector,
                 L"Line without an end in logwatch file: %ls, read in pieces of %u bytes",
                 GetName(), LogLineReader::Sizes().lineLimit);
    }
    offset = static_cast<std::uint32_t>(reader->GetPosition());
    return true;
}

}  // namespace lathwind
