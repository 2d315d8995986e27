#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "utils/StatisticsRow.h"

namespace lathwind {

// The text of the agent's periodic report about itself: rulers, titles of sections, and lines of a
// label and a value. Labels are padded to one width, which belongs to the process and only grows,
// so that the values of one report and of later ones stand in one column.
//
// An object belongs to one thread; the width may be used by any.
class StatisticsReport {
public:
    static constexpr std::size_t kRulerLength = 72;

    void addRuler();
    void addTitle(std::wstring_view title);
    void addRow(std::wstring_view label, std::wstring_view value);
    void addRow(const StatisticsRow& row);
    // A line that was made elsewhere, without its line feed.
    void addLine(std::wstring_view line);

    // The lines, each with a line feed. Labels are padded only now, when the widest is known.
    std::wstring text() const;

    // A label as it stands in a report: padded to the widest label seen so far, this one included,
    // plus one, with the separator behind.
    static std::wstring paddedLabel(std::wstring_view label);

private:
    struct Line {
        std::wstring label;
        std::wstring rest;
        bool isRow = false;
    };
    std::vector<Line> lines_;
};

}  // namespace lathwind
