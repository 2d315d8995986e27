#include "filewatch/VirtualInstances.h"

#include <utility>

#include "filewatch/WatchedFolders.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"

namespace lathwind {

std::vector<VirtualInstance> listVirtualInstances(const VirtualPathSpec& spec) {
    const std::wstring root = spec.GetRoot();
    // The token may be a part of the folder's name only: the root then ends within that.
    const std::wstring parent(splitAtLastBackslash(root).directory);
    std::vector<VirtualInstance> instances;
    for (std::wstring& folder : listWatchedFolders(parent, 1)) {
        VirtualInstance instance;
        instance.folder = std::move(folder);
        instance.folder += L'\\';
        if (!instance.folder.starts_with(root)) {
            continue;
        }
        instance.directory = instance.folder + spec.GetTail();
        instance.name = spec.GetVirtualName(instance.folder);
        if (FileIO::IsDirectory(MapToRealPath(instance.directory))) {
            instances.push_back(std::move(instance));
        }
    }
    return instances;
}

}  // namespace lathwind
