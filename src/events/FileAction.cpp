#include "events/FileAction.h"

namespace lathwind {

std::wstring_view fileActionText(FileAction action) noexcept {
    switch (action) {
        case FileAction::None:
        case FileAction::SaveMarker:
            return L"No Action";
        case FileAction::Added:
            return L"Added";
        case FileAction::Modified:
            return L"Modified";
        case FileAction::Deleted:
            return L"Deleted";
        case FileAction::Renamed:
            return L"Deleted(Renamed)";
        case FileAction::Accessed:
            return L"Accessed";
        case FileAction::Mount:
            return L"Mount";
        case FileAction::Unmount:
            return L"Unmount";
    }
    return L"Unknown ACTION";
}

}  // namespace lathwind
