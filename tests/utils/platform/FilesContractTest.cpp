#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <map>

#include "support/TempDir.h"
#include "support/Wine.h"
#include "utils/Text.h"
#include "utils/platform/Files.h"
#include "utils/platform/PlatformFactory.h"

// What every platform's Files promises.
namespace lathwind {
namespace {

namespace attribute = platform::attribute;
namespace error = platform::error;
using platform::ErrorCode;
using platform::Files;
using testing::runsUnderWine;
using testing::TempDir;

class FilesContract : public ::testing::Test {
protected:
    Files& files = platform::files();
    TempDir folder;

    ErrorCode query(std::wstring_view name) {
        platform::FileFacts facts;
        return files.query(folder.path(name), facts);
    }
    std::uint32_t attributesOf(std::wstring_view name) {
        platform::FileFacts facts;
        EXPECT_EQ(files.query(folder.path(name), facts), error::Success);
        return facts.attributes;
    }
    std::map<std::wstring, std::uint32_t> listed(std::wstring_view pattern) {
        std::map<std::wstring, std::uint32_t> names;
        files.enumerate(folder.path(pattern), [&](const platform::DirectoryEntry& entry) {
            names[entry.name] = entry.attributes;
            return true;
        });
        return names;
    }
    static std::string contents(std::FILE* stream) {
        std::string text(100, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), stream));
        return text;
    }
};

TEST_F(FilesContract, FactsOfAFileAndAFolder) {
    folder.write("file.txt", "12345");
    platform::FileFacts facts;
    ASSERT_EQ(files.query(folder.path(L"file.txt"), facts), error::Success);
    EXPECT_EQ(facts.size, 5u);
    EXPECT_EQ(facts.attributes & (attribute::Directory | attribute::ReadOnly), 0u);
    const std::int64_t now = platform::host().currentTimeMs() * 10'000 + 116'444'736'000'000'000;
    for (const std::uint64_t time : {facts.creationTime, facts.accessTime, facts.modifiedTime}) {
        EXPECT_NEAR(static_cast<double>(time), static_cast<double>(now), 60e7);  // a minute
    }
    ASSERT_EQ(files.query(folder.path(), facts), error::Success);
    EXPECT_NE(facts.attributes & attribute::Directory, 0u);
}

TEST_F(FilesContract, WhatIsMissingIsToldFromWhereItIsMissing) {
    folder.write("file.txt", "");
    EXPECT_EQ(query(L"none.txt"), error::FileNotFound);
    EXPECT_EQ(query(L"none\\file.txt"), error::PathNotFound);
    EXPECT_EQ(query(L"file.txt\\below"), error::PathNotFound);
    platform::FileFacts facts;
    EXPECT_EQ(files.query(L"", facts), error::PathNotFound);
    EXPECT_EQ(files.remove(folder.path(L"none.txt")), error::FileNotFound);
    EXPECT_EQ(files.setAttributes(folder.path(L"none.txt"), attribute::Normal),
              error::FileNotFound);
    EXPECT_EQ(files.createDirectory(folder.path(L"a\\b")), error::PathNotFound);
    EXPECT_EQ(files.copy(folder.path(L"none.txt"), folder.path(L"to"), false), error::FileNotFound);
    EXPECT_EQ(files.move(folder.path(L"none.txt"), folder.path(L"to"), 0), error::FileNotFound);
    EXPECT_EQ(files.move(folder.path(L"file.txt"), folder.path(L"no\\to"), 0), error::PathNotFound);
    EXPECT_EQ(files.openStream(folder.path(L"none.txt"), L"rb", platform::Sharing::Default),
              nullptr);
}

TEST_F(FilesContract, NamesAreFoundInAnyCase) {
    folder.write("Mixed/Name.TXT", "x");
    folder.write("Mixed/\xC3\x84rger.txt", "yy");
    for (const wchar_t* name :
         {L"Mixed\\Name.TXT", L"mixed\\name.txt", L"MIXED\\NAME.TXT", L"mixed\\\u00E4RGER.txt"}) {
        EXPECT_EQ(query(name), error::Success) << narrow(name);
    }
    EXPECT_EQ(query(L"mixed\\none"), error::FileNotFound);
    EXPECT_EQ(query(L"mixed\\name.txt\\none"), error::PathNotFound);
    EXPECT_EQ(files.createDirectory(folder.path(L"MIXED\\New")), error::Success);
    EXPECT_TRUE(folder.exists("Mixed/New"));
}

TEST_F(FilesContract, PairsOfSurrogatesNameOneCharacter) {
    const std::wstring name{L'a', static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)};
    folder.write("a\xF0\x9F\x98\x80", "face");
    EXPECT_EQ(query(name), error::Success);
    EXPECT_EQ(listed(L"*").count(name), 1u);
}

