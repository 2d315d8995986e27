#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "utils/platform/Volumes.h"

namespace lathwind::posix {

// One line of /proc/self/mountinfo (proc(5)).
struct Mount {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::string point;   // where it is mounted, absolute, without trailing slash but for "/"
    std::string fsType;  // "ext4"
    std::string source;  // "/dev/sda1", "//server/share", "host:/path", "tmpfs"
    bool readOnly = false;
};

// What is mounted, in the order of mounting: of two mounts at one point the later one is seen.
class MountTable {
public:
    // Lines that are none of mountinfo's are passed over.
    static MountTable fromText(std::string_view text);
    static MountTable ofProcess();  // reads it; SharedMountTable does so when need be

    // The mount that holds an absolute path; null in an empty table.
    const Mount* holding(std::string_view path) const;
    const Mount* ofDevice(std::uint32_t major, std::uint32_t minor) const;
    // Mount points below a folder, not the folder itself; relative to it, each once, sorted.
    std::vector<std::string> pointsBelow(std::string_view folder) const;
    bool isPoint(std::string_view path) const;

private:
    std::vector<Mount> mounts_;
};

// Remote, CD-ROM and RAM disk by the type of the file system, Fixed for every other.
platform::DriveType driveTypeOf(const std::string& fsType);

// The type of the file system, by the names that the program tests for: FAT is "FAT" and "FAT32".
std::wstring fileSystemName(const std::string& fsType);

// "\\server\share" for "//server/share", "\\host\path" for "host:/path"; empty for a source that
// is no network resource.
std::wstring universalNameOf(const std::string& source);

// A block device as the program knows it: "\Device\Floppy0" for "/dev/fd0", for any other the
// source as it is.
std::wstring deviceName(const std::string& source);

}  // namespace lathwind::posix
