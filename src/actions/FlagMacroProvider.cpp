#include "actions/FlagMacroProvider.h"

#include "actions/Flag.h"

namespace lathwind {
namespace {

// Ids of the flags' macros.
constexpr std::int32_t kInstanceCount = 48;
constexpr std::int32_t kCount = 49;
constexpr std::int32_t kContextCount = 50;

}  // namespace

void FlagMacroProvider::getValue(std::wstring_view tag, std::wstring& value) {
    switch (FlagMacroIdOf(tag).value_or(0)) {
        case kInstanceCount:
            value = std::to_wstring(flag_.instanceCount());
            break;
        case kCount:
            value = std::to_wstring(flag_.count());
            break;
        case kContextCount:
            value = std::to_wstring(flag_.contextCount(event_));
            break;
        default:
            EventMacroProvider::getValue(tag, value);
            break;
    }
}

}  // namespace lathwind