TEST_F(FilesContract, ReadOnlyFilesAreNotRemovedBeforeTheyAreWritable) {
    folder.write("file", "keep");
    const std::wstring path = folder.path(L"file");
    ASSERT_EQ(files.setAttributes(path, attribute::ReadOnly), error::Success);
    EXPECT_NE(attributesOf(L"file") & attribute::ReadOnly, 0u);
    EXPECT_EQ(files.remove(path), error::AccessDenied);
    folder.write("other", "new");
    if (!runsUnderWine()) {  // which asks the permissions below it, and those do not bind root
        EXPECT_EQ(files.copy(folder.path(L"other"), path, false), error::AccessDenied);
        EXPECT_EQ(folder.read("file"), "keep");
    }
    ASSERT_EQ(files.setAttributes(path, attribute::Normal), error::Success);
    EXPECT_EQ(attributesOf(L"file") & attribute::ReadOnly, 0u);
    EXPECT_EQ(files.remove(path), error::Success);
    EXPECT_FALSE(folder.exists("file"));
}

TEST_F(FilesContract, FoldersAreNotRemovedAsFilesNorFilesAsFolders) {
    folder.makeFolder("full/sub");
    folder.write("file", "");
    EXPECT_EQ(files.remove(folder.path(L"full")), error::AccessDenied);
    EXPECT_EQ(files.removeDirectory(folder.path(L"full")), error::DirectoryNotEmpty);
    EXPECT_EQ(files.removeDirectory(folder.path(L"file")), error::Directory);
    EXPECT_EQ(files.removeDirectory(folder.path(L"full\\sub")), error::Success);
    EXPECT_EQ(files.removeDirectory(folder.path(L"full")), error::Success);
    EXPECT_EQ(files.removeDirectory(folder.path(L"full")), error::FileNotFound);
    EXPECT_EQ(files.createDirectory(folder.path(L"file")), error::AlreadyExists);
}

TEST_F(FilesContract, Copies) {
    folder.write("from", "new");
    folder.write("to", "a longer old text");
    const std::wstring from = folder.path(L"from");
    EXPECT_EQ(files.copy(from, folder.path(L"to"), true), error::FileExists);
    EXPECT_EQ(folder.read("to"), "a longer old text");
    EXPECT_EQ(files.copy(from, folder.path(L"to"), false), error::Success);
    EXPECT_EQ(folder.read("to"), "new");
    EXPECT_EQ(files.copy(from, folder.path(L"fresh"), true), error::Success);
    EXPECT_EQ(folder.read("fresh"), "new");
    EXPECT_NE(files.copy(from, from, false), error::Success);
    EXPECT_EQ(folder.read("from"), "new");
}

TEST_F(FilesContract, CopiesKeepTheTimeOfChange) {
    folder.write("from", "x");
    std::filesystem::last_write_time(
        folder.native("from"),
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 365));
    ASSERT_EQ(files.copy(folder.path(L"from"), folder.path(L"to"), true), error::Success);
    platform::FileFacts from;
    platform::FileFacts to;
    ASSERT_EQ(files.query(folder.path(L"from"), from), error::Success);
    ASSERT_EQ(files.query(folder.path(L"to"), to), error::Success);
    EXPECT_EQ(from.modifiedTime, to.modifiedTime);
}

TEST_F(FilesContract, Moves) {
    folder.write("from", "new");
    folder.write("to", "old");
    EXPECT_EQ(files.move(folder.path(L"from"), folder.path(L"to"), Files::MoveCopyAllowed),
              error::AlreadyExists);
    EXPECT_EQ(folder.read("to"), "old");
    EXPECT_EQ(files.move(folder.path(L"from"), folder.path(L"to"),
                         Files::MoveCopyAllowed | Files::MoveReplaceExisting),
              error::Success);
    EXPECT_EQ(folder.read("to"), "new");
    EXPECT_FALSE(folder.exists("from"));
    folder.makeFolder("folder");
    EXPECT_EQ(files.move(folder.path(L"to"), folder.path(L"folder"), Files::MoveReplaceExisting),
              error::AccessDenied);
    EXPECT_EQ(files.move(folder.path(L"folder"), folder.path(L"Folder"), 0), error::Success);
    if (!runsUnderWine()) {  // which takes a change of case for no change
        EXPECT_EQ(listed(L"*").count(L"Folder"), 1u);
    }
}

TEST_F(FilesContract, ResizesBothWays) {
    folder.write("file", "12345");
    EXPECT_EQ(files.resize(folder.path(L"file"), 2), error::Success);
    EXPECT_EQ(folder.read("file"), "12");
    EXPECT_EQ(files.resize(folder.path(L"file"), 4), error::Success);
    EXPECT_EQ(folder.read("file"), std::string("12\0\0", 4));
    EXPECT_EQ(files.resize(folder.path(L"none"), 4), error::FileNotFound);
    EXPECT_FALSE(folder.exists("none"));
}

