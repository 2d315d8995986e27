#pragma once

#include <memory>

#include "events/IDSEvent.h"

namespace lathwind {

class RecordToEventViewerAction;  // actions/RecordToEventViewerAction.h

// The short road of a CSV record that was taken from a log of the prevention service: to the event
// files as it is, past every policy. Used by one thread at a time.
class DirectEventRecorder {
public:
    DirectEventRecorder();
    ~DirectEventRecorder();

    // Takes the event if it is such a record (its source kind is 0), and leaves null behind. False
    // for any other event, which stays the caller's.
    bool Record(std::unique_ptr<IDSEvent>& event);

private:
    std::unique_ptr<RecordToEventViewerAction> action_;  // made at first use
};

}  // namespace lathwind
