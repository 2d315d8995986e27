#include <gtest/gtest.h>

#include "utils/FileIO.h"

namespace lathwind {
namespace {

TEST(FilePaths, NormalizePath) {
    const struct {
        const wchar_t* path;
        const wchar_t* normal;
    } kCases[] = {
        {L"", L""},
        {L"/", L"C:\\"},
        {L"\\", L"C:\\"},
        {L"/a/b", L"C:\\a\\b"},
        {L"\\a", L"C:\\a"},
        {L"//srv/share", L"\\\\srv\\share"},
        {L"/\\srv", L"\\\\srv"},
        {L"a/b\\../C", L"a\\b\\..\\C"},
        {L"d:/x/", L"d:\\x\\"},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(FileIO::NormalizePath(each.path), each.normal);
        EXPECT_EQ(FileIO::NormalizePath(std::wstring(each.normal)), each.normal);
    }
    EXPECT_EQ(FileIO::NormalizePath(nullptr), L"");
}

TEST(FilePaths, AbsoluteAndUnc) {
    const struct {
        const wchar_t* path;
        bool absolute;
        bool unc;
    } kCases[] = {
        {L"", false, false},   {L"c", false, false},     {L"c:", true, false},
        {L"c:x", true, false}, {L"a\\b", false, false},  {L"..\\x", false, false},
        {L"//", true, true},   {L"\\\\srv", true, true}, {L"/\\s", true, true},
        {L"\\", true, false},  {L"/tmp/x", true, false},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(FileIO::IsAbsolutePath(each.path), each.absolute) << each.path;
        EXPECT_EQ(FileIO::IsUncPath(each.path), each.unc) << each.path;
    }
}

TEST(FilePaths, CollapseParentRefs) {
    const struct {
        const wchar_t* path;
        const wchar_t* collapsed;
    } kCases[] = {
        {L"", L""},
        {L"c:/a/b/../c", L"c:\\a\\c"},
        {L"c:\\a\\b\\..\\..\\c", L"c:\\c"},
        {L"c:\\a\\..", L"c:"},
        {L"c:\\a\\.\\b", L"c:\\a\\.\\b"},
        {L"a\\x\\..\\y", L"a\\y"},
        // Nothing to remove: as it came, slashes too.
        {L"a/..\\b", L"a/..\\b"},
        {L"c:\\..\\x", L"c:\\..\\x"},
        {L"c:/a/../../x", L"c:/a/../../x"},
        {L"..\\x", L"..\\x"},
        // A reference that a removal puts together, and a name that begins with two dots.
        {L"q\\x\\.\\a\\...y\\z", L"qy\\z"},
        {L"c:\\a\\..b", L"c:b"},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(FileIO::CollapseParentRefs(each.path), each.collapsed) << each.path;
    }
}

// The steps as they are told: find the first, look back, remove, start again.
std::wstring collapseSlowly(const std::wstring& path) {
    std::wstring text = FileIO::NormalizePath(path);
    for (std::size_t found; (found = text.find(L"\\..")) != std::wstring::npos;) {
        const std::size_t before = found == 0 ? found : text.rfind(L'\\', found - 1);
        if (found == 0 || before == std::wstring::npos) {
            return path;
        }
        text.erase(before, found + 3 - before);
    }
    return text;
}

// Calls `visit` with every text over `alphabet` of at most `longest` units.
template <class Visit>
void forEachText(const std::wstring& alphabet, std::size_t longest, Visit visit) {
    std::vector<std::wstring> level = {L""};
    for (std::size_t length = 0; length <= longest; ++length) {
        std::vector<std::wstring> next;
        for (const std::wstring& text : level) {
            visit(text);
            for (const wchar_t unit : alphabet) {
                next.push_back(text + unit);
            }
        }
        level = std::move(next);
    }
}

TEST(FilePaths, CollapseAgreesWithTheStepsOnEveryShortPath) {
    forEachText(L"\\.a", 9, [](const std::wstring& path) {
        ASSERT_EQ(FileIO::CollapseParentRefs(path), collapseSlowly(path)) << path;
    });
}

TEST(FilePaths, CollapseIsLinear) {
    std::wstring path = L"c:";
    for (int i = 0; i < 200000; ++i) {
        path += L"\\a";
    }
    for (int i = 0; i < 199999; ++i) {
        path += L"\\..";
    }
    EXPECT_EQ(FileIO::CollapseParentRefs(path), L"c:\\a");
}

TEST(FilePaths, SplitPath) {
    const struct {
        const wchar_t* path;
        const wchar_t* directory;
        const wchar_t* name;
        const wchar_t* extension;
        const wchar_t* fullName;
    } kCases[] = {
        {L"c:\\a\\b.txt", L"c:\\a", L"b", L"txt", L"b.txt"},
        {L"c:\\b.tar.gz", L"c:\\", L"b.tar", L"gz", L"b.tar.gz"},
        {L"c:b.txt", L"c:", L"b", L"txt", L"b.txt"},
        {L"b", L"", L"b", L"", L"b"},
        {L"a.d\\b", L"a.d", L"b", L"", L"b"},
        {L"a/", L"a", L"", L"", L""},
        {L"/a/.x", L"C:\\a", L"", L"x", L".x"},
        {L"a\\b.", L"a", L"b", L"", L"b."},
        {L"\\\\srv\\share\\f.x", L"\\\\srv\\share", L"f", L"x", L"f.x"},
        {L"", L"", L"", L"", L""},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(FileIO::GetDirectory(each.path), each.directory) << each.path;
        EXPECT_EQ(FileIO::GetFileNameWithoutExtension(each.path), each.name) << each.path;
        EXPECT_EQ(FileIO::GetExtension(each.path), each.extension) << each.path;
        EXPECT_EQ(FileIO::GetFileName(each.path), each.fullName) << each.path;
    }
}

bool matchesSlowly(std::wstring_view text, std::wstring_view mask) {
    if (mask.empty()) {
        return text.empty();
    }
    if (mask[0] == L'*') {
        return matchesSlowly(text, mask.substr(1)) ||
               (!text.empty() && matchesSlowly(text.substr(1), mask));
    }
    return !text.empty() && (mask[0] == L'?' || mask[0] == text[0]) &&
           matchesSlowly(text.substr(1), mask.substr(1));
}

TEST(FilePaths, MasksAgreeWithTheObviousMatchOnEveryShortPair) {
    std::vector<std::wstring> texts;
    forEachText(L"ab", 6, [&](const std::wstring& text) { texts.push_back(text); });
    forEachText(L"ab*?", 5, [&](const std::wstring& mask) {
        for (const std::wstring& text : texts) {
            ASSERT_EQ(FileIO::MatchesMask(text, mask, true), matchesSlowly(text, mask))
                << text << L" " << mask;
        }
    });
}

TEST(FilePaths, MasksFoldOnDemandAndStayFast) {
    EXPECT_TRUE(FileIO::MatchesMask(L"QvRips1.LOG", L"qvrips*.log", false));
    EXPECT_FALSE(FileIO::MatchesMask(L"QvRips1.LOG", L"qvrips*.log", true));
    EXPECT_TRUE(FileIO::MatchesMask(L"\x0416\x00C4", L"\x0436?", false));
    EXPECT_FALSE(FileIO::MatchesMask(L"*", L"[*", true));
    const std::wstring text(20000, L'a');
    EXPECT_FALSE(FileIO::MatchesMask(text, L"*a*a*a*a*a*a*a*a*a*ab", true));
}

TEST(FilePaths, EncodingCodes) {
    EXPECT_EQ(FileIO::EncodingCode(L"ANSI"), 0);
    EXPECT_EQ(FileIO::EncodingCode(L"UTF-8"), 3);
    EXPECT_EQ(FileIO::EncodingCode(L"UTF-16"), 2);
    EXPECT_EQ(FileIO::EncodingCode(L"utf-8"), 0);
}

}  // namespace
}  // namespace lathwind
