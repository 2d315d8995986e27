#include "filewatch/VirtualInstances.h"

#include "filewatch/windows/WinPathMapping.h"
#include "utils/FileIO.h"
#include "utils/Text.h"

namespace lathwind {

std::vector<VirtualInstance> listVirtualInstances(const VirtualPathSpec& spec) {
    const std::wstring root = spec.GetRoot();
    // The token may be a part of the folder's name only: the root then ends within that.
    const std::wstring parent(splitAtLastBackslash(root).directory);
    std::vector<std::wstring> folders;
    FileIO::ListDirectories(folders, MapToRealPath(parent), 1);
    std::vector<VirtualInstance> instances;
    for (const std::wstring& folder : folders) {
        VirtualInstance instance;
        instance.folder = toLower(MapToWatchedPath(folder));
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
