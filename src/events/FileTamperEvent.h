#pragma once

#include <string>

#include "events/DescribedEvent.h"
#include "events/FileAction.h"

namespace lathwind {

// A change of a watched file or folder.
class FileTamperEvent : public DescribedEvent {
public:
    // `existed` has no part in a file's wording; SymlinkTamperEvent has the same arguments.
    FileTamperEvent(const std::wstring& name, bool isFolder, bool existed, FileAction action,
                    const std::wstring& label);
};

// The same for a snapshot with a link target.
class SymlinkTamperEvent : public DescribedEvent {
public:
    SymlinkTamperEvent(const std::wstring& name, const std::wstring& target, bool existed,
                       FileAction action, const std::wstring& label);
};

}  // namespace lathwind
