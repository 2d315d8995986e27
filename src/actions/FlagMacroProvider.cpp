#include "actions/FlagMacroProvider.h"

#include "actions/Flag.h"

namespace lathwind {

void FlagMacroProvider::getValue(std::wstring_view tag, std::wstring& value) {
    switch (FlagMacroIdOf(tag).value_or(0)) {
        case 48:
            value = std::to_wstring(flag_.instanceCount());
            break;
        case 49:
            value = std::to_wstring(flag_.count());
            break;
        case 50:
            value = std::to_wstring(flag_.contextCount(event_));
            break;
        default:
            EventMacroProvider::getValue(tag, value);
            break;
    }
}

}  // namespace lathwind
