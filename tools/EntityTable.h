#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace lathwind {
class WatchedEntity;
}

namespace lathwind::tool {

// Every entity of a state file, by key, in the order in which the file is rewritten: ascending by
// UTF-16 unit.
using EntityTable = std::map<std::wstring, std::unique_ptr<WatchedEntity>>;

// The key under which an entity of that type is filed: its name as records spell it, that is
// normalised and lower-cased, and a suffix for its kind. One function makes the keys of what was
// read and of what is looked for, so that the service's log is found however -l spells it.
std::wstring EntityKey(const std::wstring& path, std::int32_t type);

}  // namespace lathwind::tool
