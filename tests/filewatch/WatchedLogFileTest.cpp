#include <array>
#include <gtest/gtest.h>
#include <sstream>

#include "actions/EventFilePaths.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/WatchedLogFile.h"
#include "support/LogCapture.h"
#include "support/StateFileBuilder.h"
#include "support/TempDir.h"
#include "utils/Digests.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using lathwind::testing::LogCapture;
using lathwind::testing::ParsedEntity;
using lathwind::testing::StateFileBuilder;
using lathwind::testing::TempDir;

std::string narrowPath(const std::wstring& path) {
    return utf8FromUtf16(toLower(path));
}

std::string sha256Of(std::string_view bytes) {
    WatchedEntity::Digest digest{};
    HashBufferSha256(bytes.data(), bytes.size(), digest.data());
    return utf8FromUtf16(Sha256ToHex(digest.data()));
}

std::string md5Of(std::string_view bytes) {
    std::uint8_t digest[kMd5Bytes];
    HashBufferMd5(bytes.data(), bytes.size(), digest);
    std::wstring text;
    Md5ToHex(digest, kMd5Bytes, text);
    return utf8FromUtf16(text);
}

// The digest that a log of that version stores for its consumed part.
std::string digestOf(std::string_view consumed, std::uint16_t version) {
    return version >= 9 ? sha256Of(consumed) : md5Of(consumed);
}

class WatchedLogFileTest : public ::testing::Test {
protected:
    std::wstring path() const { return toLower(folder_.path(L"app.log")); }

    ParsedEntity record(std::int64_t offset, const std::string& digest) const {
        ParsedEntity log;
        log.type = 1;
        log.path = narrowPath(path());
        log.exists = 1;
        log.offset = offset;
        log.digest = digest;
        log.encoding = "UTF-16";
        log.fileName = log.path;
        log.delimiter = "\r\n";
        log.entryEncoding = "ANSI";
        return log;
    }

    static std::unique_ptr<WatchedEntity> read(const ParsedEntity& record, std::uint16_t version) {
        std::istringstream stream(StateFileBuilder(version).header().entity(record).bytes());
        stream.seekg(
            static_cast<std::streamoff>(StateFileBuilder(version).header().bytes().size()));
        return WatchedEntity::ReadEntityOfVersion(stream, version);
    }

    // The record that the entity writes now, as version 12.
    static ParsedEntity write(WatchedEntity& entity) {
        std::ostringstream stream;
        entity.WriteEntity(stream);
        return lathwind::testing::parseStateFile(StateFileBuilder(12).header().bytes() +
                                                 stream.str())
            .entities.at(0);
    }

    TempDir folder_;
};

TEST_F(WatchedLogFileTest, ReadingComparesTheConsumedPart) {
    const std::string text = "first\r\nsecond\r\n";
    struct Case {
        const char* file;  // null: gone
        std::int64_t offset;
        std::string_view digested;
        std::uint32_t result;
        bool reset;  // and said so
    };
    const Case cases[] = {
        {"first\r\nsecond\r\n", 7, "first\r\n", 7, false},
        {"first\r\nsecond\r\n", 15, "first\r\nsecond\r\n", 15, false},
        {"first\r\ngrown a lot since then", 7, "first\r\n", 7, false},
        {"other, but longer than before", 7, "first\r\n", 0, true},
        {"first", 7, "first\r\n", 0, false},
        {"first\r\n", 0, "first\r\n", 0, false},
        {"first\r\n", 0, "", 0, true},  // offset 0 stands for the digest of the whole file
        {"", 0, "", 0, false},
        {nullptr, 7, "first\r\n", 0, false},
        {nullptr, 0, "", 0, true},
    };
    for (const std::uint16_t version : std::to_array<std::uint16_t>({2, 8, 9, 11, 12})) {
        for (const Case& c : cases) {
            std::filesystem::remove(folder_.native("app.log"));
            if (c.file != nullptr) {
                folder_.write("app.log", c.file);
            }
            const LogCapture lines;
            const auto entity = read(record(c.offset, digestOf(c.digested, version)), version);
            const auto& log = static_cast<const WatchedLogFile&>(*entity);
            const std::wstring offset = std::to_wstring(c.offset);
            EXPECT_EQ(log.GetOffset(), c.result) << version << " " << (c.file ? c.file : "gone");
            EXPECT_EQ(Sha256IsZero(log.GetDigest().data()), c.reset);
            EXPECT_EQ(lines.hasDebug(L"Resetting the File Offset from " + offset +
                                     L" (to ZERO) on file: " + path() + L" since " +
                                     (version >= 9 ? L"SHA2" : L"MD5") + L" has changed.. "),
                      c.reset);
            EXPECT_TRUE(lines.hasDebug(L"Reading the File Offset as " + offset + L" on file: " +
                                       path() + (version >= 12 ? L" Encoding is UTF-16" : L"")));
        }
    }
}

TEST_F(WatchedLogFileTest, TheFirstVersionDigestsTheWholeStoredSize) {
    struct Case {
        const char* file;
        std::int64_t storedSize;
        std::uint32_t result;
        bool cleared;
    };
    const Case cases[] = {
        {"first\r\nsecond\r\n", 7, 5, false},
        {"other\r\nsecond\r\n", 7, 0, true},
        {"first", 7, 0, false},
    };
    for (const Case& c : cases) {
        folder_.write("app.log", c.file);
        ParsedEntity stored = record(5, md5Of("first\r\n"));
        stored.size = c.storedSize;
        const LogCapture lines;
        const auto entity = read(stored, 1);
        EXPECT_EQ(static_cast<WatchedLogFile&>(*entity).GetOffset(), c.result) << c.file;
        EXPECT_EQ(Sha256IsZero(entity->GetDigest().data()), c.cleared);
        // It says nothing of it. (The snapshot may: Wine has no backup streams.)
        for (const std::wstring& line : lines.debugLines) {
            EXPECT_FALSE(line.starts_with(L"Resetting"));
        }
    }
}

