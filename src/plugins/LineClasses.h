#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace lathwind {

// Two texts cut into lines, with equal lines given equal numbers. What the texts have in common at
// their beginning and end, in whole lines, is set aside: it is counted, not numbered.
//
// A line ends with LF, which belongs to it; a text that does not end with one has an unfinished
// last line, which never equals a finished one. Any byte may stand in a line. The texts must
// outlive the object. Sizes are limited by what 32 bits can count.
class LineClasses {
public:
    LineClasses(std::string_view oldText, std::string_view newText);

    struct Side {
        std::string_view text;                // the lines between the common ends
        std::vector<std::uint32_t> lineEnds;  // offsets into `text`, behind each line
        std::vector<std::uint32_t> classes;   // of each line

        std::size_t lineCount() const noexcept { return classes.size(); }
        std::string_view line(std::size_t index) const {
            const std::uint32_t begin = index == 0 ? 0 : lineEnds[index - 1];
            return text.substr(begin, lineEnds[index] - begin);
        }
    };
    const Side& oldSide() const noexcept { return old_; }
    const Side& newSide() const noexcept { return new_; }

    // Whole lines that both texts begin with.
    std::size_t commonBefore() const noexcept { return commonBefore_; }
    // All classes are below this.
    std::size_t classCount() const noexcept { return classCount_; }

private:
    Side old_;
    Side new_;
    std::size_t commonBefore_ = 0;
    std::size_t classCount_ = 0;
};

}  // namespace lathwind
