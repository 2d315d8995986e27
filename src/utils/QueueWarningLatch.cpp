#include "utils/QueueWarningLatch.h"

namespace lathwind {

// The approaching row is not written: a busy agent passes the high mark all day long, and only a
// queue that loses elements is worth an operator's attention.
int QueueWarningLatch::report(PushResult result, ModuleId module, int /*approachingId*/,
                              int fullId) {
    if (result == PushResult::Stored) {
        reportedFull_ = false;
        reportedApproaching_ = false;
    } else if (result == PushResult::HighMark && !reportedApproaching_) {
        reportedApproaching_ = true;
    } else if (result == PushResult::Full && !reportedFull_) {
        logCatalogued0(Severity::Error, module, fullId);
        reportedFull_ = true;
        return 1;
    }
    return 0;
}

}  // namespace lathwind
