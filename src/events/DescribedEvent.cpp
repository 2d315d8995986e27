#include "events/DescribedEvent.h"

#include <utility>

namespace lathwind {

DescribedEvent::DescribedEvent(const std::wstring& name, std::wstring description)
    : description_(std::move(description)) {
    SetFileName(name);
    IDSEvent::SetEventText(description_);
}

void DescribedEvent::SetEventText(const std::wstring& text) {
    description_ += text;
    IDSEvent::SetEventText(description_);
}

}  // namespace lathwind
