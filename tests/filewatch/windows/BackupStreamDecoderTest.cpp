#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "filewatch/windows/BackupStreamDecoder.h"
#include "support/Bytes.h"
#include "support/FakeBackup.h"

namespace lathwind {
namespace {

using testing::backupStream;
using testing::Bytes;
using testing::eaEntry;
using testing::FakeBackup;

std::string decoded(const std::string& list) {
    std::string text;
    for (const auto& [name, value] : decodeEaList(std::as_bytes(std::span(list)))) {
        text.append(name).append("=").append(value).append(";");
    }
    return text;
}

TEST(BackupStreamDecoder, ListTable) {
    const std::string padded = Bytes().raw(eaEntry(16, "A", "xy")).padTo(16).str();
    const std::string last = eaEntry(0, "LONG", "v");
    struct Row {
        const char* what;
        std::string list;
        std::string expected;
    } rows[] = {
        {"nothing", "", ""},
        {"one entry", last, "LONG=v;"},
        {"an empty value", eaEntry(0, "E", ""), "E=;"},
        {"two entries, the first padded", padded + last, "A=xy;LONG=v;"},
        {"next offset behind the bytes", eaEntry(200, "A", "xy"), "A=xy;"},
        {"next offset at the very end", eaEntry(12, "A", "xy"), "A=xy;"},
        {"next offset into the entry itself", eaEntry(1, "A", std::string(40, 'x')),
         "A=" + std::string(40, 'x') + ";"},
        {"a header cut short", padded + last.substr(0, 7), "A=xy;"},
        {"a value cut short", padded + last.substr(0, last.size() - 1), "A=xy;"},
        {"a name longer than the bytes", Bytes().u32(0).u8(0).u8(255).u16(0).raw("ab").str(), ""},
        {"all ones", std::string(64, '\xFF'), ""},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(decoded(row.list), row.expected) << row.what;
    }
}

// However a list is cut, what comes out is the whole entries before the cut.
TEST(BackupStreamDecoder, CutListsGiveWholeEntriesOnly) {
    const std::string first = Bytes().raw(eaEntry(16, "A", "xy")).padTo(16).str();
    const std::string list = first + eaEntry(0, "B", "z");
    for (std::size_t size = 0; size < list.size(); ++size) {
        EXPECT_EQ(decoded(list.substr(0, size)), size < 12 ? "" : "A=xy;") << size;
    }
}

TEST(BackupStreamDecoder, FindsTheListBehindOtherStreams) {
    const std::string list = eaEntry(0, "K", "val");
    FakeBackup backup(backupStream(3, "security") + backupStream(1, std::string(70000, 'd')) +
                      backupStream(4, "alternate", ":s:$DATA") + backupStream(2, list) +
                      backupStream(1, "behind"));
    const EaStream found = readEaStream(backup);
    EXPECT_EQ(found.failure, BackupFailure::None);
    const auto entries = decodeEaList(found.data);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].name, "K");
    EXPECT_EQ(entries[0].value, "val");
}

TEST(BackupStreamDecoder, FailureTable) {
    const std::string list = eaEntry(0, "K", "val");
    const std::string two = backupStream(1, "data", "name") + backupStream(2, list);
    struct Row {
        const char* what;
        std::string bytes;
        int failing;
        BackupFailure failure;
    } rows[] = {
        {"no list", backupStream(1, "data"), FakeBackup::kNone, BackupFailure::None},
        {"no stream at all", "", FakeBackup::kNone, BackupFailure::None},
        {"first header refused", two, 0, BackupFailure::None},
        {"name refused", two, 1, BackupFailure::StreamName},
        {"skip refused", two, 2, BackupFailure::StreamName},
        {"second header refused", two, 3, BackupFailure::None},
        {"list refused", two, 4, BackupFailure::EaData},
        {"header cut short", two.substr(0, 19), FakeBackup::kNone, BackupFailure::None},
        {"name cut short", two.substr(0, 22), FakeBackup::kNone, BackupFailure::None},
    };
    for (const Row& row : rows) {
        FakeBackup backup(row.bytes, row.failing);
        const EaStream found = readEaStream(backup);
        EXPECT_EQ(found.failure, row.failure) << row.what;
        EXPECT_TRUE(found.data.empty()) << row.what;
        EXPECT_EQ(found.code != platform::error::Success, row.failure != BackupFailure::None)
            << row.what;
    }
}

// A header may promise anything: what is held is what was there.
TEST(BackupStreamDecoder, HugeSizesTakeNoMemory) {
    const std::string list = eaEntry(0, "K", "val");
    FakeBackup backup(Bytes().u32(2).u32(0).u64(0xFFFFFFFFFFFFFFFFu).u32(0).raw(list).str());
    EXPECT_EQ(readEaStream(backup).data.size(), list.size());
    FakeBackup named(Bytes().u32(1).u32(0).u64(0).u32(0xFFFFFFFF).raw("x").str());
    EXPECT_EQ(readEaStream(named).failure, BackupFailure::None);
}

}  // namespace
}  // namespace lathwind
