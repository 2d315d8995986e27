#pragma once

#include <string>

// Where the product is installed, as the agent's own code asks. Read from the registry; where that
// has no answer, the current directory stands in, so that the agent can go on. Nothing throws.
namespace lathwind {

std::wstring GetInstallRoot();     // value InstallRoot, or ".\"
std::wstring GetLogInstallRoot();  // value LogInstallRoot, or ".\"
std::wstring GetIdsRoot();         // GetInstallRoot() + "\IDS"
std::wstring GetIpsRoot();         // GetInstallRoot() + "\IPS"

}  // namespace lathwind
