#pragma once

#include <map>
#include <memory>
#include <string>

namespace lathwind {

// Paths as an operator writes them: variables and the current folder.
class FileUtility {
public:
    virtual ~FileUtility() = default;
    // Replaces each %NAME%: from the environment, then from `table` (name to value, may be null),
    // then from the machine's environment in the registry. An unknown name stays as it is.
    virtual std::wstring ExpandVariables(const std::wstring& path,
                                         const std::map<std::wstring, std::wstring>* table) = 0;
    // The process's current folder with a backslash behind it; empty where it cannot be told.
    virtual std::wstring GetCurrentFolder() = 0;
};

std::unique_ptr<FileUtility> makeFileUtility();

}  // namespace lathwind
