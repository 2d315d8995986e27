#pragma once

#include <string>
#include <string_view>

#include "actions/Action.h"

namespace lathwind {

// Replaces the flag tags of a text, "{flag.<id>.<what>}", by what the flag has to say. With one
// flag in the context its id may be left out, "{flag.<what>}"; an id that holds a dot stands
// between double quotes. What to tell, in any case of letters:
//
//   count           raises since the flag was last lowered
//   instancecount   raised contexts, or 1 for a flag that is raised
//   contextcount    the number of contexts
//   contexts        the contexts, with ", " between them
//   raised          "1" or "0"
//   raisedtime      date text, empty while the flag is down
//
// A tag that cannot be answered is left out, with a debug line. Other tags stay as they stand.
std::wstring ExpandFlagTags(std::wstring_view text, const FlagContexts& flags);

// Does the text hold something that looks like a flag tag?
bool HasFlagTag(std::wstring_view text);

}  // namespace lathwind
