#include "actions/DirectEventRecorder.h"

#include <utility>
#include <vector>

#include "actions/ActionThread.h"
#include "actions/RecordToEventViewerAction.h"

namespace lathwind {
namespace {

constexpr std::wstring_view kReport = L"MREP";  // a report keeps its state as it was written
constexpr std::size_t kStateLetters = 5;
constexpr std::uint32_t kServiceState = 0x800;

}  // namespace

DirectEventRecorder::DirectEventRecorder() = default;
DirectEventRecorder::~DirectEventRecorder() = default;

bool DirectEventRecorder::Record(std::unique_ptr<IDSEvent>& event) {
    if (event->GetSourceKind() != sourceKind::None) {
        return false;
    }
    if (action_ == nullptr) {
        action_ = std::make_unique<RecordToEventViewerAction>(nullptr);
    }
    CsvRecord record;
    record.fields = event->GetValues();
    if (!record.fields.empty() && record.fields.front() != kReport &&
        record.fields.size() > kStateLetters) {
        record.fields[kStateLetters] = systemStateText(event->GetSystemState());
    }
    // A whole log comes at once, and goes when it has been read: better to wait for the writer than
    // to lose what does not fit.
    if (action_->isFull()) {
        ActionThread::instance().flush();
    }
    const bool isOfService = (event->GetSystemState() & kServiceState) != 0;
    action_->enqueue(std::move(record), isOfService ? RuleSet::Service : RuleSet::Agent);
    event.reset();
    return true;
}

}  // namespace lathwind
