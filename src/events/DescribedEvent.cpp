#include "events/DescribedEvent.h"

#include <utility>

namespace lathwind {

DescribedEvent::DescribedEvent(const std::wstring& name, std::wstring description) {
    SetFileName(name);
    takeEventText(std::move(description));
}

void DescribedEvent::SetEventText(const std::wstring& text) {
    appendEventText(text);
}

}  // namespace lathwind
