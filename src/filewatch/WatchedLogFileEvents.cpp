// When a followed log is read, and how its lines become events.
#include <utility>

#include "events/EventMacros.h"
#include "events/LogFileEvent.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/LogLineFilter.h"
#include "filewatch/WatchedLogFile.h"
#include "utils/AgentInfo.h"
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

std::size_t WatchedLogFile::ProcessNotification(EventList& events,
                                                const FileNotificationInfo& note) {
    const WatchedLogFile saved(*this);
    attributes->Initialize();
    lastAction = static_cast<std::int32_t>(note.action);
    if (note.action == FileAction::Deleted) {
        offset = 0;
        return 0;
    }
    return CompareWithSaved(events, saved, note.virtualName);
}

std::size_t WatchedLogFile::CompareWithSaved(EventList& events, const WatchedEntity& saved,
                                             const std::wstring& nameInEvents) {
    std::size_t count = 0;
    if (attributes->GetSize() == 0) {
        offset = 0;
    } else if (IsToBeRead(saved)) {
        if (attributes->GetSize() < saved.GetAttributes().GetSize()) {
            offset = 0;
        }
        count = ReadEvents(events, saved, nameInEvents);
    }
    file.reset();
    reader.reset();
    return count;
}

bool WatchedLogFile::IsToBeRead(const WatchedEntity& saved) const {
    if (offset == 0 && IsServiceCsvLog(GetName())) {
        return true;
    }
    // A pass that ended at its limit has left lines, and the file needs not change for them to be
    // due. Its state before tells, also across a restart.
    const auto* before = dynamic_cast<const WatchedLogFile*>(&saved);
    if (before != nullptr && before->offset != 0 &&
        before->offset < before->attributes->GetSize()) {
        return true;
    }
    bool anyDifference = false;
    attributes->CompareToText(saved.GetAttributes(), false, &anyDifference, nullptr, false);
    return anyDifference;
}

std::size_t WatchedLogFile::ReadEvents(EventList& events, const WatchedEntity& saved,
                                       const std::wstring& nameInEvents) {
    const AgentInfoRef settings;
    // A burst in a log leaves a fifth of the queue to others.
    const std::uint32_t maximum = settings->fileEventsLimit();
    const std::size_t limit = maximum - 2 * (maximum / 10);
    return properties.GetInjectEvent() != 0
               ? ReadInjected(events, nameInEvents, limit)
               : ReadMatching(events, saved, limit, settings->closeLogAfterRead());
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

std::size_t WatchedLogFile::ReadInjected(EventList& events, const std::wstring& nameInEvents,
                                         std::size_t limit) {
    LogRecordFacts record{
        .machineName = nameInEvents,
        .format = properties.GetInjectEvent(),
        .text = {},
        .stateValue = injectedState(properties.GetSourceType()),
        .isCsvRecord = properties.GetSourceType() == 0,
        .logPath = GetName(),
    };
    const LogLineFilter everything({}, IsWide());
    std::size_t count = 0;
    // The record at the log's end deletes it, which a file that is held open may forbid.
    while (count < limit && NextText(true, everything, record.text)) {
        // The lines of such an event end in CR LF, of which reading text has left the line feed.
        if (record.format == logRecordFormat::Injected && !IsWide()) {
            replaceAll(record.text, L"\n", L"\r\n");
        }
        count += static_cast<std::size_t>(CreateLogEvent(events, record));
    }
    return count;
}

std::size_t WatchedLogFile::ReadMatching(EventList& events, const WatchedEntity& saved,
                                         std::size_t limit, bool closeAfterRead) {
    const LogLineFilter filter(properties.GetParseString(), IsWide());
    std::vector<std::wstring> fileValues;
    SetEventFields(fileValues, &saved.GetAttributes(), FileAction::Modified, false);
    std::wstring line;
    FieldMap captures;
    std::size_t count = 0;
    while (count < limit && NextText(closeAfterRead, filter, line)) {
        if (filter.Matches(line, captures)) {
            events.push_back(CreateLineEvent(fileValues, line, captures));
            ++count;
        }
    }
    return count;
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
