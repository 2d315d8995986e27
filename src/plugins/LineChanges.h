#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lathwind {

class LineClasses;  // plugins/LineClasses.h

// Which lines an edit of one text into another deletes and inserts. The lines that stay are, in
// order, equal on both sides.
//
// The edit is the one that the `diff` program chooses with its default options, so that its hunks
// fall where users of that program expect them; docs/text-diff.md names the inputs for which it may
// be another one, and none of those is wrong. Time and memory are bounded: an edit that would take
// too long to shorten is left longer than need be.
//
// The search is that of E. W. Myers, "An O(ND) Difference Algorithm and Its Variations",
// Algorithmica 1 (1986), in its linear-space form.
struct LineChanges {
    // What the search, and then the placing of each side's runs, may cost before they make do with
    // less, in comparisons of two line numbers: a second of a processor's time, roughly.
    static constexpr std::uint64_t kMostEffort = 400'000'000;

    explicit LineChanges(const LineClasses& lines, std::uint64_t mostEffort = kMostEffort);

    // One flag a line between the common ends: 1 for a line that is deleted or inserted.
    std::vector<std::uint8_t> deleted;
    std::vector<std::uint8_t> inserted;
};

// A run of lines of the old text and of the new one that take each other's place; one of them may
// be empty, never both. Lines are counted from 0, between the common ends.
struct Hunk {
    std::size_t oldBegin;
    std::size_t oldEnd;
    std::size_t newBegin;
    std::size_t newEnd;
};
std::vector<Hunk> hunksOf(const LineChanges& changes);

}  // namespace lathwind
