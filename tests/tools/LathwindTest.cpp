#include <algorithm>
#include <gtest/gtest.h>

#include "support/Bytes.h"
#include "support/LogCapture.h"
#include "support/StateFileBuilder.h"
#include "tools/InstallPaths.h"
#include "tools/Installation.h"
#include "tools/Lathwind.h"
#include "utils/Text.h"

namespace lathwind::testing {
namespace {

std::string handOver(std::wstring_view path, std::uint32_t offset) {
    return Bytes()
        .u8(0x7F)
        .units(path)
        .padTo(1025)
        .u32(offset)
        .padTo(1 + tool::kAgentFilePointerBytes)
        .str();
}

std::string withBytes(std::string state, std::size_t offset, std::string_view bytes) {
    std::copy(bytes.begin(), bytes.end(), state.begin() + static_cast<std::ptrdiff_t>(offset));
    return state;
}

TEST(Lathwind, InitialisesAFileWithTheServiceLogAlone) {
    const Installation installation;
    installation.writeState("of no interest");
    installation.root.write("IDS/system/ipslogwatch.ini",
                            "[Log Files]\nFiles=1\n[File1]\nFileName=c:\\other.log\n"
                            "Delimiter=\\n\nIncludeDelimiter=1\nEncoding=UTF-8\n");
    const ToolRun run = installation.run({L"-i"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, " Writing a zero into the file\n Writing a zero into the file\n");

    const ParsedStateFile file = parseStateFile(installation.state());
    EXPECT_EQ(file.recursionLevel, 0);
    EXPECT_TRUE(file.mountStates.empty());
    EXPECT_EQ(file.digests[0], std::string(32, '0'));
    EXPECT_NE(file.digests[4], std::string(32, '0'));
    ASSERT_EQ(file.entities.size(), 1u);
    const ParsedEntity& log = file.entities[0];
    EXPECT_EQ(log.path, utf8FromUtf16(toLower(installation.serviceLog())));
    EXPECT_EQ(log.offset, 25);
    EXPECT_EQ(log.size, 25);
    EXPECT_EQ(log.delimiter, "\n");
    EXPECT_EQ(log.includeDelimiter, 1);
    EXPECT_EQ(log.encoding, "UTF-8");
    EXPECT_EQ(log.fileName, utf8FromUtf16(installation.serviceLog()));

    EXPECT_NE(installation.run({L"-v"}).output.find("\t Log Offset: 25\n\t   Encoding: UTF-8\n"),
              std::string::npos);
}

TEST(Lathwind, SaysWhenThereIsNothingToDo) {
    const Installation installation;
    const ToolRun view = installation.run({L"-v"});
    EXPECT_EQ(view.exitCode, 0);
    EXPECT_EQ(view.output, "No FileWatch.dat to upgrade.\n");
    const ToolRun upgrade = installation.run({L"-c"});
    EXPECT_EQ(upgrade.exitCode, 0);
    EXPECT_EQ(upgrade.output, "There is no FileWatch.dat to upgrade.\n");
    EXPECT_FALSE(installation.hasState());
}

TEST(Lathwind, LooksAtTheVersionBeforeTheSignature) {
    const std::string reconfig = "\xCF\xAB";
    const struct {
        int version;
        std::string signature;
        int exitCode;
        const char* output;
    } rows[] = {
        {11, reconfig, 0,
         "FileWatch.dat was saved during a re-config operation. Skipping conversion.\n"},
        {12, reconfig, 0, "FileWatch.dat is already up to date.\n"},
        {11, std::string(2, '\0'), 2, "FAILED to read FileWatch.dat.\n"},
        {12, "\xCD\xAB", 2, "FAILED to read FileWatch.dat.\n"},
    };
    for (const auto& row : rows) {
        const Installation installation(row.version);
        const std::string state = withBytes(installation.state(), 0, row.signature);
        installation.writeState(state);
        const ToolRun run = installation.run({L"-c"});
        EXPECT_EQ(run.exitCode, row.exitCode);
        EXPECT_EQ(run.output, row.output);
        EXPECT_EQ(installation.state(), state);
    }
    const Installation installation(3);
    installation.writeState(withBytes(installation.state(), 0, std::string(2, '\0')));
    const ToolRun view = installation.run({L"-v"});
    EXPECT_EQ(view.exitCode, 2);
    EXPECT_EQ(view.output, "Signature    : 0  Version: 3\nFAILED to read FileWatch.dat.\n");
}

TEST(Lathwind, KeepsTheOldFileWhenAnEntityCannotBeCompleted) {
    const Installation installation;
    const std::string state = StateFileBuilder(8).header().entity(ParsedEntity()).bytes();
    installation.writeState(state);  // of a file without a name
    const ToolRun run = installation.run({L"-c"});
    EXPECT_EQ(run.exitCode, 6);
    EXPECT_EQ(run.output, "FAILED updating the watched entities.\n");
    EXPECT_EQ(installation.state(), state);
}

TEST(Lathwind, LeavesNoFileThatBreaksOff) {
    const Installation installation;
    installation.writeState("the old state");
    const std::wstring tooLong = installation.root.path(std::wstring(2048, L'x'));
    const LogCapture log;
    const ToolRun run = runTool({L"-p", installation.root.path(), L"-l", tooLong, L"-i"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.output,
              " Writing a zero into the file\n Writing a zero into the file\n"
              "FAILED to write FileWatch.dat.\n");
    EXPECT_FALSE(installation.hasState());
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].severity, Severity::Warning);
    EXPECT_TRUE(log.messages[0].text.starts_with(
        L"FWC_0002: Unexpected error occurred while serializing file collector information: "
        L"Exception: Serializable::WriteTString - String size exceeds sanity check at line "))
        << utf8FromUtf16(log.messages[0].text);
}

TEST(Lathwind, TakesThePositionOfTheHandOverRecord) {
    const Installation installation(8);
    const std::wstring path = installation.root.path(L"Elsewhere\\Agent.LOG");
    installation.root.write("Elsewhere/Agent.LOG", "0123456789");
    installation.root.write("IPS/agentfilepointer", handOver(path, 7));
    EXPECT_EQ(installation.run({L"-c"}).exitCode, 0);
    const std::string view = installation.run({L"-v"}).output;
    EXPECT_NE(view.find(utf8FromUtf16(toLower(path)) + "\n\t    Exists?: Yes\n\t Log Offset: 7\n"),
              std::string::npos)
        << view;
    EXPECT_EQ(view.find("qvripsservice.log"), std::string::npos);
}

// The service's log is one entity, however the command line spells its name.
TEST(Lathwind, MovesAnEntityThatIsThere) {
    const Installation installation;
    installation.run({L"-i"});
    std::string state = installation.state();
    // The same entity in the form of version 11: no virtual name, no detected encoding.
    const ParsedEntity log = parseStateFile(state).entities.at(0);
    const std::size_t encodingAt = state.find(std::string("\x04\0\0\0A\0N\0S\0I\0", 12));
    ASSERT_NE(encodingAt, std::string::npos);
    state.erase(encodingAt, 12);
    state.erase(92 + 4, 4);
    installation.writeState(withBytes(state, 2, "\x0B"));
    installation.root.write("IPS/agentfilepointer", handOver(installation.serviceLog(), 5));
    ASSERT_EQ(installation.run({L"-c"}).exitCode, 0);
    const ParsedStateFile file = parseStateFile(installation.state());
    ASSERT_EQ(file.entities.size(), 1u);
    EXPECT_EQ(file.entities[0].path, log.path);
    EXPECT_EQ(file.entities[0].offset, 5);
}

TEST(Lathwind, TakesAHandOverRecordOfAnyLength) {
    const Installation installation(9);
    const std::string state = installation.state();
    const std::string record = handOver(installation.serviceLog(), 3) + std::string(500, '\xFF');
    const std::size_t lengths[] = {0, 1, 2, 3, 40, 41, 1024, 1025, 1026, 1028, 1029, 4364, 4365};
    for (const std::size_t length : lengths) {
        installation.writeState(state);
        installation.root.write("IPS/agentfilepointer", record.substr(0, length));
        EXPECT_EQ(installation.run({L"-c"}).exitCode, 0) << length;
        EXPECT_EQ(installation.run({L"-v"}).exitCode, 0) << length;
        const ParsedStateFile file = parseStateFile(installation.state());
        EXPECT_EQ(file.entities.size(), 10u) << length;
        if (length >= 1026) {
            EXPECT_EQ(installation.run({L"-v"}).output.find("Log Offset: 3\n") != std::string::npos,
                      true)
                << length;
        }
    }
    const std::string noTerminator(1 + tool::kAgentFilePointerBytes, 'x');
    installation.writeState(state);
    installation.root.write("IPS/agentfilepointer", noTerminator);
    EXPECT_EQ(installation.run({L"-c"}).exitCode, 0);
}

TEST(Lathwind, DeletesTheFileAndItsTwin) {
    const char* const done = "Delete FileWatch.dat and FileWatch.dat.tmp.\n";
    for (const bool both : {false, true}) {
        const Installation installation;
        if (both) {
            installation.writeState("x");
            installation.root.write("IDS/bin/FileWatch.dat.tmp", "y");
            std::filesystem::permissions(installation.root.native("IDS/bin/FileWatch.dat.tmp"),
                                         std::filesystem::perms::owner_read);
        }
        const ToolRun run = installation.run({});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.output, done);
        EXPECT_FALSE(installation.hasState());
        EXPECT_FALSE(installation.root.exists("IDS/bin/FileWatch.dat.tmp"));
    }
}

TEST(Lathwind, StandsAFolderInTheFilesPlace) {
    const Installation installation;
    installation.root.makeFolder("IDS/bin/FileWatch.dat");
    EXPECT_EQ(installation.run({L"-v"}).output, "No FileWatch.dat to upgrade.\n");
    EXPECT_EQ(installation.run({L"-c"}).output, "There is no FileWatch.dat to upgrade.\n");
    // A place that cannot be written passes without a word.
    EXPECT_EQ(installation.run({L"-i"}).exitCode, 0);
    const ToolRun run = installation.run({});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_EQ(run.output, "FAILED to delete FileWatch.dat and/or FileWatch.dat.tmp.\n");
    EXPECT_TRUE(std::filesystem::is_directory(installation.root.native("IDS/bin/FileWatch.dat")));
}

#ifndef _WIN32
TEST(Lathwind, ReadsNoDeviceInTheFilesPlace) {
    const Installation installation;
    std::filesystem::create_symlink("/dev/zero", installation.root.native("IDS/bin/FileWatch.dat"));
    EXPECT_EQ(installation.run({L"-v"}).output, "No FileWatch.dat to upgrade.\n");
    EXPECT_EQ(installation.run({L"-c"}).output, "There is no FileWatch.dat to upgrade.\n");
}
#endif

TEST(Lathwind, LogsWhatTheSwitchesAskFor) {
    const Installation installation(7);
    installation.root.write("IDS/system/LocalAgent.ini", "[Log Debugs]\nFilewatch Collector=1\n");
    EXPECT_EQ(installation.run({L"-v"}).output, readGolden(7, "view.txt"));
    const std::string log = installation.root.read("IDS/log/QVRIDSService.log");
    EXPECT_NE(log.find("-------------- MountManager::ShowInfo called --------------"),
              std::string::npos);
    EXPECT_NE(log.find("\tFilewatch Collector\t.\\src\\filewatch\\"), std::string::npos);
}

TEST(Lathwind, WorksWithoutALog) {
    const Installation installation(7);
    installation.root.write("IDS/log", "a file where the log's folder should be");
    installation.root.write("IDS/system/LocalAgent.ini", "[Log Debugs]\nFilewatch Collector=1\n");
    EXPECT_EQ(installation.run({L"-v"}).output, readGolden(7, "view.txt"));
    EXPECT_EQ(installation.run({L"-c"}).exitCode, 0);
    EXPECT_EQ(parseStateFile(installation.state()).version, 12);
}

TEST(Lathwind, ShowsProgressOnATerminalOnly) {
    const Installation installation(9);
    installation.root.write("rvmklog/QVRIPSService.log", std::string(6 << 20, 'x'));
    const std::string state = installation.state();
    EXPECT_EQ(installation.run({L"-c"}).error, "");
    installation.writeState(state);
    const ToolRun run = installation.run({L"-c"}, 1000);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.output, " Writing a zero into the file\n Writing some state\n");
    EXPECT_NE(run.error.find("\rWriting entities: 9 of 10, 2 MiB of the next file read"),
              std::string::npos)
        << run.error;
    EXPECT_EQ(run.error.back(), '\r');
    // In less than two seconds nothing is shown.
    installation.writeState(state);
    EXPECT_EQ(installation.run({L"-c"}, 1).error, "");
}

}  // namespace
}  // namespace lathwind::testing