TEST_F(FilesContract, FlushesWhatAnotherHandleHasWritten) {
    std::ofstream writer(folder.native("file"), std::ios::binary);
    writer << "12345" << std::flush;
    EXPECT_EQ(files.flushToDisk(folder.path(L"file")), error::Success);
    EXPECT_EQ(files.flushToDisk(folder.path(L"none")), error::FileNotFound);
    EXPECT_EQ(folder.read("file"), "12345");
}

TEST_F(FilesContract, EnumeratesByMask) {
    for (const char* name : {"one.txt", "TWO.TXT", "three", "four.log"}) {
        folder.write(name, "");
    }
    folder.makeFolder("sub");
    const auto names = [&](std::wstring_view mask) {
        std::wstring joined;
        for (const auto& [name, attributes] : listed(mask)) {
            joined += (joined.empty() ? L"" : L" ") + name;
        }
        return narrow(joined);
    };
    EXPECT_EQ(names(L"*"), ". .. TWO.TXT four.log one.txt sub three");
    EXPECT_EQ(names(L"*.*"), names(L"*"));
    EXPECT_EQ(names(L"*.txt"), "TWO.TXT one.txt");
    EXPECT_EQ(names(L"T*"), "TWO.TXT three");
    EXPECT_EQ(names(L"t?o.txt"), "TWO.TXT");
    EXPECT_EQ(names(L"two.txt"), "TWO.TXT");  // as it is spelled on disk
    EXPECT_EQ(names(L"sub"), "sub");
    EXPECT_NE(listed(L"sub")[L"sub"] & attribute::Directory, 0u);
    EXPECT_EQ(listed(L"three")[L"three"] & attribute::Directory, 0u);
}

TEST_F(FilesContract, EnumerationEnds) {
    folder.write("a", "");
    folder.write("b", "");
    int calls = 0;
    const auto once = [&](const platform::DirectoryEntry&) { return ++calls < 1; };
    EXPECT_EQ(files.enumerate(folder.path(L"*"), once), error::Success);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(files.enumerate(folder.path(L"*.none"), once), error::FileNotFound);
    EXPECT_EQ(files.enumerate(folder.path(L"none"), once), error::FileNotFound);
    EXPECT_EQ(files.enumerate(folder.path(L"none\\*"), once), error::PathNotFound);
    EXPECT_EQ(calls, 1);
}

TEST_F(FilesContract, StreamsOpenInTheModesOfTheRunTime) {
    const std::wstring path = folder.path(L"file");
    struct Step {
        const wchar_t* mode;
        std::string write;
        std::string after;
    };
    for (const Step& step :
         {Step{L"wb", "ab\n", "ab\n"}, Step{L"ab", "c", "ab\nc"}, Step{L"rb+", "X", "Xb\nc"},
          Step{L"a+b", "d", "Xb\ncd"}, Step{L"wb", "", ""}}) {
        std::FILE* stream = files.openStream(path, step.mode, platform::Sharing::ReadWrite);
        ASSERT_NE(stream, nullptr) << narrow(step.mode);
        EXPECT_GE(files.descriptorOf(stream), 0);
        std::fwrite(step.write.data(), 1, step.write.size(), stream);
        EXPECT_EQ(std::fclose(stream), 0);
        EXPECT_EQ(folder.read("file"), step.after) << narrow(step.mode);
    }
    EXPECT_EQ(files.openStream(folder.path(), L"rb", platform::Sharing::Default), nullptr);
}

