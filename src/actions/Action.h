#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "events/IDSEvent.h"

namespace lathwind {

class Flag;  // actions/Flag.h

// The flags that belong to the rule an event has matched; not owned.
using FlagContexts = std::vector<Flag*>;

// The policy that an action belongs to, as much of it as an action needs.
class ActionPolicy {
public:
    virtual ~ActionPolicy() = default;
    virtual std::wstring name() const = 0;
};

// What is done with an event that matched a rule. The work is in two halves: perform takes what it
// needs from the event, on the thread that has it, and puts it into the action's own queue; process
// finishes one piece of it, the slow part, on the one ActionThread.
//
// perform may be called by any thread. An action that has queued work takes itself out of the
// thread's queue before it goes (ActionThread::remove).
class Action {
public:
    // `policy` is not owned and may be null. The first action starts the ActionThread.
    explicit Action(const ActionPolicy* policy);
    virtual ~Action();
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;

    // `flags` may be null. The event stays the caller's.
    virtual void perform(const IDSEvent& event, const FlagContexts* flags) = 0;
    virtual void process() = 0;
    // One line of the policy's action section. The base knows "Z", the action's id; a code that
    // nobody knows is logged and passed over.
    virtual void handleDotCode(wchar_t code, const std::wstring& text);
    virtual std::wstring policyName() const;  // "unknown" without a policy

    std::int32_t id() const noexcept { return id_; }  // -1 until the policy sets it

private:
    std::int32_t id_ = -1;
    const ActionPolicy* policy_;
};

}  // namespace lathwind
