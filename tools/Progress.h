#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "utils/ProgressListener.h"

namespace lathwind::tool {

// A line on standard error that tells how far long work has come. It appears only if standard
// error is a terminal and the work has taken longer than two seconds, and is wiped at the end.
// Standard output is never touched.
class Progress : private ProgressListener {
public:
    // `total` is the number of items, 0 where it is not known.
    Progress(std::wstring_view what, std::uint64_t total);
    ~Progress() override;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // One more item is done.
    void step() {
        ++done_;
        bytes_ = 0;
        if (active_ && done_ % kItemsPerLook == 0) {
            look();
        }
    }

private:
    // The clock is asked once in so many items, and at each report of bytes read.
    static constexpr std::uint64_t kItemsPerLook = 256;

    void onBytes(std::uint64_t bytes) override;
    void look();
    void show();

    std::wstring what_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    std::uint64_t bytes_ = 0;  // read for the present item
    bool active_;              // is there a terminal?
    std::int64_t due_ = 0;     // steady milliseconds
    std::size_t shown_ = 0;    // units on the line
    ScopedProgressListener listening_;
};

}  // namespace lathwind::tool
