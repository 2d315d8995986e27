#pragma once

#include <cstdint>
#include <string>

namespace lathwind {

// What a file-watch list says about the files of one entry.
struct FileWatchParams {
    // 0 the log list, 1 high and 2 normal protection, 10 and above a list's interval in seconds.
    std::int32_t listId = 0;
    std::wstring label;  // the list's name; reaches the events of its files
    std::int32_t recursionLevel = 0;
    bool checksum = false;           // files are hashed
    bool monitorAccessTime = false;  // a changed access time is a change
};

}  // namespace lathwind
