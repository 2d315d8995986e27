#include <gtest/gtest.h>

#include "utils/StatisticsReport.h"

namespace lathwind {
namespace {

// The width is the process's, so the widest label comes first and everything below knows it.
TEST(StatisticsReport, ValuesStandInOneColumnThatOnlyMovesRight) {
    const std::wstring widest(60, L'w');
    StatisticsReport report;
    report.addRuler();
    report.addRow(L"Errors", L"many");
    report.addTitle(L"Event information");
    report.addRow({widest, 7});
    report.addLine(StatisticsReport::paddedLabel(L"x") + L"1 (more)");
    const std::wstring blanks(60, L' ');
    EXPECT_EQ(report.text(), std::wstring(StatisticsReport::kRulerLength, L'=') + L"\nErrors" +
                                 blanks.substr(6) + L" : many\n" +
                                 L"\nEvent information\n-----------------\n" + widest + L" : 7\n" +
                                 L"x" + blanks.substr(1) + L" : 1 (more)\n");
    EXPECT_EQ(StatisticsReport::paddedLabel(L"later").size(), 63u);
}

}  // namespace
}  // namespace lathwind
