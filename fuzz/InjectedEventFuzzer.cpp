// Any text as a record of a log, in both forms. The message of an injected event is kept: put
// together again without its INI lines, the text gives the same parts.

#include <cstdint>
#include <cstdlib>

#include "events/LogRecordEvents.h"
#include "utils/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    LogRecordFacts record;
    record.text = utf16FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
    EventList events;
    for (record.format = 0; record.format < 4; ++record.format) {
        const std::size_t before = events.size();
        const bool isMade = CreateLogEvent(events, record);
        if (events.size() != before + (isMade ? 1 : 0)) {
            std::abort();
        }
    }

    std::wstring kind;
    std::wstring message;
    FieldMap fields;
    if (!ParseInjectedEvent(record.text, kind, message, fields) || message.empty()) {
        return 0;
    }
    std::wstring again = kind;
    again.append(L"\r\n0\r\n").append(message);
    std::wstring kindAgain;
    std::wstring messageAgain;
    if (!ParseInjectedEvent(again, kindAgain, messageAgain, fields) || kindAgain != kind ||
        messageAgain != message || !fields.empty()) {
        std::abort();
    }
    return 0;
}
