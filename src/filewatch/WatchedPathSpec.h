#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace lathwind {

// A configured path, cut into the folder that it names and the mask for the names in it. The
// recursion level is the number of folder levels it covers: 1 is its own folder alone.
//
// Paths are compared as they are: the tables fold what goes into them.
class WatchedPathSpec {
public:
    // The mask is what stands behind the last backslash, the directory what stands before it, with
    // the backslash. One backslash at the end of a path of more than 4 units does not count. A path
    // without a backslash is all mask.
    WatchedPathSpec(std::wstring path, std::int32_t recursionLevel, bool monitorAccessTime);
    virtual ~WatchedPathSpec() = default;

    WatchedPathSpec(const WatchedPathSpec&) = delete;
    WatchedPathSpec& operator=(const WatchedPathSpec&) = delete;

    // Does the mask match the file name of `path`, which lies `level` levels deep (1 is the spec's
    // own folder)?
    virtual bool MatchesAtLevel(std::wstring_view path, std::int32_t level,
                                bool caseSensitive) const;
    // Does the spec cover `path`?
    virtual bool Matches(std::wstring_view path) const;
    // The name of the virtual instance that `path` belongs to, "NAME=..."; empty without one.
    virtual std::wstring GetVirtualName(std::wstring_view path) const;
    virtual bool IsWildCard() const;
    // Of a virtual entry the folder before the token and the part behind it, and the entry as it
    // was configured; else empty.
    virtual std::wstring GetRoot() const { return {}; }
    virtual std::wstring GetTail() const { return {}; }
    virtual std::wstring GetVirtualEntry() const { return {}; }

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

// The directory of a path, with its backslash, and the name behind it.
struct SplitPathView {
    std::wstring_view directory;
    std::wstring_view name;
};
SplitPathView splitAtLastBackslash(std::wstring_view path) noexcept;
// Removes the last component of a directory: "c:\a\b\" becomes "c:\a\". Empty at the top.
std::wstring_view parentDirectory(std::wstring_view directory) noexcept;

// Where a path's spec is looked up: the event source, or a table in a test.
class SpecFinder {
public:
    virtual ~SpecFinder() = default;
    // The spec of that polling list (-1 means any) which covers `path`, or null. It stays valid
    // when the finder forgets it.
    virtual std::shared_ptr<const WatchedPathSpec> FindSpec(const std::wstring& path,
                                                            std::int32_t listId) = 0;
};

}  // namespace lathwind
