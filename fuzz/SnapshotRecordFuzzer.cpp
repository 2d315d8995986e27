// A version and a snapshot's record of it. What reads must survive being written and read again.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "filewatch/windows/WinFileAttributes.h"

namespace {

using lathwind::SerializeException;
using lathwind::WinFileAttributes;

bool reads(WinFileAttributes& snapshot, const std::string& bytes, std::uint16_t version) {
    std::istringstream stream(bytes);
    try {
        snapshot.ReadObjectOfVersion(stream, version);
        return true;
    } catch (const SerializeException&) {
        return false;
    }
}

// A list that is cut into more than a thousand entries, or has an entry above the limit of a
// string, can be read in other pieces than it could be written in.
bool writes(WinFileAttributes& snapshot, std::string& bytes) {
    std::ostringstream stream;
    try {
        snapshot.WriteObject(stream);
        bytes = stream.str();
        return true;
    } catch (const SerializeException&) {
        return false;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    WinFileAttributes snapshot(L"");
    std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    if (!reads(snapshot, bytes, data[0]) || !writes(snapshot, bytes)) {
        return 0;
    }
    WinFileAttributes again(L"");
    if (!reads(again, bytes, 12) || !again.Equals(snapshot)) {
        std::abort();
    }
    return 0;
}
