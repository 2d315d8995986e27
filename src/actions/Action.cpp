#include "actions/Action.h"

#include "actions/ActionThread.h"
#include "utils/Logging.h"

namespace lathwind {

Action::Action(const ActionPolicy* policy) : policy_(policy) {
    ActionThread::instance().start();
}

Action::~Action() {
    ActionThread::instance().remove(*this);
}

void Action::handleDotCode(wchar_t code, const std::wstring& text) {
    if (code == L'Z') {
        id_ = eventNumberOf(text);
        return;
    }
    debugLog(ModuleId::ProcessEvent, L"Unknown dot code %c found at action level in Policy: %ls",
             code, policyName());
}

std::wstring Action::policyName() const {
    return policy_ != nullptr ? policy_->name() : L"unknown";
}

}  // namespace lathwind
