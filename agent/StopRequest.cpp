#include "agent/StopRequest.h"

namespace lathwind::agent {

using platform::StopAnswer;
using platform::StopReason;

StopAnswer answerTo(StopReason reason, bool asService) noexcept {
    switch (reason) {
        case StopReason::Logoff:
            return asService ? StopAnswer::Ignore : StopAnswer::HoldOpen;
        case StopReason::ConsoleClosed:
        case StopReason::Shutdown:
            return asService ? StopAnswer::Stop : StopAnswer::HoldOpen;
        default:
            return StopAnswer::Stop;
    }
}

const wchar_t* wordsFor(StopReason reason) noexcept {
    switch (reason) {
        case StopReason::Interrupt:
            return L"interrupted";
        case StopReason::ConsoleClosed:
            return L"console closed";
        case StopReason::Logoff:
            return L"logoff";
        case StopReason::Shutdown:
            return L"shutdown";
        case StopReason::ServiceStop:
            return L"service stop";
        case StopReason::Termination:
            break;
    }
    return L"terminated";
}

StopAnswer StopRequest::onStopRequest(StopReason reason) {
    const StopAnswer answer = answerTo(reason, asService_);
    if (answer != StopAnswer::Ignore && !made_.load()) {
        reason_.store(reason);
        made_.store(true);
        wake_.set();
        stopping_.emplace(platform::ServiceStage::Stopping);
    }
    return answer;
}

}  // namespace lathwind::agent
