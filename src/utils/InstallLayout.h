#pragma once

#include <string>

#include "utils/platform/Errors.h"

// The folders of one installation, below a root that is expected to have no trailing backslash;
// none is removed.
namespace lathwind {

std::wstring binFolderOf(const std::wstring& root);
std::wstring systemFolderOf(const std::wstring& root);
std::wstring ipsFolderOf(const std::wstring& root);

// Makes the binary folder the process's current directory, from where every relative name of the
// product hangs. `folder` is set to what the system was given, text of the system code page.
platform::ErrorCode enterBinFolder(const std::wstring& root, std::string& folder);

}  // namespace lathwind
