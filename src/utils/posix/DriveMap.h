#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "utils/platform/Errors.h"

namespace lathwind::posix {

// Which folder stands for which drive letter, and with it the way between wide paths with
// backslashes and the paths of the system. Immutable, so any thread may ask.
class DriveMap {
public:
    // "c=/tmp/box;d=/mnt/d". Entries that are no letter and absolute folder are left out; a map
    // without any entry is "c=/".
    static DriveMap fromText(std::string_view text);
    // That of environment variable LATHWIND_DRIVES, read once.
    static const DriveMap& ofProcess();

    // The system's spelling of a wide path. Both slashes separate. A path rooted without a drive
    // means drive c, "d:name" without a separator is taken from the drive's folder, a relative
    // path stays relative. PathNotFound for an empty path, for a letter without a folder and for
    // a network path ("\\server\..."), InvalidName for a path with a zero unit in it.
    platform::ErrorCode toBytes(std::wstring_view path, std::string& bytes) const;

    // The wide spelling of an absolute path, below the drive with the deepest folder that holds
    // it; empty below none of them. A drive's own folder comes back with its backslash ("c:\").
    std::wstring toWide(std::string_view bytes) const;

    std::vector<wchar_t> letters() const;  // lower case, ascending

private:
    std::map<wchar_t, std::string> folders_;  // without trailing slash, so "/" is ""
};

}  // namespace lathwind::posix
