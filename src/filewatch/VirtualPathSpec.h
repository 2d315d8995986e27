#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "filewatch/WatchedPathSpec.h"

namespace lathwind {

// A path under a virtual entry: one whose directory holds the token "{VIRTUAL_TAG}", which stands
// for the folder that names an instance.
//
//   entry "c:\inst\{VIRTUAL_TAG}\logs\*.log"      root "c:\inst\", tail "logs\"
//   path  "c:\inst\web1\logs\a.log"               matches; its name is "NAME=web1"
//
// An instance's name may take two levels ("c:\inst\eu\web1\logs\a.log", "NAME=eu-web1").
class VirtualPathSpec : public WatchedPathSpec {
public:
    // `path` is the entry itself, or one instance's form of it.
    VirtualPathSpec(std::wstring path, std::int32_t recursionLevel, bool monitorAccessTime,
                    std::wstring virtualEntry);

    bool Matches(std::wstring_view path) const override;
    std::wstring GetVirtualName(std::wstring_view path) const override;
    bool IsWildCard() const override { return true; }
    std::wstring GetRoot() const override { return root_; }
    std::wstring GetTail() const override { return tail_; }
    std::wstring GetVirtualEntry() const override { return virtualEntry_; }
    // The entry with "*" in place of the token: the form that matches real files.
    const std::wstring& GetWildcardEntry() const noexcept { return wildcardEntry_; }

    // Does the folder of `path`, or one of the `level` - 1 above it, equal the root? With level 1:
    // is the path an instance's own folder?
    bool IsVirtualDir(std::wstring_view path, std::int32_t level) const;
    // Is `path` the tail below an instance of at most `level` levels?
    bool IsVirtualChild(std::wstring_view path, std::int32_t level) const;

private:
    std::size_t InstanceLength(std::wstring_view rest) const;

    std::wstring root_;  // with its backslash, unless the token is only a part of the folder's name
    std::wstring tail_;  // without the backslash behind the token
    std::wstring wildcardEntry_;
    std::wstring virtualEntry_;
};

}  // namespace lathwind
