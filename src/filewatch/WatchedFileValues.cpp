// The values of a watched file's event. docs/events.md names them.
#include <utility>

#include "filewatch/EventValues.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "utils/SecurityUtilities.h"

namespace lathwind {
namespace {

using TimeText = std::wstring (FileAttributes::*)(const FileAttributes*) const;
using NameOfAccount = std::wstring (*)(const std::wstring&);

}  // namespace

void WatchedFile::SetEventFields(IDSEvent& event, const FileAttributes* previous, FileAction action,
                                 const std::wstring& detailText, bool fromDriver) const {
    std::vector<std::wstring> values;
    WatchedEntity::SetEventFields(values, previous, action, fromDriver);
    if (previous != nullptr && action != FileAction::Deleted && action != FileAction::Mount &&
        action != FileAction::Unmount) {
        AppendFileValues(values, *previous, action == FileAction::Added);
        if (!detailText.empty()) {
            values.push_back(detailText);
        }
    }
    event.SetValues(std::move(values));
}

void WatchedFile::AppendFileValues(std::vector<std::wstring>& values,
                                   const FileAttributes& previous, bool isNew) const {
    const auto& now = static_cast<const WinFileAttributes&>(*attributes);
    const auto& before = static_cast<const WinFileAttributes&>(previous);
    ValuePairs pairs(values, isNew);
    const auto text = [&](const std::wstring& old, const std::wstring& present) {
        pairs.add(
            old != present, [&] { return old; }, [&] { return present; });
    };
    // A text is made only of a time that differs.
    const auto time = [&](TimeText textOf) {
        std::wstring present = (now.*textOf)(isNew ? nullptr : &before);
        pairs.add(
            !present.empty(), [&] { return (before.*textOf)(nullptr); }, [&] { return present; });
    };
    const auto account = [&](const std::wstring& old, const std::wstring& present,
                             NameOfAccount nameOf) {
        pairs.add(
            old != present, [&] { return nameOf(old); }, [&] { return nameOf(present); });
    };

    text(before.GetLinkTarget(), now.GetLinkTarget());
    time(&FileAttributes::GetChangeTimeText);
    time(&FileAttributes::GetAccessTimeText);
    pairs.number(before.GetExtraLinkCount(), now.GetExtraLinkCount());
    time(&FileAttributes::GetCreationTimeText);
    values.resize(values.size() + 2);  // nothing has ever been reported here
    account(before.GetOwner(), now.GetOwner(), GetAccountDisplayName);
    account(before.GetPrimaryGroup(), now.GetPrimaryGroup(), GetGroupDisplayName);
    values.resize(values.size() + 7);  // the virtual tag, and six that are free
}

}  // namespace lathwind
