// The share that all kinds of entities have in the values of their events. docs/events.md names
// the values.
#include <string_view>
#include <utility>

#include "filewatch/EventValues.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/WatchedEntity.h"
#include "utils/Logging.h"

namespace lathwind {
namespace {

// None for a number that is no action.
std::wstring_view operationLetter(FileAction action) {
    switch (action) {
        case FileAction::Added:
            return L"C";
        case FileAction::Modified:
            return L"M";
        case FileAction::Deleted:
            return L"D";
        case FileAction::Renamed:
            return L"R";
        case FileAction::Accessed:
            return L"A";
        case FileAction::Mount:
            return L"N";
        case FileAction::None:
        case FileAction::Unmount:
        case FileAction::SaveMarker:
            return L"U";
    }
    return {};
}

}  // namespace

void WatchedEntity::ApplyVirtualName(std::wstring name, IDSEvent& event, std::uint32_t stateValue,
                                     bool useOwn) const {
    if (useOwn && name.empty()) {
        name = virtualName.get();
    }
    if (name.empty()) {
        return;
    }
    debugLog(ModuleId::FilewatchCollector, L"virtualName: %ls", name);
    event.setEventField(eventField::VirtualTag, name);
    event.SetSystemState(stateValue, false);
}

void WatchedEntity::SetEventFields(std::vector<std::wstring>& values,
                                   const FileAttributes* previous, FileAction action,
                                   bool fromDriver) const {
    if (previous == nullptr) {
        if (fromDriver) {
            values.emplace_back(L"I");
        }
        return;
    }
    values.emplace_back(fromDriver ? L"R" : L"P");
    // Of a deleted file both snapshots name the same path; the entity's own is the one that counts.
    values.push_back(action == FileAction::Deleted ? attributes->GetPath() : previous->GetPath());
    values.emplace_back(operationLetter(action));
    if (action == FileAction::Deleted || action == FileAction::Mount ||
        action == FileAction::Unmount) {
        return;
    }
    ValuePairs pairs(values, action == FileAction::Added);
    pairs.number(previous->GetRawAttributes(), attributes->GetRawAttributes());
    pairs.number(previous->GetSize(), attributes->GetSize());
    values.emplace_back();  // the description
}

}  // namespace lathwind
