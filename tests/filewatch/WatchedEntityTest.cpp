#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <sstream>

#include "filewatch/FileAttributes.h"
#include "filewatch/WatchedEntity.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/WatchedLogFile.h"
#include "support/StateFileBuilder.h"

namespace lathwind {
namespace {

using lathwind::testing::ParsedEntity;
using lathwind::testing::StateFileBuilder;

// Files that do not exist: nothing of the live system enters the records.
ParsedEntity sampleFile() {
    ParsedEntity file;
    file.virtualName = "name";
    file.path = "c:\\no such folder\\one.txt";
    file.exists = 1;
    file.size = 0x1'2345'6789;
    file.volumeKind = 1;
    file.attributes = 0x20;
    file.creationTime = 130000000000000001;
    file.accessTime = 130000000000000002;
    file.modifiedTime = 130000000000000003;
    file.hardLinks = 3;
    file.owner = "S-1-5-18";
    file.primaryGroup = "S-1-5-32-544";
    file.extendedAttributes = {{"K", "val"}};
    file.streams = {{":s:$DATA", 9}};
    file.acl = "O:SY";
    file.digest = std::string(64, 'a');
    file.lastAction = 2;
    file.diffKey = "txt";
    file.contents = "6f6c640a";
    return file;
}

ParsedEntity sampleLog() {
    ParsedEntity log = sampleFile();
    log.type = 1;
    log.path = "c:\\no such folder\\app.log";
    log.offset = 0;
    log.encoding = "UTF-8";
    log.fileName = "app.log";
    log.parseString = "x{V}y";
    log.includeDelimiter = 1;
    log.delimiter = "\n";
    log.entryEncoding = "UTF-16";
    return log;
}

// A stream behind a file's header, as every reader of entities finds it.
std::istringstream behindHeader(const std::string& file, std::uint16_t version) {
    std::istringstream stream(file);
    stream.seekg(static_cast<std::streamoff>(StateFileBuilder(version).header().bytes().size()));
    return stream;
}

TEST(WatchedEntity, ReadsEveryVersion) {
    for (std::uint16_t version = 1; version <= 12; ++version) {
        SCOPED_TRACE(version);
        const std::string file =
            StateFileBuilder(version).header().entity(sampleFile()).entity(sampleLog()).bytes();
        std::istringstream stream = behindHeader(file, version);

        const auto first = WatchedEntity::ReadEntityOfVersion(stream, version);
        ASSERT_NE(first, nullptr);
        EXPECT_EQ(first->GetType(), kRegularFile);
        EXPECT_EQ(first->GetName(), L"c:\\no such folder\\one.txt");
        EXPECT_EQ(first->GetVirtualName(), version >= 12 ? L"name" : L"");
        EXPECT_EQ(first->GetAttributes().GetSize(), 0x1'2345'6789u);
        EXPECT_EQ(first->GetDigest()[15], 0xaa);
        EXPECT_EQ(first->GetDigest()[31], version >= 9 || version == 1 ? 0xaa : 0);
        EXPECT_EQ(static_cast<WatchedFile&>(*first).GetLastAction(), 2);
        EXPECT_EQ(first->GetDiffType(), version == 1 ? L"" : L"txt");

        const auto second = WatchedEntity::ReadEntityOfVersion(stream, version);
        ASSERT_NE(second, nullptr);
        EXPECT_EQ(second->GetType(), kLogFile);
        const auto& log = static_cast<WatchedLogFile&>(*second);
        EXPECT_EQ(log.GetEncoding(), version >= 12 ? L"UTF-8" : L"ANSI");
        EXPECT_EQ(log.GetProperties().GetEncoding(), version >= 9 ? L"UTF-16" : L"ANSI");
        EXPECT_EQ(log.GetProperties().GetParseString(), L"x{V}y");
        EXPECT_EQ(log.GetProperties().GetDelimiter(), L"\n");

        EXPECT_EQ(WatchedEntity::ReadEntityOfVersion(stream, version), nullptr);
    }
}

TEST(WatchedEntity, WritesTheNewestVersion) {
    const std::string header = StateFileBuilder(12).header().bytes();
    const std::string file =
        StateFileBuilder(12).header().entity(sampleFile()).entity(sampleLog()).bytes();
    std::istringstream in = behindHeader(file, 12);
    std::ostringstream out;
    while (const auto entity = WatchedEntity::ReadEntity(in)) {
        entity->WriteEntity(out);
    }
    // The log is not there, so its digest is none any more; all else comes back as it was.
    ParsedEntity log = sampleLog();
    log.digest.clear();
    EXPECT_EQ(header + out.str(),
              StateFileBuilder(12).header().entity(sampleFile()).entity(log).bytes());
}

TEST(WatchedEntity, AnyCutEndsTheListOrThrows) {
    for (const std::uint16_t version : std::to_array<std::uint16_t>({1, 2, 8, 9, 11, 12})) {
        const ParsedEntity second = sampleLog();
        const std::string head = StateFileBuilder(version).header().bytes();
        const std::string one = StateFileBuilder(version).entity(sampleFile()).bytes();
        const std::string two = StateFileBuilder(version).entity(second).bytes();
        const std::size_t prefix = 4 + (version >= 12 ? 4 + 2 * second.virtualName.size() : 0);
        for (std::size_t cut = 0; cut < two.size(); ++cut) {
            std::istringstream stream = behindHeader(head + one + two.substr(0, cut), version);
            ASSERT_NE(WatchedEntity::ReadEntityOfVersion(stream, version), nullptr);
            if (cut < prefix) {
                EXPECT_EQ(WatchedEntity::ReadEntityOfVersion(stream, version), nullptr);
            } else {
                EXPECT_THROW(WatchedEntity::ReadEntityOfVersion(stream, version),
                             SerializeException)
                    << "version " << version << " cut at " << cut;
            }
        }
    }
}

TEST(WatchedEntity, ANameThatIsTooLongDoesNotEndTheList) {
    StateFileBuilder builder(12);
    builder.header().number(0, 4).number(2049, 4);
    std::istringstream stream = behindHeader(builder.bytes() + std::string(8192, '\xff'), 12);
    EXPECT_THROW(WatchedEntity::ReadEntityOfVersion(stream, 12), SerializeException);
}

TEST(WatchedEntity, AnUnknownTypeIsARegularFile) {
    const auto entity = CreateWatchedEntity(7, {}, {}, L"virtual");
    EXPECT_NE(dynamic_cast<WatchedFile*>(entity.get()), nullptr);
    EXPECT_EQ(entity->GetType(), kRegularFile);
    EXPECT_EQ(entity->GetVirtualName(), L"virtual");
    EXPECT_EQ(entity->GetMemorySize(), 72u);
}

TEST(WatchedEntity, AssignmentTakesWhatBothKindsHave) {
    const std::string file =
        StateFileBuilder(12).header().entity(sampleFile()).entity(sampleLog()).bytes();
    std::istringstream stream = behindHeader(file, 12);
    const auto first = WatchedEntity::ReadEntity(stream);
    const auto second = WatchedEntity::ReadEntity(stream);

    const auto copy = CreateWatchedEntity(kRegularFile, {}, {}, {});
    *copy = *first;
    EXPECT_TRUE(static_cast<WatchedFile&>(*copy).Equals(static_cast<WatchedFile&>(*first)));
    EXPECT_EQ(copy->GetDiffType(), L"txt");
    EXPECT_EQ(copy->GetDigest(), first->GetDigest());
    EXPECT_EQ(copy->GetVirtualName(), L"name");

    const WatchedEntity& self = *copy;
    *copy = self;
    EXPECT_EQ(copy->GetDiffType(), L"txt");
    *copy = *second;
    EXPECT_EQ(copy->GetName(), second->GetName());
    EXPECT_EQ(copy->GetType(), kLogFile);
    EXPECT_EQ(static_cast<WatchedFile&>(*copy).GetLastAction(), 2) << "a log has none to give";
}

// What the kinds of entities share when they make an event.
TEST(WatchedEntity, ShareOfAnEvent) {
    struct Exposed : WatchedFile {
        using WatchedEntity::ApplyVirtualName;
        using WatchedEntity::SetEventFields;
        using WatchedFile::WatchedFile;
    } const entity(L"c:\\no such folder\\one.txt", nullptr, L"own");
    std::vector<std::wstring> values;
    entity.SetEventFields(values, nullptr, FileAction::Modified, false);
    EXPECT_TRUE(values.empty());
    entity.SetEventFields(values, nullptr, FileAction::Modified, true);
    EXPECT_EQ(values, (std::vector<std::wstring>{L"I"}));
    const std::wstring_view letters = L"UCMDRANUU";
    for (std::size_t number = 0; number < 10; ++number) {
        values.clear();
        entity.SetEventFields(values, &entity.GetAttributes(), static_cast<FileAction>(number),
                              number % 2 == 0);
        EXPECT_EQ(values.size(), number == 3 || number == 6 || number == 7 ? 3u : 8u);
        EXPECT_EQ(values[0], number % 2 == 0 ? L"R" : L"P");
        EXPECT_EQ(values[1], entity.GetName());
        EXPECT_EQ(values[2], letters.substr(std::min(number, letters.size()), 1));
    }

    IDSEvent event;
    event.SetSourceKind(sourceKind::FileWatch, true);
    entity.ApplyVirtualName({}, event, 0x102, false);
    EXPECT_EQ(event.GetSystemState(), 0u);
    entity.ApplyVirtualName({}, event, 0x102, true);
    EXPECT_EQ(event.GetField(eventField::VirtualTag), L"own");
    EXPECT_EQ(event.GetSystemState(), 0x102u);
    event.SetSystemState(4, true);
    entity.ApplyVirtualName(L"other", event, 0x102, true);
    EXPECT_EQ(event.GetField(eventField::VirtualTag), L"other");
    EXPECT_EQ(event.GetSystemState(), 4u);
}

}  // namespace
}  // namespace lathwind
