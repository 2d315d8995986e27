#pragma once

#include <string>

#include "events/IDSEvent.h"

namespace lathwind {

// An event whose text is composed once and then only grows.
class DescribedEvent : public IDSEvent {
public:
    // Appends `text` to the description; the event's text is the whole description again.
    void SetEventText(const std::wstring& text) override;
    void AddChangeText(const std::wstring& text) { SetEventText(text); }
    // The event's text is where the description is kept.
    const std::wstring& GetDescription() const noexcept { return GetEventText(); }

protected:
    // `name` becomes the event's file name.
    DescribedEvent(const std::wstring& name, std::wstring description);
};

}  // namespace lathwind
