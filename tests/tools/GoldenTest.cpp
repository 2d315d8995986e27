#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "support/Json.h"
#include "support/StateFileParser.h"
#include "tools/Installation.h"
#include "utils/Digests.h"
#include "utils/Text.h"

namespace lathwind::testing {
namespace {

using Golden = ::testing::TestWithParam<int>;

std::map<std::string, std::int64_t> numbersOf(const Json& json) {
    std::map<std::string, std::int64_t> numbers;
    for (const auto& [name, value] : json.members) {
        numbers[name] = value.number();
    }
    return numbers;
}

std::map<std::string, std::string> textsOf(const Json& json) {
    std::map<std::string, std::string> texts;
    for (const auto& [name, value] : json.members) {
        texts[name] = value.text;
    }
    return texts;
}

void expectSnapshot(const Json& expected, const ParsedEntity& entity) {
    EXPECT_EQ(entity.path, expected["path"].text);
    EXPECT_EQ(entity.exists, expected["exists"].number());
    EXPECT_EQ(entity.size, expected["size"].number());
    EXPECT_EQ(entity.attributes, expected["attr"].number());
    EXPECT_EQ(entity.creationTime, expected["ctime"].number());
    EXPECT_EQ(entity.modifiedTime, expected["mtime"].number());
    EXPECT_EQ(entity.hardLinks, expected["links"].number());
    EXPECT_EQ(entity.extendedAttributes, textsOf(expected["ea"]));
    EXPECT_EQ(entity.streams, numbersOf(expected["streams"]));
    if (expected.has("volume")) {
        EXPECT_EQ(entity.volumeKind, expected["volume"].number());
    }
    if (expected.has("owner")) {
        EXPECT_EQ(entity.owner, expected["owner"].text);
        EXPECT_EQ(entity.primaryGroup, expected["group"].text);
    }
}

void expectEntity(const Json& expected, const ParsedEntity& entity) {
    EXPECT_EQ(entity.type, expected["type"].number());
    EXPECT_EQ(entity.virtualName, expected["virtual"].text);
    expectSnapshot(expected["attributes"], entity);
    EXPECT_EQ(entity.digest, expected["digest"].text);
    if (entity.type == 0) {
        EXPECT_EQ(entity.lastAction, expected["lastAction"].number());
        EXPECT_EQ(entity.diffKey, expected["diffKey"].text);
        EXPECT_EQ(entity.contents, expected["contents"].text);
        return;
    }
    EXPECT_EQ(entity.offset, expected["offset"].number());
    EXPECT_EQ(entity.encoding, expected["encoding"].text);
    const Json& properties = expected["properties"];
    EXPECT_EQ(entity.fileName, properties["fileName"].text);
    EXPECT_EQ(entity.parseString, properties["parseString"].text);
    EXPECT_EQ(entity.includeDelimiter, properties["includeDelimiter"].number());
    EXPECT_EQ(entity.delimiter, properties["delimiter"].text);
    EXPECT_EQ(entity.entryEncoding, properties["encoding"].text);
}

// What an upgrade takes from the live file because the version did not have it.
void expectCompleted(int version, const ParsedEntity& entity) {
    if (entity.type != 0 || entity.exists == 0) {
        return;
    }
    EXPECT_FALSE(entity.acl.empty());
    if (version < 6) {
        EXPECT_EQ(entity.owner.substr(0, 4), "S-1-");
        EXPECT_EQ(entity.primaryGroup.substr(0, 4), "S-1-");
    }
}

TEST_P(Golden, IsViewed) {
    const int version = GetParam();
    const Installation installation(version);
    const ToolRun run = installation.run({L"-v"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, readGolden(version, "view.txt"));
    EXPECT_EQ(installation.state(), readGolden(version, "FileWatch.dat"));
    EXPECT_FALSE(installation.root.exists("IDS/log")) << "viewing left a log behind";
}

TEST_P(Golden, IsUpgraded) {
    const int version = GetParam();
    const Installation installation(version);
    const std::string before = installation.state();
    const ToolRun run = installation.run({L"-c"});
    ASSERT_EQ(run.exitCode, 0) << run.output;
    if (version == 12) {
        EXPECT_EQ(run.output, "FileWatch.dat is already up to date.\n");
        EXPECT_EQ(installation.state(), before);
        return;
    }
    EXPECT_EQ(run.output,
              std::string(version < 11 ? " Writing a zero into the file\n" : "") +
                  (version < 7 ? " Writing a zero into the file\n" : " Writing some state\n"));

    ParsedStateFile file = parseStateFile(installation.state());
    EXPECT_EQ(file.signature, 0xABCE);
    const std::string service = utf8FromUtf16(toLower(installation.serviceLog()));
    const auto added = std::find_if(file.entities.begin(), file.entities.end(),
                                    [&](const ParsedEntity& e) { return e.path == service; });
    ASSERT_NE(added, file.entities.end()) << service;
    const std::string log = installation.root.read("rvmklog/QVRIPSService.log");
    EXPECT_EQ(added->offset, static_cast<std::int64_t>(log.size()));
    std::uint8_t digest[kSha256Bytes];
    HashBufferSha256(log.data(), log.size(), digest);
    EXPECT_EQ(added->digest, utf8FromUtf16(Sha256ToHex(digest)));
    file.entities.erase(added);

    const Json expected = Json::parse(readGolden(version, "upgraded.json"));
    ASSERT_EQ(file.entities.size(), expected.items.size());
    for (std::size_t i = 0; i < expected.items.size(); ++i) {
        SCOPED_TRACE(file.entities[i].path);
        expectEntity(expected.items[i], file.entities[i]);
        expectCompleted(version, file.entities[i]);
    }
}

TEST_P(Golden, IsUpgradedOnce) {
    const Installation installation(GetParam());
    installation.run({L"-c"});
    const std::string state = installation.state();
    EXPECT_EQ(installation.run({L"-c"}).output, "FileWatch.dat is already up to date.\n");
    EXPECT_EQ(installation.state(), state);
    const ToolRun view = installation.run({L"-v"});
    EXPECT_EQ(view.exitCode, 0);
    EXPECT_NE(view.output.find("Version: 12\n"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Versions, Golden, ::testing::ValuesIn(kGoldenVersions),
                         [](const auto& row) { return goldenName(row.param); });

}  // namespace
}  // namespace lathwind::testing
