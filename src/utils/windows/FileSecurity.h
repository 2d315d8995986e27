#pragma once

#include <memory>
#include <string>

#include "utils/platform/Files.h"

// Owner, group and access list of a file. The operations of platform::Files of these names.
namespace lathwind::windows {

std::unique_ptr<platform::SecurityDescriptor> readFileSecurity(const std::wstring& path,
                                                               std::uint32_t information,
                                                               platform::ErrorCode& code);

platform::ErrorCode writeFileSecurity(const std::wstring& path, std::uint32_t information,
                                      const std::wstring& sddl);

}  // namespace lathwind::windows
