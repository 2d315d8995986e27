#include "agent/EventRecorder.h"

#include "actions/ActionThread.h"
#include "actions/EventFilePaths.h"
#include "utils/AgentInfo.h"

namespace lathwind::agent {
namespace {

RecordSetting settingOf(RolloverType type) {
    switch (type) {
        case RolloverType::Date:
            return RecordSetting::RollByDate;
        case RolloverType::None:
            return RecordSetting::NoRollover;
        case RolloverType::Size:
            break;
    }
    return RecordSetting::RollBySize;
}

}  // namespace

EventRecorder::EventRecorder() : action_(nullptr) {}

// The paths are the default ones: no setting names others.
void EventRecorder::configureFiles(const AgentInfo& settings) {
    RecordToEventViewerAction::recordSetPaths({}, {});
    RecordToEventViewerAction::recordConfigure(settingOf(settings.eventFileRolloverType()),
                                               settings.eventFileRolloverValue());
    RecordToEventViewerAction::recordSetDisk(settings.isDiskMonitored() ? eventFileFolder()
                                                                        : std::wstring());
}

bool EventRecorder::isFull() {
    if (!action_.isFull()) {
        return false;
    }
    if (!refusesNothing_.load()) {
        return true;
    }
    ActionThread::instance().flush();
    return false;
}

void EventRecorder::take(std::unique_ptr<IDSEvent> event) {
    action_.perform(*event, nullptr);
    taken_.fetch_add(1, std::memory_order_relaxed);
}

EventRecorder::Totals EventRecorder::totals() const {
    const QueueState queue = action_.queueState();
    return {taken_.load(std::memory_order_relaxed), queue.count, queue.dropped};
}

}  // namespace lathwind::agent
