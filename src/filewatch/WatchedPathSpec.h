#pragma once

#include <cstdint>
#include <string>

namespace lathwind {

// A configured path, cut into the folder that it names and the mask for the names in it.
class WatchedPathSpec {
public:
    // The mask is what stands behind the last backslash, the directory what stands before it, with
    // the backslash. One backslash at the end of a path of more than 4 units does not count. A path
    // without a backslash is all mask.
    WatchedPathSpec(std::wstring path, std::int32_t recursionLevel, bool monitorAccessTime);
    virtual ~WatchedPathSpec() = default;

    WatchedPathSpec(const WatchedPathSpec&) = delete;
    WatchedPathSpec& operator=(const WatchedPathSpec&) = delete;

    const std::wstring& GetMask() const noexcept { return mask_; }
    const std::wstring& GetDirectory() const noexcept { return directory_; }
    const std::wstring& GetFullPath() const noexcept { return fullPath_; }  // as it was given
    std::int32_t GetRecursionLevel() const noexcept { return recursionLevel_; }
    bool GetMonitorAccessTime() const noexcept { return monitorAccessTime_; }

private:
    std::wstring mask_;
    std::wstring directory_;
    std::wstring fullPath_;
    std::int32_t recursionLevel_;
    bool monitorAccessTime_;
};

// Where a path's spec is looked up: the event source, or a table in a test.
class SpecFinder {
public:
    virtual ~SpecFinder() = default;
    // The spec of that polling list (-1 means any) which covers `path`, or null. The finder owns
    // it.
    virtual const WatchedPathSpec* FindSpec(const std::wstring& path, std::int32_t listId) = 0;
};

}  // namespace lathwind
