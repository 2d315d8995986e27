#pragma once

#include <string>
#include <string_view>

#include "events/EventMacros.h"

namespace lathwind {

class Flag;  // actions/Flag.h

// What an event knows, and the macros of one flag: "Flag Count", "Flag Instance Count" and, for
// the event's context, "Flag Context Count". Event and flag must outlive it.
class FlagMacroProvider : public EventMacroProvider {
public:
    FlagMacroProvider(const IDSEvent& event, Flag& flag)
        : EventMacroProvider(event), event_(event), flag_(flag) {}
    void getValue(std::wstring_view tag, std::wstring& value) override;

private:
    const IDSEvent& event_;
    Flag& flag_;
};

}  // namespace lathwind
