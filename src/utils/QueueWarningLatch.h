#pragma once

#include "utils/HighWaterQueue.h"
#include "utils/Logging.h"

namespace lathwind {

// Stands beside a store's producer and reports a full queue once an episode. Used by the one
// thread that produces, or under the producer's lock.
class QueueWarningLatch {
public:
    virtual ~QueueWarningLatch() = default;

    // Takes the result of a push. At the first Full since the last Stored it writes the catalogue
    // row `fullId` as an Error of `module`, without arguments, and gives 1; otherwise 0.
    int report(PushResult result, ModuleId module, int approachingId, int fullId);

private:
    bool reportedFull_ = false;
    bool reportedApproaching_ = false;
};

}  // namespace lathwind
