#include "events/LogRecordEvents.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "events/EventMacros.h"
#include "utils/CsvField.h"
#include "utils/FileIO.h"
#include "utils/IniFile.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kLineEnd = L"\r\n";
constexpr std::wstring_view kIniSection = L"IDSEvent";

// The first field of the records of an event file that are no events.
constexpr std::wstring_view kStartOfFile = L"MSOF";
constexpr std::wstring_view kEndOfFile = L"MEOF";
// The first field of a record that keeps its state.
constexpr std::wstring_view kReport = L"MREP";

constexpr std::int32_t kInjectedSequence = 5;

void setKnownMacros(IDSEvent& event, const FieldMap& fields, bool keepProcessFacts) {
    for (const auto& [name, text] : fields) {
        if (IsKnownMacro(name)) {
            SetMacroValue(event, name, text, keepProcessFacts);
        }
    }
}

// Each line ends with a line end; the last one may go without.
std::vector<std::wstring_view> splitLines(std::wstring_view text) {
    std::vector<std::wstring_view> lines;
    while (!text.empty()) {
        const std::size_t end = text.find(kLineEnd);
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + kLineEnd.size());
    }
    return lines;
}

using Lines = std::vector<std::wstring_view>;

std::wstring joinLines(Lines::const_iterator begin, Lines::const_iterator end) {
    std::wstring text;
    for (; begin != end; ++begin) {
        text.append(*begin).append(kLineEnd);
    }
    return text;
}

// The pairs of the event's section. False if there is none.
bool readIniFields(std::wstring text, FieldMap& fields) {
    IniFile ini;
    ini.parse(std::move(text));
    for (std::size_t section = 0; section < ini.sectionCount(); ++section) {
        if (equalsNoCase(ini.sectionName(section), kIniSection)) {
            for (std::size_t i = 0; i < ini.valueCount(section); ++i) {
                const auto [key, value] = ini.value(section, i);
                fields.emplace(key, value);
            }
            return true;
        }
    }
    return false;
}

std::unique_ptr<IDSEvent> makeInjectedEvent(const LogRecordFacts& record) {
    std::wstring kind;
    std::wstring message;
    FieldMap fields;
    std::vector<std::wstring> values;
    if (!ParseInjectedEvent(record.text, kind, message, fields) || !SplitFields(kind, values)) {
        return nullptr;
    }
    auto event = std::make_unique<IDSEvent>();
    event->SetSourceKind(sourceKind::LogWatch, false);
    event->SetEventClass(eventClass::Normal);
    event->SetSequenceField(kInjectedSequence);
    if (!record.machineName.empty()) {
        event->SetMachineName(record.machineName);
    }
    event->SetEventText(message);
    event->SetValues(std::move(values));
    setKnownMacros(*event, fields, false);
    event->SetSystemState(record.stateValue, false);
    return event;
}

// Is the record one of the lines that mark the ends of a file? Behind the last one the log has
// been read to its end, and goes.
bool takeMarker(const std::wstring& marker, const std::wstring& logPath) {
    if (marker == kEndOfFile && !FileIO::Delete(logPath)) {
        debugLog(ModuleId::ProcessEvent, L"Failed to delete log file: %ls", logPath);
    }
    return marker == kStartOfFile || marker == kEndOfFile;
}

std::unique_ptr<IDSEvent> makeCsvEvent(const LogRecordFacts& record) {
    std::vector<std::wstring> values;
    if (!SplitFields(trimRight(record.text, kLineEnd), values)) {
        return nullptr;
    }
    if (record.isCsvRecord && takeMarker(values.front(), record.logPath)) {
        return nullptr;
    }
    auto event = std::make_unique<IDSEvent>();
    if (values.front() != kReport) {
        event->SetSystemState(record.stateValue, false);
    }
    event->SetValues(std::move(values));
    return event;
}

std::unique_ptr<IDSEvent> makeEvent(const LogRecordFacts& record) {
    switch (record.format) {
        case logRecordFormat::Csv:
            return makeCsvEvent(record);
        case logRecordFormat::Injected:
            return makeInjectedEvent(record);
        default:
            return nullptr;
    }
}

}  // namespace

void DefaultFieldRules(IDSEvent& event, const FieldMap& fields) {
    setKnownMacros(event, fields, true);
}

bool ParseInjectedEvent(const std::wstring& text, std::wstring& kind, std::wstring& message,
                        FieldMap& fields) {
    const Lines lines = splitLines(text);
    if (lines.size() < 3) {
        debugLog(ModuleId::ProcessEvent, L"Injected event message contain at 3 lines: %ls", text);
        return false;
    }
    const long long iniLines = parseDecimal(lines[1]);
    // Around the INI lines stand at least kind, count, an empty line and one line of message.
    if (iniLines < 0 || (iniLines > 0 && iniLines > std::ssize(lines) - 4)) {
        debugLog(ModuleId::ProcessEvent, L"Injected event contains bad INI spec: %ls", text);
        return false;
    }
    FieldMap pairs;
    auto next = lines.begin() + 2;
    if (iniLines > 0) {
        const auto iniEnd = next + static_cast<std::ptrdiff_t>(iniLines);
        if (!readIniFields(joinLines(next, iniEnd), pairs)) {
            debugLog(ModuleId::ProcessEvent, L"Injected event missing [IDSEvent] INI section: %ls",
                     text);
            return false;
        }
        next = iniEnd + 1;
    }
    kind = lines[0];
    message = joinLines(next, lines.end());
    fields = std::move(pairs);
    return true;
}

bool CreateLogEvent(EventList& events, const LogRecordFacts& record) {
    std::unique_ptr<IDSEvent> event = makeEvent(record);
    if (!event) {
        return false;
    }
    events.push_back(std::move(event));
    return true;
}

}  // namespace lathwind
