#include <filesystem>
#include <gtest/gtest.h>

#include "plugins/FileDiff.h"
#include "plugins/FileDiffState.h"
#include "support/BinaryFolder.h"
#include "support/LogCapture.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::LogCapture;
using testing::TempDir;

ByteArray bytesOf(std::string_view text) {
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

std::wstring typeOf(FileDiff& module, const std::wstring& path) {
    FileDiffState state;
    const bool covered = module.lookup(path, state);
    EXPECT_EQ(covered, state.hasFilter()) << narrow(path);
    return state.diffType;
}

TEST(FileDiff, PatternsAndTheirOrder) {
    const struct {
        std::vector<DiffRule> rules;
        std::wstring path;
        std::wstring type;
    } rows[] = {
        {{{L"*.INI", L"Ini"}}, L"C:\\a\\B.Ini", L"ini"},
        {{{L"*.ini", L"ini"}}, L"c:\\a\\b.ini.bak", L""},
        {{{L"*.c", L"txt"}}, L"c:\\a\\b.c", L"txt"},
        {{{L"*.", L"txt"}}, L"c:\\a\\b", L""},
        // Masks: more than three characters, a further wildcard, a further dot.
        {{{L"*.conf", L"txt"}}, L"c:\\a\\b.conf", L"txt"},
        {{{L"*.i?i", L"txt"}}, L"c:\\a\\b.ixi", L"txt"},
        {{{L"*.a.b", L"txt"}}, L"c:\\a\\x.a.b", L"txt"},
        {{{L"host*", L"txt"}}, L"c:\\a\\hosts", L"txt"},
        {{{L"host*", L"txt"}}, L"c:\\hosts\\a", L""},
        {{{L"c:\\a\\*", L"txt"}}, L"C:\\A\\b\\c", L"txt"},
        {{{L"c:/a/*", L"txt"}}, L"c:\\a\\b", L"txt"},
        {{{L"/a/*", L"txt"}}, L"/a/b", L"txt"},
        {{{L"*\\a\\*.log", L"txt"}}, L"c:\\x\\a\\b.log", L"txt"},
        // Literals.
        {{{L"C:\\a\\hosts", L"txt"}}, L"c:\\a\\HOSTS", L"txt"},
        {{{L"C:\\a\\hosts", L"txt"}}, L"c:\\b\\hosts", L""},
        {{{L"Hosts", L"txt"}}, L"c:\\b\\hosts", L"txt"},
        {{{L"hosts", L"txt"}}, L"c:\\hosts\\b", L""},
        {{{L"win.ini", L"txt"}}, L"c:\\win.ini", L"txt"},
        // Extension, path, mask of paths, mask of names, each before the next.
        {{{L"c:\\a\\x.ini", L"txt"}, {L"*.ini", L"ini"}}, L"c:\\a\\x.ini", L"ini"},
        {{{L"c:\\a\\*", L"txt"}, {L"c:\\a\\x.ini", L"ini"}}, L"c:\\a\\x.ini", L"ini"},
        {{{L"x*", L"txt"}, {L"c:\\a\\*", L"ini"}}, L"c:\\a\\x.ini", L"ini"},
        {{{L"x*", L"txt"}, {L"x.*", L"ini"}}, L"c:\\a\\x.ini", L"txt"},
        {{{L"*.ini", L"txt"}, {L"*.INI", L"ini"}}, L"c:\\a\\x.ini", L"ini"},
        {{}, L"c:\\a\\x.ini", L""},
    };
    for (const auto& row : rows) {
        FileDiff module;
        module.configure(row.rules);
        EXPECT_EQ(typeOf(module, row.path), row.type)
            << (row.rules.empty() ? "" : narrow(row.rules.front().pattern));
    }
}

TEST(FileDiff, RulesAreReplaced) {
    FileDiff module;
    module.configure({{L"*.ini", L"ini"}, {L"c:\\*", L"txt"}, {L"hosts", L"txt"}});
    FileDiffState state;
    ASSERT_TRUE(module.lookup(L"c:\\a.ini", state));
    state.contents = std::make_unique<ByteArray>(bytesOf("[a]"));
    EXPECT_TRUE(module.lookup(L"c:\\a.ini", state));
    EXPECT_TRUE(state.holdsContents()) << "the same type";
    module.configure({{L"a.*", L"txt"}});
    EXPECT_TRUE(module.lookup(L"c:\\a.ini", state));
    EXPECT_EQ(state.diffType, L"txt");
    EXPECT_FALSE(state.holdsContents()) << "another type";
    state.contents = std::make_unique<ByteArray>(bytesOf("a"));
    module.configure({});
    EXPECT_FALSE(module.lookup(L"c:\\a.ini", state));
    EXPECT_FALSE(state.holdsContents());
    EXPECT_FALSE(state.hasFilter());
    EXPECT_EQ(state.diffType, L"");
}

TEST(FileDiff, IsText) {
    const struct {
        std::string bytes;
        bool isText;
    } rows[] = {
        {"", true},
        {" ~\t\r\n", true},
        {std::string(1, '\0'), false},
        {"\x1F", false},
        {"\x7F", false},
        {"\xE4", false},
        {std::string(127, 'a') + '\0', false},
        {std::string(128, 'a') + '\0', true},
    };
    const TempDir folder;
    FileDiff module;
    FileDiffState state;
    for (const auto& row : rows) {
        folder.write("file", row.bytes);
        EXPECT_EQ(module.isText(folder.path(L"file"), state), row.isText) << row.bytes;
        EXPECT_EQ(state.isBinary, !row.isText);
    }
    EXPECT_TRUE(module.isText(folder.path(L"none"), state));
}

// A filter that gives what the new contents are.
class Echo : public DiffFilter {
public:
    std::wstring run(void*&, const ByteArray&, const ByteArray& current) const override {
        if (current.GetLength() == 0) {
            throw std::bad_alloc();
        }
        if (current.GetLength() > 10) {
            throw std::length_error("echo");
        }
        return widenAscii({reinterpret_cast<const char*>(current.GetData()),
                           static_cast<std::size_t>(current.GetLength())});
    }
    void release(void*) const override {}
};

TEST(FileDiff, ResultLosesEmptyLastLines) {
    const Echo echo;
    FileDiffState state;
    EXPECT_EQ(state.diff(bytesOf("a"), bytesOf("b")), L"") << "without a filter";
    state.setFilter(L"echo", &echo);
    EXPECT_EQ(state.diff({}, bytesOf("a\n\nb\n\n\n")), L"a\n\nb\n");
    EXPECT_EQ(state.diff({}, bytesOf("a")), L"a");
    EXPECT_EQ(state.diff({}, bytesOf("\n\n")), L"");
    const LogCapture log;
    EXPECT_EQ(state.diff({}, {}), L"");
    EXPECT_TRUE(log.hasDebug(L"Out of memory for a diff of type echo"));
    EXPECT_EQ(state.diff({}, bytesOf("eleven bytes")), L"");
    EXPECT_TRUE(log.hasDebug(L"A diff of type echo is too long"));
}

class FileDiffPlugins : public ::testing::Test {
protected:
    static std::string fileName(const std::string& type) {
        return "filediff_" + type + narrow(platform::libraries().suffix());
    }
    static std::wstring library(const std::string& type) { return widenAscii(fileName(type)); }
    void install(const std::string& from, const std::string& type) {
        std::filesystem::copy_file(std::filesystem::path(from) / fileName(type),
                                   installation.root.native("bin/" + fileName(type)));
    }
    // Why a rule of that type is refused.
    std::vector<std::wstring> linesOf(const std::wstring& type) {
        LogCapture log;
        FileDiff module;
        module.configure({{L"*.x", type}});
        EXPECT_EQ(typeOf(module, L"c:\\a.x"), L"");
        EXPECT_EQ(log.messages,
                  (std::vector<LogCapture::Message>{
                      {Severity::Warning,
                       L"FWC_0024:  Failed to find or to load file diff plugin for type: " +
                           toLower(type)}}));
        return log.takeDebug();
    }

    const testing::BinaryFolder installation;
};

TEST_F(FileDiffPlugins, SampleIsLoadedRunAndFreed) {
    install(LATHWIND_PLUGINS, "sample");
    const LogCapture log;
    FileDiff module;
    module.configure({{L"*.bin", L"Sample"}, {L"*.dat", L"sample"}});
    FileDiffState state;
    ASSERT_TRUE(module.lookup(L"c:\\a.bin", state));
    EXPECT_EQ(state.diffType, L"sample");
    EXPECT_EQ(state.diff(bytesOf("a\nb"), bytesOf("a\nb")), L"");
    EXPECT_EQ(state.diff(bytesOf("a\nb"), bytesOf("a\nc\nd\n")),
              L"Lines: 1 -> 3\nBytes: 3 -> 6\nChange 1, from byte 2 on\n");
    EXPECT_EQ(state.diff(bytesOf("a\n"), {}),
              L"Lines: 1 -> 0\nBytes: 2 -> 0\nChange 2, from byte 0 on\n");
    FileDiffState copy(state);
    EXPECT_EQ(copy.diff(bytesOf("a"), bytesOf("b")),
              L"Lines: 0 -> 0\nBytes: 1 -> 1\nChange 1, from byte 0 on\n");
    module.configure({});
    EXPECT_FALSE(module.lookup(L"c:\\a.bin", state)) << "and the state is released";
    module.configure({{L"*.bin", L"sample"}});
    ASSERT_TRUE(module.lookup(L"c:\\a.bin", state));
    EXPECT_EQ(state.diff(bytesOf("a"), bytesOf("b")),
              L"Lines: 0 -> 0\nBytes: 1 -> 1\nChange 1, from byte 0 on\n");
    EXPECT_TRUE(log.debugLines.empty());
    EXPECT_TRUE(log.messages.empty());
}

TEST_F(FileDiffPlugins, WhatIsRefused) {
    install(LATHWIND_BROKEN_PLUGINS, "other");
    install(LATHWIND_BROKEN_PLUGINS, "nofree");
    installation.root.write("bin/" + fileName("text"), "no library");
    const auto refused = [](const wchar_t* text, const std::wstring& name) {
        return std::vector<std::wstring>{format(text, name)};
    };
    EXPECT_EQ(linesOf(L"None"),
              refused(L"FileDiff plugin does not exist in bin/ directory: %ls", library("none")));
    for (const char* type : {"a\\..\\..\\other", "a/../../other", "a:other", "..\\other"}) {
        EXPECT_EQ(linesOf(widenAscii(type)),
                  refused(L"FileDiff plugin must reside in bin/ directory: %ls", library(type)));
    }
    EXPECT_EQ(
        linesOf(L"other"),
        refused(L"FileDiff plugin (%ls) has interface version 2, expected 1", library("other")));
    const std::vector<std::wstring> noFree = linesOf(L"nofree");
    ASSERT_EQ(noFree.size(), 1u);
    EXPECT_TRUE(noFree.front().starts_with(
        format(L"Failed to load Free API from FileDiff plugin (%ls): ", library("nofree"))));
    const std::vector<std::wstring> noLibrary = linesOf(L"text");
    ASSERT_EQ(noLibrary.size(), 1u);
    EXPECT_TRUE(noLibrary.front().starts_with(
        format(L"Failed to load FileDiff plugin (%ls): ", library("text"))));
}

// One warning a type and configuration; the rules of other types stand.
TEST_F(FileDiffPlugins, WarningsOfAMissingType) {
    LogCapture log;
    FileDiff module;
    const std::vector<DiffRule> rules = {{L"*.a", L"none"}, {L"*.b", L"txt"}, {L"*.c", L"NONE"}};
    module.configure(rules);
    EXPECT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(typeOf(module, L"x.b"), L"txt");
    module.configure(rules);
    EXPECT_EQ(log.messages.size(), 2u);
}

TEST_F(FileDiffPlugins, WhatABrokenPluginGives) {
    install(LATHWIND_BROKEN_PLUGINS, "broken");
    const std::wstring name = library("broken");
    FileDiff module;
    module.configure({{L"*.x", L"broken"}});
    FileDiffState state;
    ASSERT_TRUE(module.lookup(L"c:\\a.x", state));
    const struct {
        const char* fault;
        std::wstring text;
        std::wstring line;
    } rows[] = {
        {"e", L"", L"FileDiff plugin (" + name + L") failed with -7"},
        {"n", L"", L"FileDiff plugin (" + name + L") wrote a result that cannot be taken"},
        {"m", L"", L"FileDiff plugin (" + name + L") wrote a result that cannot be taken"},
        {"c", L"", L""},
        {"u", L"a\u00E4\uFFFD\uFFFD\n\nb\n", L""},
    };
    for (const auto& row : rows) {
        LogCapture log;
        EXPECT_EQ(state.diff({}, bytesOf(row.fault)), row.text) << row.fault;
        const std::vector<std::wstring> expected =
            row.line.empty() ? std::vector<std::wstring>{} : std::vector<std::wstring>{row.line};
        EXPECT_EQ(log.debugLines, expected) << row.fault;
    }
}

}  // namespace
}  // namespace lathwind