TEST_F(FilesContract, StreamPositionsHave64Bits) {
    folder.write("file", "0123456789");
    std::FILE* stream = files.openStream(folder.path(L"FILE"), L"rb", platform::Sharing::Default);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(files.seekStream(stream, 5'000'000'000, SEEK_SET), 0);
    EXPECT_EQ(files.tellStream(stream), 5'000'000'000);
    EXPECT_EQ(files.seekStream(stream, -3, SEEK_END), 0);
    EXPECT_EQ(contents(stream), "789");
    EXPECT_NE(files.seekStream(stream, -1, SEEK_SET), 0);
    std::fclose(stream);
}

TEST_F(FilesContract, CurrentDirectoryCarriesRelativePaths) {
    std::wstring before;
    ASSERT_EQ(files.currentDirectory(before), error::Success);
    folder.write("sub/here.txt", "x");
    ASSERT_EQ(files.setCurrentDirectory(narrow(folder.path(L"sub"))), error::Success);
    std::wstring now;
    platform::FileFacts facts;
    const ErrorCode asked = files.currentDirectory(now);
    const ErrorCode exact = files.query(L"here.txt", facts);
    const ErrorCode folded = files.query(L"..\\SUB\\HERE.TXT", facts);
    ASSERT_EQ(files.setCurrentDirectory(narrow(before)), error::Success);
    EXPECT_EQ(asked, error::Success);
    EXPECT_TRUE(equalsNoCase(now, folder.path(L"sub"))) << narrow(now);
    EXPECT_EQ(exact, error::Success);
    EXPECT_EQ(folded, error::Success);
    EXPECT_NE(files.setCurrentDirectory(narrow(folder.path(L"none"))), error::Success);
}

TEST_F(FilesContract, NativePathReachesTheSameFile) {
    folder.write("Sub/File", "x");
    EXPECT_TRUE(std::filesystem::equivalent(files.nativePath(folder.path(L"SUB\\file")),
                                            folder.native("Sub/File")));
    std::ofstream(files.nativePath(folder.path(L"sub\\New"))) << "y";
    EXPECT_EQ(folder.read("Sub/New"), "y");
}

TEST_F(FilesContract, SecurityHasAnOwnerAGroupAndAText) {
    folder.write("file", "");
    ErrorCode code = error::GenFailure;
    const auto descriptor = files.readSecurity(
        folder.path(L"FILE"),
        platform::security::Owner | platform::security::Group | platform::security::Dacl, code);
    ASSERT_NE(descriptor, nullptr) << code;
    std::wstring owner;
    std::wstring group;
    std::wstring text;
    EXPECT_EQ(descriptor->owner(owner), error::Success);
    EXPECT_EQ(descriptor->group(group), error::Success);
    EXPECT_TRUE(owner.starts_with(L"S-1-")) << narrow(owner);
    EXPECT_TRUE(group.starts_with(L"S-1-")) << narrow(group);
    ASSERT_EQ(descriptor->toSddl(platform::security::Dacl, text), error::Success);
    EXPECT_TRUE(text.starts_with(L"D:")) << narrow(text);
    EXPECT_EQ(files.readSecurity(folder.path(L"none"), platform::security::Owner, code), nullptr);
    EXPECT_EQ(code, error::FileNotFound);
}

// A survey tells what the single questions tell, by a name of any case.
TEST_F(FilesContract, ASurveyIsAllAnswersInOne) {
    constexpr std::uint32_t kParts =
        platform::security::Owner | platform::security::Group | platform::security::Dacl;
    folder.write("file", "contents");
    platform::FileFacts facts;
    ASSERT_EQ(files.query(folder.path(L"file"), facts), error::Success);
    ErrorCode code = error::GenFailure;
    const auto descriptor = files.readSecurity(folder.path(L"file"), kParts, code);
    platform::Survey survey;
    ASSERT_EQ(files.survey(folder.path(L"FILE"), kParts, survey), error::Success);
    EXPECT_EQ(survey.facts.size, 8u);
    EXPECT_EQ(survey.facts.modifiedTime, facts.modifiedTime);
    EXPECT_EQ(survey.facts.attributes, facts.attributes);
    ASSERT_TRUE(descriptor != nullptr && survey.security != nullptr) << survey.securityCode;
    for (const auto part :
         {&platform::SecurityDescriptor::owner, &platform::SecurityDescriptor::group}) {
        std::wstring one;
        std::wstring other;
        EXPECT_EQ(((*descriptor).*part)(one), ((*survey.security).*part)(other));
        EXPECT_EQ(one, other);
    }
    std::wstring text;
    std::wstring surveyed;
    EXPECT_EQ(descriptor->toSddl(kParts, text), survey.security->toSddl(kParts, surveyed));
    EXPECT_EQ(text, surveyed);
    EXPECT_TRUE(survey.attributes.empty());
    platform::Survey missing;
    EXPECT_EQ(files.survey(folder.path(L"none"), kParts, missing), error::FileNotFound);
    EXPECT_EQ(missing.security, nullptr);
}

TEST_F(FilesContract, BackupStreamOfAPlainFileHoldsNoAttributes) {
    folder.write("file", "contents");
    ErrorCode code = error::GenFailure;
    const auto reader = files.openBackup(folder.path(L"file"), code);
    ASSERT_NE(reader, nullptr) << code;
    unsigned char header[20];
    std::uint32_t got = 0;
    while (reader->read(header, sizeof header, got) == error::Success && got == sizeof header) {
        EXPECT_NE(header[0], 2) << "a stream of extended attributes";
        std::uint64_t size = 0;
        for (std::size_t i = 16; i-- > 8;) {
            size = size << 8 | header[i];
        }
        ASSERT_EQ(reader->skip(size), error::Success);
    }
    reader->finish();
    EXPECT_EQ(files.openBackup(folder.path(L"none"), code), nullptr);
    EXPECT_EQ(code, error::FileNotFound);
}

}  // namespace
}  // namespace lathwind
