#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "utils/SidText.h"

namespace lathwind {
namespace {

using testing::Bytes;

TEST(SidText, Table) {
    const auto head = [](unsigned revision, unsigned count, std::string_view authority) {
        return Bytes().u8(revision).u8(count).raw(authority);
    };
    constexpr std::string_view nt("\0\0\0\0\0\x05", 6);
    Bytes longest = head(1, 15, nt);
    for (unsigned i = 0; i < 15; ++i) {
        longest.u32(i);
    }
    const struct {
        Bytes bytes;
        const wchar_t* text;
    } rows[] = {
        {head(1, 1, nt).u32(18), L"S-1-5-18"},
        {head(1, 2, nt).u32(32).u32(544), L"S-1-5-32-544"},
        {head(1, 0, nt), L"S-1-5"},
        {head(1, 1, nt).u32(0xFFFFFFFF).raw("behind"), L"S-1-5-4294967295"},
        {head(1, 0, std::string_view("\0\0\xff\xff\xff\xff", 6)), L"S-1-4294967295"},
        {head(1, 1, "\x01\x02\x03\x04\x05\x06").u32(7), L"S-1-0x010203040506-7"},
        {longest, L"S-1-5-0-1-2-3-4-5-6-7-8-9-10-11-12-13-14"},
        {head(1, 16, nt).padTo(200), L""},
        {head(0, 0, nt), L""},
        {head(2, 1, nt).u32(18), L""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(sidTextOfBytes(row.bytes.span()), row.text);
    }
    for (std::size_t cut = 0; cut < longest.str().size(); ++cut) {
        EXPECT_EQ(sidTextOfBytes(longest.span().first(cut)), L"") << cut;
    }
}

}  // namespace
}  // namespace lathwind
