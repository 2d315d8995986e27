#include "events/LogFileEvent.h"

#include <string_view>

#include "utils/Format.h"

namespace lathwind {
namespace {

// One allocation: there may be an event for each line of a log.
std::wstring describeLine(const std::wstring& name, const std::wstring& message) {
    constexpr std::wstring_view kOpening = L"Logfile event detected.\nFilename: ";
    constexpr std::wstring_view kBetween = L"\n\nMessage: ";
    std::wstring text;
    text.reserve(kOpening.size() + name.size() + kBetween.size() + message.size());
    text.append(kOpening).append(name).append(kBetween).append(message);
    return text;
}

}  // namespace

LogFileEvent::LogFileEvent(const std::wstring& name, const std::wstring& message)
    : DescribedEvent(name, describeLine(name, message)) {}

LogFileEvent::LogFileEvent(const std::wstring& name)
    : DescribedEvent(name, format(L"Detected File Tampering - Action:  File\nName: %ls\n", name)) {}

}  // namespace lathwind
