#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "support/TempDir.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"
#include "utils/posix/FileMover.h"
#include "utils/posix/ModeSddl.h"

// What only this system has: links, pipes, mode bits, extended attributes of any file.
namespace lathwind {
namespace {

namespace attribute = platform::attribute;
namespace error = platform::error;
namespace fs = std::filesystem;
namespace security = platform::security;
using platform::ErrorCode;
using testing::TempDir;

class PosixFiles : public ::testing::Test {
protected:
    platform::Files& files = platform::files();
    TempDir folder;

    mode_t modeOf(std::string_view name) {
        struct stat facts {};
        EXPECT_EQ(::stat(folder.native(name).c_str(), &facts), 0);
        return facts.st_mode & 07777;
    }
};

TEST_F(PosixFiles, NothingBehindALinkIsChangedThroughIt) {
    folder.write("sub/file", "keep");
    fs::permissions(folder.native("sub/file"), fs::perms(0444));
    fs::create_symlink("sub/file", folder.native("link"));
    fs::create_symlink("sub", folder.native("way"));
    fs::create_symlink("nowhere", folder.native("dangling"));

    platform::FileFacts facts;
    EXPECT_EQ(files.query(folder.path(L"link"), facts), error::Success);
    EXPECT_EQ(facts.size, 4u);
    EXPECT_EQ(files.query(folder.path(L"dangling"), facts), error::FileNotFound);
    EXPECT_EQ(files.setAttributes(folder.path(L"link"), attribute::Normal), error::Success);
    EXPECT_EQ(modeOf("sub/file"), mode_t{0444});
    EXPECT_EQ(files.remove(folder.path(L"link")), error::Success);
    EXPECT_EQ(files.remove(folder.path(L"dangling")), error::Success);
    EXPECT_EQ(files.remove(folder.path(L"way")), error::AccessDenied);

    std::uint32_t seen = 0;
    EXPECT_EQ(files.enumerate(folder.path(L"way"),
                              [&](const platform::DirectoryEntry& entry) {
                                  seen = entry.attributes;
                                  return entry.reparseTag == 0xA000000C;
                              }),
              error::Success);
    EXPECT_EQ(seen, attribute::ReparsePoint | attribute::Directory);
    EXPECT_EQ(files.removeDirectory(folder.path(L"way")), error::Success);
    EXPECT_EQ(folder.read("sub/file"), "keep");
}

TEST_F(PosixFiles, APipeOrDeviceHoldsNobodyUp) {
    ASSERT_EQ(::mkfifo(folder.native("pipe").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", folder.native("link"));
    const std::pair<std::wstring, const wchar_t*> refused[] = {
        {folder.path(L"pipe"), L"rb"}, {folder.path(L"pipe"), L"wb"}, {folder.path(L"pipe"), L"r+"},
        {L"c:\\dev\\zero", L"rb"},     {L"c:\\dev\\null", L"r+"},     {folder.path(L"link"), L"rb"},
    };
    for (const auto& [path, mode] : refused) {
        errno = 0;
        EXPECT_EQ(files.openStream(path, mode, platform::Sharing::Default), nullptr) << path;
        EXPECT_EQ(errno, EACCES) << path;
    }
    std::FILE* sink = files.openStream(L"c:\\dev\\null", L"ab", platform::Sharing::Default);
    ASSERT_NE(sink, nullptr);
    EXPECT_GE(std::fputs("gone", sink), 0);
    EXPECT_EQ(std::fclose(sink), 0);
    EXPECT_EQ(files.copy(folder.path(L"pipe"), folder.path(L"to"), false), error::AccessDenied);
    EXPECT_FALSE(folder.exists("to"));
}

TEST_F(PosixFiles, SecurityIsReadAndPutBack) {
    folder.write("file", "");
    const std::wstring path = folder.path(L"file");
    for (const mode_t mode : {0640u, 0755u, 04711u, 0u}) {
        ASSERT_EQ(
            files.writeSecurity(path, security::Dacl,
                                posix::toSddl({::geteuid(), ::getegid(), mode}, security::Dacl)),
            error::Success);
        EXPECT_EQ(modeOf("file"), mode);
        ErrorCode code = error::GenFailure;
        const auto descriptor = files.readSecurity(path, security::Owner | security::Dacl, code);
        ASSERT_NE(descriptor, nullptr);
        std::wstring text;
        EXPECT_EQ(descriptor->toSddl(23, text), error::Success);
        EXPECT_EQ(text, posix::toSddl({::geteuid(), 0, mode}, security::Owner) +
                            posix::toSddl({::geteuid(), ::getegid(), mode}, security::Dacl));
        EXPECT_NE(descriptor->group(text), error::Success);  // was not asked for
    }
    EXPECT_EQ(files.writeSecurity(path, security::Dacl, L"D:(A;;FA;;;BA)"), error::NotSupported);
    EXPECT_EQ(modeOf("file"), mode_t{0});
}

TEST_F(PosixFiles, ExtendedAttributesAreTheSecondBackupStream) {
    folder.write("file", std::string(5000, 'd'));
    const std::string native = folder.native("file").string();
    if (::setxattr(native.c_str(), "user.note", "value", 5, 0) != 0) {
        GTEST_SKIP() << "the file system keeps no extended attributes";
    }
    ErrorCode code = error::GenFailure;
    auto reader = files.openBackup(folder.path(L"FILE"), code);
    ASSERT_NE(reader, nullptr) << code;
    const auto read = [&](std::uint32_t count) {
        std::string bytes(count, '\xEE');
        std::uint32_t got = 0;
        EXPECT_EQ(reader->read(bytes.data(), count, got), error::Success);
        bytes.resize(got);
        return bytes;
    };
    const auto header = [](char id, char low, char high) {
        std::string bytes(20, '\0');
        bytes[0] = id;
        bytes[8] = low;
        bytes[9] = high;
        return bytes;
    };
    EXPECT_EQ(read(20), header(1, '\x88', '\x13'));
    EXPECT_EQ(read(2), "dd");
    EXPECT_EQ(reader->skip(4998), error::Success);
    EXPECT_EQ(read(20), header(2, 18, 0));
    EXPECT_EQ(read(100), std::string("\0\0\0\0\0\4\5\0note\0value", 18));
    EXPECT_EQ(read(20), "");
    EXPECT_EQ(reader->skip(1), error::HandleEof);
    EXPECT_EQ(reader->finish(), error::Success);
}

// Long values and lists of names too, and the texts of one file are not those of the next.
TEST_F(PosixFiles, SurveysListAttributesAndKeepFilesApart) {
    folder.write("file", "");
    folder.write("other", "");
    fs::permissions(folder.native("other"), fs::perms(0600));
    fs::permissions(folder.native("file"), fs::perms(0640));
    const std::string native = folder.native("file").string();
    platform::ExtendedAttributes expected;
    for (const char digit : std::string("0123456789")) {
        const std::string name = std::string(120, 'n') + digit;
        const std::string value(digit == '5' ? 2000 : 3, digit);
        if (::setxattr(native.c_str(), ("user." + name).c_str(), value.data(), value.size(), 0) !=
            0) {
            GTEST_SKIP() << "the file system keeps no extended attributes, or not so many";
        }
        expected.emplace_back(name, value);
    }
    constexpr std::uint32_t kParts = security::Owner | security::Group | security::Dacl;
    for (const mode_t mode : {0640u, 0600u, 0640u}) {
        platform::Survey survey;
        const wchar_t* name = mode == 0640 ? L"FILE" : L"other";
        ASSERT_EQ(files.survey(folder.path(name), kParts, survey), error::Success);
        std::wstring text;
        EXPECT_EQ(survey.security->toSddl(kParts, text), error::Success);
        EXPECT_EQ(text, posix::toSddl({::geteuid(), ::getegid(), mode}, kParts));
        std::sort(survey.attributes.begin(), survey.attributes.end());
        EXPECT_EQ(survey.attributes, mode == 0640 ? expected : platform::ExtendedAttributes());
        EXPECT_EQ(survey.backupCode, error::Success);
    }
    EXPECT_FALSE(files.hasStreams());
}

TEST_F(PosixFiles, MovingAcrossFileSystemsLosesNothing) {
    folder.write("from", "new");
    folder.write("to", "old");
    fs::permissions(folder.native("from"), fs::perms(0751));
    const std::string from = folder.native("from").string();
    const std::string to = folder.native("to").string();
    EXPECT_EQ(posix::moveByCopy(from.c_str(), to, false), EEXIST);
    EXPECT_EQ(folder.read("to"), "old");
    EXPECT_EQ(posix::moveByCopy(from.c_str(), to, true), 0);
    EXPECT_EQ(folder.read("to"), "new");
    EXPECT_EQ(modeOf("to"), mode_t{0751});
    EXPECT_FALSE(folder.exists("from"));
    EXPECT_EQ(posix::moveByCopy(folder.native().c_str(), to, true), EXDEV);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.native()), fs::directory_iterator()), 1);
}

TEST_F(PosixFiles, NamesThatAreNoUtf8AreListed) {
    ASSERT_EQ(::close(::open((folder.native() / "bad\xFF").c_str(), O_CREAT | O_WRONLY, 0600)), 0);
    std::wstring name;
    EXPECT_EQ(files.enumerate(folder.path(L"b*"),
                              [&](const platform::DirectoryEntry& entry) {
                                  name = entry.name;
                                  return true;
                              }),
              error::Success);
    EXPECT_EQ(name, (std::wstring{L'b', L'a', L'd', 0xFFFD}));
    EXPECT_EQ(files.remove(folder.path(name)), error::Success);
}

TEST_F(PosixFiles, AlternateStreamsAreAnEmptyList) {
    folder.write("file", "");
    std::byte buffer[64];
    std::fill(std::begin(buffer), std::end(buffer), std::byte{0xEE});
    ErrorCode code = error::GenFailure;
    EXPECT_EQ(files.queryStreams(folder.path(L"file"), buffer, code),
              platform::Files::StreamQuery::Listed);
    EXPECT_EQ(buffer[4], std::byte{0});
    EXPECT_EQ(files.queryStreams(folder.path(L"none"), buffer, code),
              platform::Files::StreamQuery::OpenFailed);
    EXPECT_EQ(code, error::FileNotFound);
}

}  // namespace
}  // namespace lathwind
