#include "utils/StatisticsReport.h"

#include <atomic>

namespace lathwind {
namespace {

constexpr std::wstring_view kSeparator = L": ";

std::atomic<std::size_t> widestLabel{0};

// The widest label so far.
std::size_t noteLabel(std::wstring_view label) {
    std::size_t widest = widestLabel.load();
    while (widest < label.size() && !widestLabel.compare_exchange_weak(widest, label.size())) {
    }
    return widestLabel.load();
}

}  // namespace

void StatisticsReport::addRuler() {
    addLine(std::wstring(kRulerLength, L'='));
}

void StatisticsReport::addTitle(std::wstring_view title) {
    addLine(L"");
    addLine(title);
    addLine(std::wstring(title.size(), L'-'));
}

void StatisticsReport::addRow(std::wstring_view label, std::wstring_view value) {
    noteLabel(label);
    lines_.push_back({std::wstring(label), std::wstring(value), true});
}

void StatisticsReport::addRow(const StatisticsRow& row) {
    addRow(row.label, std::to_wstring(row.value));
}

void StatisticsReport::addLine(std::wstring_view line) {
    lines_.push_back({{}, std::wstring(line), false});
}

std::wstring StatisticsReport::text() const {
    std::wstring text;
    for (const Line& line : lines_) {
        if (line.isRow) {
            text += paddedLabel(line.label);
        }
        text.append(line.rest).append(1, L'\n');
    }
    return text;
}

std::wstring StatisticsReport::paddedLabel(std::wstring_view label) {
    const std::size_t width = noteLabel(label) + 1;
    std::wstring padded(label);
    padded.append(width - label.size(), L' ').append(kSeparator);
    return padded;
}

}  // namespace lathwind
