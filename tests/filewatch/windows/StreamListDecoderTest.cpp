#include <gtest/gtest.h>
#include <string>

#include "filewatch/windows/StreamListDecoder.h"
#include "support/Bytes.h"

namespace lathwind {
namespace {

using testing::Bytes;

std::string entry(std::uint32_t next, std::wstring_view name, std::uint64_t size) {
    return Bytes().u32(next).u32(2 * name.size()).u64(size).u64(size).units(name).str();
}

std::wstring decoded(const std::string& list) {
    std::wstring text;
    for (const FileStream& stream : decodeStreamList(std::as_bytes(std::span(list)))) {
        text += stream.name + L"=" + std::to_wstring(stream.size) + L";";
    }
    return text;
}

TEST(StreamListDecoder, Table) {
    const std::string unnamed = Bytes().raw(entry(40, L"::$DATA", 5)).padTo(40).str();
    const std::string named = entry(0, L":s:$DATA", 9);
    struct Row {
        const char* what;
        std::string list;
        std::wstring expected;
    } rows[] = {
        {"nothing", "", L""},
        {"an entry of zeros", std::string(24, '\0'), L""},
        {"the unnamed stream alone", entry(0, L"::$DATA", 5), L""},
        {"a named one behind it", unnamed + named, L":s:$DATA=9;"},
        {"an empty one", entry(0, L":e:$DATA", 0), L":e:$DATA=0;"},
        {"64-bit sizes", entry(0, L":b", 0x1122334455667788u), L":b=1234605616436508552;"},
        {"units beyond ASCII", entry(0, L"\u0416\xD83D", 1), L"\u0416\xD83D=1;"},
        {"an odd name length", Bytes().u32(0).u32(3).u64(1).u64(1).units(L"ab").str(), L"a=1;"},
        {"a name longer than the bytes", Bytes().u32(0).u32(4).u64(1).u64(1).u16('a').str(), L""},
        {"a name length of all ones", Bytes().u32(0).u32(0xFFFFFFFF).u64(1).u64(1).str(), L""},
        {"next offset behind the bytes", entry(4000, L":a", 1), L":a=1;"},
        {"next offset into the entry itself", entry(4, L":a", 1) + named, L":a=1;"},
        {"the next entry cut short", unnamed + named.substr(0, 30), L""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(decoded(row.list), row.expected) << row.what;
    }
}

}  // namespace
}  // namespace lathwind
