// When a followed log is read, and how its lines become events.
#include <utility>

#include "events/EventMacros.h"
#include "events/LogFileEvent.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/LogLineFilter.h"
#include "filewatch/WatchedLogFile.h"
#include "utils/AgentInfo.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

// System states of events: injected ones by the kind of their source, and those made of lines.
constexpr std::uint32_t kInjectedStates[] = {0x804, 0x404, 0x46, 0x84};
constexpr std::uint32_t kOtherInjectedState = 0x204;
constexpr std::uint32_t kNamedByEntryState = 0x302;
constexpr std::uint32_t kNamedByLineState = 0x202;

std::uint32_t injectedState(std::int32_t sourceType) {
    const auto index = static_cast<std::size_t>(sourceType);
    return sourceType >= 0 && index < std::size(kInjectedStates) ? kInjectedStates[index]
                                                                 : kOtherInjectedState;
}

std::wstring virtualTagOf(const IDSEvent& event) {
    constexpr auto kIndex =
        static_cast<std::size_t>(eventField::VirtualTag - eventField::FirstValue);
    return kIndex < event.GetValues().size() ? event.GetValues()[kIndex] : std::wstring();
}

}  // namespace

// Events wait in memory until they are taken, and hold the text of their line several times over.
// Their number alone bounds nothing when a line may be as long as the reader allows.
struct WatchedLogFile::Pass {
    static constexpr std::size_t kMostText = std::size_t{8} * 1024 * 1024;  // UTF-16 units

    std::size_t mostEvents = 0;
    std::size_t events = 0;
    std::size_t text = 0;  // of their lines

    bool IsFull() const { return events >= mostEvents || text >= kMostText; }
    void Count(const std::wstring& line) {
        ++events;
        text += line.size();
    }
};

std::size_t WatchedLogFile::ProcessNotification(EventList& events,
                                                const FileNotificationInfo& note) {
    const WatchedLogFile saved(*this);
    attributes.renew();
    lastAction = static_cast<std::int32_t>(note.action);
    if (note.action == FileAction::Deleted) {
        offset = 0;
        hasUnreadLines = false;
        return 0;
    }
    return CompareWithSaved(events, saved, note.virtualName);
}

std::size_t WatchedLogFile::CompareWithSaved(EventList& events, const WatchedEntity& saved,
                                             const std::wstring& nameInEvents) {
    std::size_t count = 0;
    hasUnreadLines = false;
    if (attributes->GetSize() == 0) {
        offset = 0;
    } else if (IsToBeRead(saved)) {
        if (attributes->GetSize() < saved.GetAttributes().GetSize()) {
            offset = 0;
        }
        if (offset == 0) {
            CheckEncoding();
        }
        count = ReadEvents(events, saved, nameInEvents);
    }
    file.reset();
    reader.reset();
    return count;
}

// A new log is noticed while it is still empty, and rotation may bring a file of another encoding:
// what the entry's settings found then need not hold for what is there now.
void WatchedLogFile::CheckEncoding() {
    std::wstring found = FindEncoding(GetName());
    if (found != encoding) {
        encoding = std::move(found);
        debugLog(ModuleId::FilewatchCollector, L"Reading Log %ls as %ls", GetName(), encoding);
    }
}

bool WatchedLogFile::IsToBeRead(const WatchedEntity& saved) const {
    if (offset == 0 && IsServiceCsvLog(GetName())) {
        return true;
    }
    // Lines that were left are due, and the file needs not change for that. Across a restart the
    // part that was consumed tells.
    const auto* before = dynamic_cast<const WatchedLogFile*>(&saved);
    if (before != nullptr &&
        (before->hasUnreadLines ||
         (before->offset != 0 && before->offset < before->attributes->GetSize()))) {
        return true;
    }
    bool anyDifference = false;
    attributes->CompareToText(saved.GetAttributes(), false, &anyDifference, nullptr, false);
    return anyDifference;
}

// A burst in a log leaves a fifth of the queue to others.
std::size_t WatchedLogFile::GetPassLimit() {
    const std::uint32_t maximum = AgentInfoRef()->fileEventsLimit();
    return maximum - 2 * (maximum / 10);
}

std::size_t WatchedLogFile::ReadEvents(EventList& events, const WatchedEntity& saved,
                                       const std::wstring& nameInEvents) {
    const AgentInfoRef settings;
    Pass pass{.mostEvents = GetPassLimit()};
    if (properties.GetInjectEvent() != 0) {
        ReadInjected(events, nameInEvents, pass);
    } else {
        ReadMatching(events, saved, settings->closeLogAfterRead(), pass);
    }
    hasUnreadLines = hasUnreadLines || pass.IsFull();
    return pass.events;
}

// The text of the next line that may match, without the blanks at its end.
bool WatchedLogFile::NextText(bool closeAfterRead, const LogLineFilter& filter,
                              std::wstring& line) {
    while (ReadLine(closeAfterRead)) {
        if (filter.MayMatch(reader->GetBytes())) {
            reader->GetText(line);
            line.resize(trimRight(line).size());
            return true;
        }
    }
    return false;
}

void WatchedLogFile::ReadInjected(EventList& events, const std::wstring& nameInEvents, Pass& pass) {
    LogRecordFacts record{
        .machineName = nameInEvents,
        .format = properties.GetInjectEvent(),
        .text = {},
        .stateValue = injectedState(properties.GetSourceType()),
        .isCsvRecord = properties.GetSourceType() == 0,
        .logPath = GetName(),
    };
    const LogLineFilter everything({}, IsWide());
    // The record at the log's end deletes it, which a file that is held open may forbid.
    while (!pass.IsFull() && NextText(true, everything, record.text)) {
        // The lines of such an event end in CR LF, of which reading text has left the line feed.
        if (record.format == logRecordFormat::Injected && !IsWide()) {
            replaceAll(record.text, L"\n", L"\r\n");
        }
        if (CreateLogEvent(events, record)) {
            pass.Count(record.text);
        }
    }
}

void WatchedLogFile::ReadMatching(EventList& events, const WatchedEntity& saved,
                                  bool closeAfterRead, Pass& pass) {
    const LogLineFilter filter(properties.GetParseString(), IsWide());
    std::vector<std::wstring> fileValues;
    SetEventFields(fileValues, &saved.GetAttributes(), FileAction::Modified, false);
    std::wstring line;
    FieldMap captures;
    while (!pass.IsFull() && NextText(closeAfterRead, filter, line)) {
        if (filter.Matches(line, captures)) {
            events.push_back(CreateLineEvent(fileValues, line, captures));
            pass.Count(line);
        }
    }
}

std::unique_ptr<IDSEvent> WatchedLogFile::CreateLineEvent(
    const std::vector<std::wstring>& fileValues, const std::wstring& line,
    const FieldMap& captures) const {
    auto event = std::make_unique<LogFileEvent>(GetName(), line);
    event->SetSourceKind(sourceKind::LogWatch, false);
    event->SetValues(fileValues);
    event->setEventField(eventField::Description, line);
    DefaultFieldRules(*event, captures);
    std::wstring name = virtualTagOf(*event);
    const bool isNamed = !name.empty();
    if (!isNamed) {
        name = properties.GetVirtualName();
        if (name.find(L'{') != std::wstring::npos) {
            name = ExpandMacrosForEvent(*event, name);
        }
    }
    ApplyVirtualName(std::move(name), *event, isNamed ? kNamedByLineState : kNamedByEntryState,
                     !isNamed);
    return event;
}

}  // namespace lathwind
