#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "filewatch/VirtualPathSpec.h"

namespace lathwind {

// What a configured entry is: the token for an instance's folder counts before wildcards.
enum class EntryKind { Plain, WildCard, Virtual };

EntryKind kindOfEntry(std::wstring_view entry);
bool hasWildcard(std::wstring_view text) noexcept;

// The spec of an entry of either kind with wildcards.
std::unique_ptr<WatchedPathSpec> makeEntrySpec(const std::wstring& entry,
                                               std::int32_t recursionLevel);
// Paths that the spec covers begin with this.
std::wstring commonPrefixOf(const WatchedPathSpec& spec);

}  // namespace lathwind
