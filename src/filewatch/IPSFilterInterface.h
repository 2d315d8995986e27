#pragma once

#include <cstdint>

namespace lathwind {

// The binary interface of the real-time filter's library, "IPSFileWatchCollector.DLL". The library
// is not part of this system: what stands here is fixed by it, field by field and slot by slot.

// One thing that a process did to a file. The library's own, for the duration of the call.
struct IPSFilterEvent {
    std::uint32_t eventType;      // filterEvent
    std::uint32_t session;        // of the acting process
    std::uint32_t processId;      // of the acting process
    const void* userIdentifier;   // binary security identifier; may be invalid
    const wchar_t* filePath;      // null is bad data
    const wchar_t* processImage;  // null asks for a look-up by process id
    const wchar_t* newPath;       // of a rename
};

static_assert(sizeof(void*) != 4 || sizeof(IPSFilterEvent) == 28);

namespace filterEvent {
inline constexpr std::uint32_t Accessed = 0;
inline constexpr std::uint32_t Created = 1;
inline constexpr std::uint32_t Modified = 2;
inline constexpr std::uint32_t Deleted = 3;
inline constexpr std::uint32_t Mounted = 4;
inline constexpr std::uint32_t Unmounted = 5;
inline constexpr std::uint32_t Renamed = 6;
}  // namespace filterEvent

// Called on a thread of the library.
using IPSFilterCallback = void (*)(const IPSFilterEvent* event);

// The library owns the object. Results are 0 for success unless said otherwise.
class IPSFilterInterface {
public:
    virtual std::int32_t start(IPSFilterCallback callback) = 0;
    virtual std::int32_t stop() = 0;
    virtual std::int32_t reserved() = 0;  // the slot is another user's
    // 0 not monitored; 1, 2 and 3 monitored; anything else an error.
    virtual std::int32_t isPathMonitored(const wchar_t* path) = 0;
    // `path` is in the system code page; `zero` is 0.
    virtual std::int32_t addPath(const char* path, std::int32_t recursionLevel,
                                 std::int32_t monitorAccessTime, std::int32_t zero) = 0;
    virtual std::int32_t removePath(const char* path, std::int32_t recursionLevel,
                                    std::int32_t monitorAccessTime, std::int32_t zero) = 0;

protected:
    ~IPSFilterInterface() = default;  // no slot: nobody deletes it from here
};

}  // namespace lathwind
