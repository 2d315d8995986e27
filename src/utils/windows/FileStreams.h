#pragma once

#include <memory>
#include <span>
#include <string>

#include "utils/platform/Files.h"

// What NTFS keeps beside a file's contents: the backup stream, which carries the extended
// attributes, and the list of alternate streams. The operations of platform::Files of these names.
namespace lathwind::windows {

std::unique_ptr<platform::BackupReader> openBackupStream(const std::wstring& path,
                                                         platform::ErrorCode& code);

platform::Files::StreamQuery queryFileStreams(const std::wstring& path, std::span<std::byte> buffer,
                                              platform::ErrorCode& code);

}  // namespace lathwind::windows
