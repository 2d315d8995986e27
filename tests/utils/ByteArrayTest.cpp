#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>

#include "utils/ByteArray.h"
#include "utils/Exceptions.h"

namespace lathwind {
namespace {

ByteArray arrayOf(std::string_view text) {
    return ByteArray(text.data(), static_cast<std::int32_t>(text.size()));
}

std::string_view contents(const ByteArray& array) {
    return {reinterpret_cast<const char*>(array.GetData()),
            static_cast<std::size_t>(array.GetLength())};
}

using Lines = std::list<std::wstring>;

TEST(ByteArray, GrowsInStepsOf500WithTheTerminator) {
    ByteArray array;
    EXPECT_EQ(array.Append("x", 0), 0);
    EXPECT_EQ(array.Append("x", -5), 0);
    EXPECT_EQ(array.GetData(), nullptr);
    const std::string block(499, 'b');
    EXPECT_EQ(array.Append(block.data(), 499), 499);
    EXPECT_EQ(array.GetCapacity(), 500);
    EXPECT_EQ(array.Append("c", 1), 500);
    EXPECT_EQ(array.GetCapacity(), 1000);
    EXPECT_EQ(array.GetData()[500], 0);
    EXPECT_EQ(array.AppendUInt32(0x01020304), 504);
    EXPECT_EQ(contents(array).substr(499), "c\4\3\2\1");
}

TEST(ByteArray, AssignmentConcatenates) {
    ByteArray array = arrayOf("ab");
    const ByteArray copy = array;
    array = copy;
    EXPECT_EQ(contents(array), "abab");
    const ByteArray& same = array;
    array = same;
    EXPECT_EQ(contents(array), "abab");
    EXPECT_EQ(contents(copy), "ab");
    // From inside itself, over a reallocation.
    for (int i = 0; i < 8; ++i) {
        array.Append(array.GetData(), array.GetLength());
    }
    EXPECT_EQ(array.GetLength(), 1024);
    EXPECT_EQ(contents(array).find("ba"
                                   "ba",
                                   1),
              1u);
    EXPECT_EQ(contents(array).find("bb"), std::string_view::npos);
}

TEST(ByteArray, GetByteAllowsTheTerminatorOnly) {
    const ByteArray array = arrayOf("a\xFF");
    EXPECT_EQ(array.GetByte(1), 0xFF);
    EXPECT_EQ(array.GetByte(2), 0);
    EXPECT_EQ(ByteArray().GetByte(0), 0);
    for (const std::int32_t index : {3, -1, std::numeric_limits<std::int32_t>::max()}) {
        try {
            array.GetByte(index);
            ADD_FAILURE() << index;
        } catch (const IDSException& failure) {
            EXPECT_TRUE(failure.message.starts_with(
                L"Call to ByteArray::GetByte exceeded the byte array size. at line "));
            EXPECT_TRUE(failure.message.ends_with(L" in file ByteArray"));
        }
    }
}

TEST(ByteArray, FailedAllocationIsForEver) {
    ByteArray array = arrayOf("abc");
    EXPECT_FALSE(array.Reserve(std::numeric_limits<std::int32_t>::max()));
    EXPECT_FALSE(array.IsValid());
    EXPECT_EQ(array.GetData(), nullptr);
    EXPECT_EQ(array.Append("x", 1), 0);
    EXPECT_EQ(array.GetByte(0), 0);
    Lines lines;
    array.TakeLines(lines);
    array.ToLines(lines);
    EXPECT_TRUE(lines.empty());
}

TEST(ByteArray, ToLines) {
    const struct {
        std::string_view text;
        Lines lines;
    } kCases[] = {
        {"", {}},
        {"\n", {L""}},
        {"a\r\n\r\nb", {L"a", L"", L"b"}},
        {{"a\0b\n\0", 5}, {L"ab"}},
        {"one\ntwo\n", {L"one", L"two"}},
    };
    for (const auto& each : kCases) {
        Lines lines = {L"before"};
        arrayOf(each.text).ToLines(lines);
        Lines expected = each.lines;
        expected.push_front(L"before");
        EXPECT_EQ(lines, expected) << each.text;
    }
}

TEST(ByteArray, RoomWithoutBytesIsEmpty) {
    ByteArray array;
    ASSERT_TRUE(array.Reserve(1000));
    ASSERT_NE(array.GetData(), nullptr);
    EXPECT_EQ(array.GetData()[0], 0);
    std::list<std::wstring> lines;
    array.TakeLines(lines);
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(array.GetLength(), 0);
}

TEST(ByteArray, TakeLinesLeavesTheUnfinishedOne) {
    const struct {
        std::string_view text;
        Lines lines;
        std::string_view rest;
    } kCases[] = {
        {"ab\ncd", {L"ab"}, "cd"},
        {"ab", {}, "ab"},
        {"a\n\nbc\r\nd\r\n", {L"bc\r", L"d\r"}, ""},
        {{"ab\ncd\0ef\n", 9}, {L"ab"}, "cd"},
    };
    for (const auto& each : kCases) {
        Lines lines;
        ByteArray array = arrayOf(each.text);
        array.TakeLines(lines);
        EXPECT_EQ(lines, each.lines) << each.text;
        EXPECT_EQ(contents(array), each.rest) << each.text;
        EXPECT_EQ(array.GetByte(array.GetLength()), 0);
    }
    ByteArray array = arrayOf("ab\ncd");
    Lines lines;
    array.TakeLines(lines);
    array.Append("ef\n", 3);
    array.TakeLines(lines);
    EXPECT_EQ(lines, (Lines{L"ab", L"cdef"}));
}

}  // namespace
}  // namespace lathwind
