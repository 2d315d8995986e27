#include <gtest/gtest.h>
#include <string_view>

#include "plugins/IniDiff.h"
#include "utils/ByteArray.h"

namespace lathwind {
namespace {

ByteArray bytesOf(std::string_view text) {
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

TEST(IniDiff, Texts) {
    const struct {
        std::string_view before;
        std::string_view now;
        std::wstring_view expected;
    } rows[] = {
        {"", "", L""},
        {"[a]\nk=1\n", "[a]\nk=2\n", L"Modified Key:\n[a]\nk=2 (< 1)\n"},
        {"[a]\nk=1\n", "[a]\nk=\n", L"Modified Key:\n[a]\nk= (< 1)\n"},
        {"[a]\nk=1\n", "[a]\n", L"Deleted Key:\n[a]\nk=1\n"},
        {"[a]\n", "[a]\nk=1=2\n", L"Added Key:\n[a]\nk=1=2\n"},
        {"", "[a]\n", L"Added Section:\n[a]\n"},
        {"", "[a]\nz=1\nb=2\n",
         L"Added Section:\n[a]\nAdded Key:\n[a]\nb=2\nAdded Key:\n[a]\nz=1\n"},
        {"[a]\nk=1\n", "", L"Deleted Section:\n[a]\nDeleted Key:\n[a]\nk=1\n"},
        // Sorted by name, whatever the order of the file.
        {"[z]\nk=1\n[b]\nk=1\n", "[a]\n[b]\nk=2\n[z]\nk=3\n",
         L"Added Section:\n[a]\nModified Key:\n[b]\nk=2 (< 1)\nModified Key:\n[z]\nk=3 (< 1)\n"},
        {"[a]\nc=1\nb=1\nd=4\n", "[a]\nd=5\na=1\nc=1\n",
         L"Added Key:\n[a]\na=1\nDeleted Key:\n[a]\nb=1\nModified Key:\n[a]\nd=5 (< 4)\n"},
        // What an INI reader does not see: order, blanks, comments, the case of names.
        {"[A]\nb=1\nc=2\n[D]\n", "; note\r\n[d]\r\n[a]\r\n C = 2\r\nB=1\r\n", L""},
        {"[a]\nk=x\n", "[A]\nK=X\n", L"Modified Key:\n[A]\nK=X (< x)\n"},
        // Keys ahead of any header, and sections without a name.
        {"k=1\n", "k=2\n", L"Modified Key:\n[]\nk=2 (< 1)\n"},
        // The first of several equal keys counts.
        {"[a]\nk=1\nk=2\n", "[a]\nk=1\nk=3\n", L""},
        // Sections of one name are compared first with first, second with second.
        {"[a]\nk=1\n[a]\nk=2\n", "[a]\nk=1\n[A]\nk=3\n", L"Modified Key:\n[A]\nk=3 (< 2)\n"},
        {"[a]\nk=1\n[a]\nk=2\n", "[a]\nk=1\n", L"Deleted Section:\n[a]\nDeleted Key:\n[a]\nk=2\n"},
        {"\xEF\xBB\xBF[a]\nk=\xC3\xA4\n", std::string_view("\xFF\xFE[\0a\0]\0\n\0k\0=\0\xE4\0", 16),
         L""},
    };
    for (const auto& row : rows) {
        const IniDiff filter;
        void* state = nullptr;
        EXPECT_EQ(filter.run(state, bytesOf(row.before), bytesOf(row.now)), row.expected)
            << row.before << "=> " << row.now;
        filter.release(state);
    }
}

// The kept parse serves only the bytes that it was made of.
TEST(IniDiff, KeepsTheParse) {
    const IniDiff filter;
    void* state = nullptr;
    EXPECT_EQ(filter.run(state, bytesOf("[a]\nk=1\n"), bytesOf("[a]\nk=2\n")),
              L"Modified Key:\n[a]\nk=2 (< 1)\n");
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(filter.run(state, bytesOf("[a]\nk=2\n"), bytesOf("[a]\nk=3\n")),
              L"Modified Key:\n[a]\nk=3 (< 2)\n");
    EXPECT_EQ(filter.run(state, bytesOf("[a]\nk=9\n"), bytesOf("[a]\nk=4\n")),
              L"Modified Key:\n[a]\nk=4 (< 9)\n");
    EXPECT_EQ(filter.run(state, bytesOf("[a]\nk=4\n"), ByteArray()),
              L"Deleted Section:\n[a]\nDeleted Key:\n[a]\nk=4\n");
    const std::string large = "[a]\n;" + std::string(1 << 20, '-');
    EXPECT_EQ(filter.run(state, ByteArray(), bytesOf(large)), L"Added Section:\n[a]\n");
    EXPECT_EQ(state, nullptr) << "not of a large file";
    EXPECT_EQ(filter.run(state, bytesOf(large), bytesOf(large + "\n[b]")),
              L"Added Section:\n[b]\n");
    filter.release(state);
    filter.release(nullptr);
}

}  // namespace
}  // namespace lathwind
