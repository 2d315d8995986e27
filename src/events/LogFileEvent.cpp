#include "events/LogFileEvent.h"

#include "utils/Format.h"

namespace lathwind {

LogFileEvent::LogFileEvent(const std::wstring& name, const std::wstring& message)
    : DescribedEvent(
          name, format(L"Logfile event detected.\nFilename: %ls\n\nMessage: %ls", name, message)) {}

LogFileEvent::LogFileEvent(const std::wstring& name)
    : DescribedEvent(name, format(L"Detected File Tampering - Action:  File\nName: %ls\n", name)) {}

}  // namespace lathwind
