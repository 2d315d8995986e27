#include "filewatch/EntryKind.h"

#include "filewatch/VirtualPath.h"

namespace lathwind {

bool hasWildcard(std::wstring_view text) noexcept {
    return text.find_first_of(L"*?") != std::wstring_view::npos;
}

EntryKind kindOfEntry(std::wstring_view entry) {
    if (PathHasVirtualTag(entry)) {
        return EntryKind::Virtual;
    }
    return hasWildcard(entry) ? EntryKind::WildCard : EntryKind::Plain;
}

std::unique_ptr<WatchedPathSpec> makeEntrySpec(const std::wstring& entry,
                                               std::int32_t recursionLevel) {
    if (kindOfEntry(entry) == EntryKind::Virtual) {
        return std::make_unique<VirtualPathSpec>(entry, recursionLevel, false, entry);
    }
    return std::make_unique<WatchedPathSpec>(entry, recursionLevel, false);
}

std::wstring commonPrefixOf(const WatchedPathSpec& spec) {
    return spec.GetVirtualEntry().empty() ? spec.GetDirectory() : spec.GetRoot();
}

}  // namespace lathwind
