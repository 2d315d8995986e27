#include <gtest/gtest.h>
#include <string>

#include "utils/windows/ResourceCatalogue.h"

namespace lathwind::windows {
namespace {

// Calls that the system's own function would take for something else.
TEST(ResourceCatalogue, AsksTheSystemOnlyForRows) {
    ResourceCatalogue catalogue;
    wchar_t buffer[256] = L"untouched";
    EXPECT_EQ(0, catalogue.load(118, buffer, 0)) << "no room is no wish for a pointer";
    EXPECT_EQ(0, catalogue.load(118, nullptr, 256));
    EXPECT_EQ(0, catalogue.load(-1, buffer, 256));
    EXPECT_EQ(0, catalogue.load(0x10000 + 118, buffer, 256)) << "no id has a 17th bit";
    EXPECT_EQ(std::wstring(L"untouched"), buffer);
    EXPECT_NE(0, catalogue.load(118, buffer, 256));
    EXPECT_EQ(0U, std::wstring(buffer).find(L"UT_0035: "));
}

}  // namespace
}  // namespace lathwind::windows
