#pragma once

#include <string>
#include <vector>

#include "filewatch/VirtualPathSpec.h"

namespace lathwind {

// One folder that stands where a virtual entry has its token. All in lower case, folders with a
// backslash at the end.
struct VirtualInstance {
    std::wstring folder;     // "c:\inst\web1\"
    std::wstring directory;  // where its files lie: the folder and the entry's tail
    std::wstring name;       // "NAME=web1"
};

// The instances of an entry that are there now, one level below its root, sorted.
// Asks the file system.
std::vector<VirtualInstance> listVirtualInstances(const VirtualPathSpec& spec);

}  // namespace lathwind
