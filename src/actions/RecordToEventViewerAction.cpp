#include "actions/RecordToEventViewerAction.h"

#include <exception>
#include <utility>

#include "actions/ActionThread.h"
#include "actions/FlagMacroProvider.h"
#include "actions/FlagTags.h"
#include "events/EventMacros.h"
#include "utils/AgentInfo.h"
#include "utils/Exceptions.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr auto kModule = ModuleId::ProcessEvent;
constexpr int kQueueApproachingRow = 219;
constexpr int kQueueFullRow = 221;
constexpr int kInvalidMacroRow = 352;
constexpr int kUnexpectedErrorRow = 56;
constexpr int kUnexpectedRow = 57;
constexpr std::uint32_t kIgnoredKind = 11;
constexpr std::size_t kLongestText = 128;  // UTF-16 units
constexpr std::wstring_view kEllipsis = L"...";

std::atomic<std::uint32_t> droppedReportCount{0};

// A template is one tag, or text around flag tags.
bool isKnownTemplate(std::wstring_view text) {
    return HasFlagTag(text) ||
           (text.find_first_of(L"{}") == std::wstring_view::npos ? IsKnownMacro(trim(text))
                                                                 : ListUnknownMacros(text).empty());
}

std::wstring withoutBraces(std::wstring_view text) {
    std::wstring bare(text);
    std::erase_if(bare, [](wchar_t unit) { return unit == L'{' || unit == L'}'; });
    return bare;
}

std::wstring shortened(std::wstring_view text) {
    std::wstring result(trim(text));
    if (result.size() > kLongestText) {
        result.resize(kLongestText - kEllipsis.size());
        if ((result.back() & 0xFC00) == 0xD800) {
            result.pop_back();  // half of a character
        }
        result += kEllipsis;
    }
    return result;
}

}  // namespace

RecordToEventViewerAction::RecordToEventViewerAction(const ActionPolicy* policy)
    : Action(policy), latchLock_(platformFactory.createLock()) {
    records_.setLimit(AgentInfoRef()->eventProcessingQueueLimit() / 2);
}

// Takes itself out of the thread's queue while it still is what the thread would call.
RecordToEventViewerAction::~RecordToEventViewerAction() {
    ActionThread::instance().remove(*this);
}

void RecordToEventViewerAction::handleDotCode(wchar_t code, const std::wstring& text) {
    if (code != L'T') {
        Action::handleDotCode(code, text);
        return;
    }
    if (!isKnownTemplate(text)) {
        logCatalogued(Severity::Warning, kModule, kInvalidMacroRow, withoutBraces(text));
        return;
    }
    std::wstring good(trim(text));
    if (IsKnownMacro(good)) {
        good.insert(0, 1, L'{').append(1, L'}');  // a bare name means its tag
    }
    templates_.push_back(std::move(good));
}

// Without templates the text is the event's own, and braces in it are part of the message: they
// mean something only to a policy that works with flags.
std::wstring RecordToEventViewerAction::textOf(const IDSEvent& event,
                                               const FlagContexts* flags) const {
    std::wstring text;
    for (const std::wstring& part : templates_) {
        text.append(text.empty() ? L"" : L"\n").append(part);
    }
    const bool hasFlags = flags != nullptr && !flags->empty();
    if (templates_.empty()) {
        text = event.GetEventText();
    }
    if (hasFlags) {
        text = ExpandFlagTags(text, *flags);
        FlagMacroProvider values(event, *flags->front());
        text = ExpandMacros(values, text);
    } else if (!templates_.empty()) {
        text = ExpandMacrosForEvent(event, text);
    }
    return shortened(text);
}

void RecordToEventViewerAction::perform(const IDSEvent& event, const FlagContexts* flags) {
    if (event.GetSourceKind() == kIgnoredKind) {
        return;
    }
    enqueue(makeRecord(event, flags), RuleSet::Agent);
}

CsvRecord RecordToEventViewerAction::makeRecord(const IDSEvent& event,
                                                const FlagContexts* flags) const {
    CsvRecord record;
    event.GetFields(record.fields, EventFiles::instance().nextSequence(), textOf(event, flags));
    record.isKept = event.GetSourceKind() == sourceKind::AgentError;
    return record;
}

bool RecordToEventViewerAction::enqueue(CsvRecord record, RuleSet rules) {
    record.isSent = EventFiles::instance().isSent(record.fields, rules);
    const PushResult result = records_.pushChecked(std::make_shared<CsvRecord>(std::move(record)));
    reportPush(result);
    if (result == PushResult::Full || result == PushResult::Stopped) {
        return false;
    }
    debugLog(kModule, L"%d events in Orvel action queue", records_.size());
    if (ActionThread::instance().enqueue(*this) == PushResult::Stopped) {
        debugLog(kModule, L"An event came behind the end of the action thread");
        return false;
    }
    return true;
}

bool RecordToEventViewerAction::isFull() const {
    const QueueState state = records_.state();
    return state.count >= state.limit;
}

void RecordToEventViewerAction::reportPush(PushResult result) {
    const ScopedLock guard(*latchLock_);
    if (report(result, kModule, kQueueApproachingRow, kQueueFullRow) != 0) {
        ++droppedReportCount;
    }
}

// An exception must not end the thread, which works for all actions.
void RecordToEventViewerAction::process() {
    try {
        writeNext();
    } catch (const IDSException& exception) {
        logCatalogued(Severity::Error, kModule, kUnexpectedErrorRow, exception.message);
    } catch (const std::exception&) {
        logCatalogued0(Severity::Error, kModule, kUnexpectedRow);
    }
}

void RecordToEventViewerAction::writeNext() {
    if (records_.empty()) {
        debugLog(kModule,
                 L"Record to Event Viewer Action does not have any events.  Please verify the "
                 L"policy: %ls",
                 policyName());
        return;
    }
    const std::shared_ptr<CsvRecord> record = records_.popFront();
    if (record->fields.empty()) {
        debugLog(kModule, L"Event does not have any fields.  Please verify the policy: %ls",
                 policyName());
        return;
    }
    EventFiles::instance().write(std::move(*record));
}

void RecordToEventViewerAction::recordConfigure(RecordSetting setting, const std::wstring& value) {
    EventFiles::instance().configure(setting, value);
}
void RecordToEventViewerAction::recordSetPaths(const std::wstring& all,
                                               const std::wstring& realTime) {
    EventFiles::instance().setPaths(all, realTime);
}
void RecordToEventViewerAction::recordSetDisk(const std::wstring& path) {
    EventFiles::instance().setDisk(path);
}
std::uint32_t RecordToEventViewerAction::droppedReports() noexcept {
    return droppedReportCount.load();
}

}  // namespace lathwind