TEST_F(WatchedLogFileTest, WritingDigestsTheConsumedPart) {
    folder_.write("app.log", "first\r\nsecond\r\n");
    const LogCapture lines;
    WatchedLogFile log(path(), nullptr, L"name");
    struct Case {
        std::uint32_t offset;
        std::string digest;
    };
    const Case cases[] = {
        {7, sha256Of("first\r\n")},
        {0, sha256Of("first\r\nsecond\r\n")},
        {100, sha256Of("first\r\nsecond\r\n")},
    };
    for (const Case& c : cases) {
        log.SetOffset(c.offset);
        const ParsedEntity record = write(log);
        EXPECT_EQ(record.digest, c.digest);
        EXPECT_EQ(record.offset, c.offset);
        EXPECT_EQ(record.virtualName, "name");
        EXPECT_EQ(record.path, narrowPath(path()));
        EXPECT_TRUE(lines.hasDebug(L"Writing the File Offset as " + std::to_wstring(c.offset) +
                                   L" on file: " + path() + L" Encoding is ANSI"));
    }
    std::filesystem::remove(folder_.native("app.log"));
    EXPECT_EQ(write(log).digest, std::string(64, '0'));
}

TEST_F(WatchedLogFileTest, AnUpgradeKeepsAValidOffset) {
    folder_.write("app.log", "first\r\nsecond\r\n");
    const auto entity = read(record(7, md5Of("first\r\n")), 8);
    EXPECT_TRUE(entity->UpdateEntity(true));
    const ParsedEntity upgraded = write(*entity);
    EXPECT_EQ(upgraded.offset, 7);
    EXPECT_EQ(upgraded.digest, sha256Of("first\r\n"));
    EXPECT_EQ(upgraded.encoding, "ANSI");
    EXPECT_EQ(static_cast<WatchedLogFile&>(*read(upgraded, 12)).GetOffset(), 7u);
}

TEST_F(WatchedLogFileTest, AMarkBeatsTheEncodingOfTheEntry) {
    LogFileProperties properties;
    const std::pair<std::string_view, std::wstring_view> cases[] = {
        {"plain", L"ANSI"}, {"\xEF\xBB\xBFtext", L"UTF-8"}, {"\xFF\xFE", L"UTF-16"}};
    for (const auto& [contents, encoding] : cases) {
        folder_.write("app.log", contents);
        const LogCapture lines;
        const WatchedLogFile log(path(), &properties, {});
        EXPECT_EQ(log.GetEncoding(), encoding);
        EXPECT_TRUE(lines.hasDebug(L"Reading Log " + path() + L" as " + std::wstring(encoding)));
    }
    WatchedLogFile log(path(), nullptr, {});
    EXPECT_EQ(log.GetEncoding(), L"ANSI") << "nobody looked at the file";
}

TEST_F(WatchedLogFileTest, StartsAtTheEndOrAtTheStart) {
    folder_.write("app.log", "0123456789");
    const LogCapture lines;
    WatchedLogFile log(path(), nullptr, {});
    EXPECT_TRUE(log.InitializeEntity(false));
    EXPECT_EQ(log.GetOffset(), 10u);
    EXPECT_TRUE(lines.hasDebug(L"Initializing the File Offset to 10 on file: " + path()));
    EXPECT_TRUE(log.InitializeEntity(true));
    EXPECT_EQ(log.GetOffset(), 0u);
    EXPECT_EQ(log.GetAttributes().GetSize(), 0u);
}

TEST_F(WatchedLogFileTest, AServiceLogKeepsItsOffset) {
    folder_.write("QVRIPSService.log", "0123456789");
    setEventFilePaths(folder_.path(L"Events.csv"), {});
    const std::wstring service = folder_.path(L"QVRIPSService.log");
    EXPECT_TRUE(WatchedLogFile::IsServiceCsvLog(service));
    EXPECT_FALSE(WatchedLogFile::IsServiceCsvLog(folder_.path(L"app.log")));
    WatchedLogFile log(service, nullptr, {});
    log.SetOffset(4);
    EXPECT_TRUE(log.InitializeEntity(true));
    EXPECT_EQ(log.GetOffset(), 4u);
    setEventFilePaths({}, {});
    EXPECT_FALSE(WatchedLogFile::IsServiceCsvLog(service));
    EXPECT_TRUE(WatchedLogFile::IsServiceCsvLog(L"..\\LOG\\qvrIPS.1.log"));
}

TEST_F(WatchedLogFileTest, CopiesTakeOffsetAndProperties) {
    LogFileProperties properties;
    properties.SetDelimiter(L"|");
    WatchedLogFile log(path(), &properties, L"name");
    log.SetOffset(9);
    const WatchedLogFile copy(log);
    WatchedLogFile assigned({}, nullptr, {});
    assigned = log;
    for (const WatchedLogFile* other : {&copy, &std::as_const(assigned)}) {
        EXPECT_EQ(other->GetOffset(), 9u);
        EXPECT_TRUE(other->GetProperties() == properties);
        EXPECT_EQ(other->GetName(), path());
        EXPECT_EQ(other->GetVirtualName(), L"name");
    }
}

}  // namespace
}  // namespace lathwind
