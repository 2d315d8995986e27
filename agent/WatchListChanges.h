#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "filewatch/WatchFileNames.h"

namespace lathwind::agent {

// Notices that a watch list on disk is another one than before. A difference counts when two looks
// in a row have found the same: a list that is just being written differs from look to look, or
// cannot be read. Lists that are reconfigured together count together.
//
// Used by one thread.
class WatchListChanges {
public:
    // What a list holds: its MD5 in hexadecimal digits, empty for a list that is not there. Nothing
    // for one that is there and cannot be read.
    using Content = std::optional<std::wstring>;
    using Reader = std::function<Content(const std::wstring& path)>;

    // Takes the lists as they are now for those that are in force.
    explicit WatchListChanges(Reader reader = readContent);

    // Bits of FileWatchSubject::Reconfigure for the lists that have changed and are at rest; they
    // are in force from now on. 0 for none.
    std::uint32_t look();
    // What is in force of the lists of these bits is not known: they count as changed once two
    // looks to come agree. For lists that could not be read in the meantime.
    void forget(std::uint32_t bits);
    // Has the last look found a difference that the next one is to confirm?
    bool isUnsettled() const noexcept { return unsettled_; }

    static Content readContent(const std::wstring& path);

private:
    static constexpr std::size_t kLists = watchFiles::kWatchLists.size();
    struct List {
        Content inForce;
        Content last;
    };

    const Reader reader_;
    std::array<List, kLists> lists_;
    bool unsettled_ = false;
};

}  // namespace lathwind::agent
