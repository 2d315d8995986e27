#include <gtest/gtest.h>
#include <tuple>

#include "utils/OsIdentity.h"

namespace lathwind {
namespace {

TEST(OsIdentityTest, NamesAndLettersOfAllRanges) {
    const std::tuple<std::uint32_t, const wchar_t*, wchar_t> cases[] = {
        {0x80, L"windows", L'W'},
        {0x100, L"solaris", L'S'},
        {0x8000, L"aix", L'A'},
        {0x80000, L"linux", L'L'},
        {0x400000, L"hpux", L'H'},
        {0x20000000, L"tru64", L'T'},
        {0x1000, L"", L'O'},
        {0x28000, L"aix", L'L'},  // name and letter ask in other orders
        {0, L"", L'O'}};
    for (const auto& [flags, name, letter] : cases) {
        EXPECT_EQ(osNameOf(flags), name) << flags;
        EXPECT_EQ(osLetterOf(flags), letter) << flags;
    }
}

}  // namespace
}  // namespace lathwind
