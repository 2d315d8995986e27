#pragma once

#include <cstdint>
#include <string_view>

namespace lathwind {

// What happened to a path. The numbers are those of notifications and of event fields.
enum class FileAction : std::int32_t {
    None = 0,
    Added = 1,
    Modified = 2,
    Deleted = 3,
    Renamed = 4,  // gone from the old path, seen at the new one
    Accessed = 5,
    Mount = 6,
    Unmount = 7,
    SaveMarker = 8,  // asks for the state to be saved
};

// As messages and events name it: "Added", "Deleted(Renamed)". "No Action" for None and SaveMarker,
// "Unknown ACTION" for a number that is none of these.
std::wstring_view fileActionText(FileAction action) noexcept;

}  // namespace lathwind
