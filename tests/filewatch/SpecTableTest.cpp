#include <gtest/gtest.h>

#include "filewatch/SpecTable.h"
#include "filewatch/VirtualPathSpec.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

SpecTable::SpecPtr spec(const std::wstring& path, std::int32_t level = 1) {
    return std::make_shared<WatchedPathSpec>(path, level, false);
}

// As the source keys them: an entry with a mask by its folder, any other by itself.
void add(SpecTable& table, const std::wstring& path, std::int32_t level, std::int32_t listId) {
    const auto row = spec(path, level);
    table.AddList(listId);
    EXPECT_TRUE(table.Insert(row->IsWildCard() ? row->GetDirectory() : path, row, listId));
}

std::wstring found(const SpecTable& table, const std::wstring& path, std::int32_t listId) {
    const auto row = table.Find(path, listId);
    return row == nullptr ? L"" : row->GetFullPath();
}

TEST(SpecTable, FullPathForms) {
    const struct {
        const wchar_t* path;
        const wchar_t* form;
    } rows[] = {
        {L"c:\\a\\b.txt", L"c:\\a\\b.txt"},
        {L"c:\\a\\", L"c:\\a\\"},
        {L"c:\\a\\.\\.git\\..x", L"c:\\a\\.git\\..x"},
        {L"c:\\a\\..\\..\\b\\c\\..", L"c:\\b\\"},
        {L"c:/A//b", L"c:\\a\\b"},
        {L"\\\\s\\share\\..\\x", L"\\\\s\\share\\x"},
        {L"\\\\s", L"\\\\s"},
        {L"c:x", L"c:x"},
        {L"c:", L"c:"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(fullPathForm(row.path), row.form);
    }
    std::wstring current;
    platform::files().currentDirectory(current);
    EXPECT_EQ(fullPathForm(L".\\x"), fullPathForm(toLower(current) + L"\\x"));
    EXPECT_EQ(fullPathForm(L"c:\\" + std::wstring(256, L'x')).size(), 259u);
    EXPECT_EQ(fullPathForm(L"c:\\" + std::wstring(257, L'x')), L"");
}

TEST(SpecTable, FindTable) {
    SpecTable table;
    add(table, L"c:\\a\\*.log", 2, 1);
    add(table, L"c:\\a\\b*", 1, 1);
    add(table, L"c:\\a\\bob.txt", 1, 1);
    add(table, L"c:\\*", 9, 2);
    add(table, L"\\\\s\\share\\*", 1, 2);
    add(table, L"c:\\x\\..\\Q\\f.txt", 1, 1);
    add(table, L"c:\\x\\..\\q\\w*", 1, 1);
    const struct {
        const wchar_t* path;
        std::int32_t listId;
        const wchar_t* found;
    } rows[] = {
        {L"c:\\a\\bob.txt", 1, L"c:\\a\\bob.txt"},
        {L"c:\\a\\bob.log", 1, L"c:\\a\\*.log"},  // of two that match the older one
        {L"c:\\a\\bib.txt", 1, L"c:\\a\\b*"},
        {L"c:\\a\\", 1, L"c:\\a\\*.log"},  // the key itself
        {L"c:\\a\\s\\X.LOG", 1, L"c:\\a\\*.log"},
        {L"c:\\a\\s\\t\\x.log", 1, L""},
        {L"c:\\a\\s\\bib.txt", 1, L""},
        {L"c:\\a\\s\\t\\x.log", SpecTable::kAnyList, L"c:\\*"},
        {L"c:\\a\\bob.txt", SpecTable::kAnyList, L"c:\\a\\bob.txt"},
        {L"c:\\a\\bob.txt", 2, L"c:\\*"},
        {L"c:\\a\\bob.txt", 7, L""},
        {L"\\\\s\\share\\f", 2, L"\\\\s\\share\\*"},
        {L"\\\\s\\share\\d\\f", 2, L""},
        {L"bob.txt", 2, L""},
        {L"", 2, L""},
        {L"c:\\a\\q\\..\\bob.txt", 1, L"c:\\a\\bob.txt"},
        {L"c:\\q\\f.txt", 1, L"c:\\x\\..\\Q\\f.txt"},
        {L"c:\\q\\", 1, L"c:\\x\\..\\q\\w*"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(found(table, row.path, row.listId), row.found) << std::to_string(row.listId);
    }
    table.Remove(L"c:\\x\\..\\Q\\f.txt", spec(L"c:\\x\\..\\Q\\f.txt").get(), 1);
    EXPECT_EQ(found(table, L"c:\\q\\f.txt", 1), L"");
}

TEST(SpecTable, LooksIntoFoldersWhateverTheirNames) {
    SpecTable table;
    add(table, L"c:\\a\\*.log", 2, 1);
    add(table, L"c:\\*.sys", 1, 1);
    add(table, L"c:\\plain", 5, 1);
    const struct {
        const wchar_t* folder;
        std::int32_t listId;
        bool isLookedInto;
    } rows[] = {
        {L"c:\\a", 1, true},        {L"c:\\a\\", 1, true}, {L"c:\\a\\s", 1, true},
        {L"c:\\a\\s\\t", 1, false}, {L"c:\\", 1, true},    {L"c:\\b", 1, false},
        {L"c:\\plain", 1, false},   {L"c:\\a", 2, false},  {L"", 1, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(table.LooksInto(row.folder, row.listId), row.isLookedInto) << row.folder;
    }
}

TEST(SpecTable, RemovesRowByRow) {
    SpecTable table;
    EXPECT_FALSE(table.Insert(L"c:\\a\\", spec(L"c:\\a\\*.log"), 1)) << "unknown list";
    add(table, L"c:\\a\\*.log", 1, 1);
    const auto ofEntry =
        std::make_shared<VirtualPathSpec>(L"c:\\a\\*.log", 3, false, L"c:\\{virtual_tag}\\*.log");
    EXPECT_FALSE(table.HasRow(L"c:\\a\\", *ofEntry, 1)) << "of no virtual entry";
    table.Insert(L"c:\\a\\", ofEntry, 1);
    EXPECT_EQ(table.GetVirtualRows(L"c:\\{virtual_tag}\\*.log", 1),
              std::vector<SpecTable::SpecPtr>{ofEntry});
    EXPECT_EQ(table.Remove(L"c:\\a\\", nullptr, 1).remaining, 2u) << "no row has an empty mask";
    const auto removed = table.Remove(L"c:\\a\\", ofEntry.get(), 1);
    EXPECT_EQ(removed.spec, ofEntry);
    EXPECT_EQ(removed.remaining, 1u);
    EXPECT_TRUE(table.GetVirtualRows(L"c:\\{virtual_tag}\\*.log", 1).empty());
    EXPECT_EQ(table.Remove(L"c:\\a\\", ofEntry.get(), 1).spec, nullptr);
    table.EraseListIfEmpty(1);
    EXPECT_TRUE(table.HasList(1));
}

TEST(SpecTable, Exclusions) {
    SpecTable table;
    const std::wstring entry = L"c:\\inst\\{virtual_tag}\\logs\\*";
    table.Exclude(L"c:\\inst\\Web1\\logs\\", entry, 1);
    table.Exclude(L"c:\\inst\\web1\\logs\\", entry, 2);
    EXPECT_TRUE(table.IsExcluded(L"C:\\inst\\web1\\logs", 1));
    EXPECT_TRUE(table.IsExcluded(L"c:\\inst\\web1\\logs\\", 1));
    EXPECT_FALSE(table.IsExcluded(L"c:\\inst\\web1\\logs", 0));
    EXPECT_FALSE(table.IsExcluded(L"c:\\inst\\web1", 9));
    EXPECT_FALSE(table.IsExcluded(L"c:\\inst\\web1\\a\\logs", 1));
    EXPECT_TRUE(table.IsExcluded(L"c:\\inst\\web1\\a\\logs", 2));
    table.ForgetExclusions(entry, 1);
    EXPECT_TRUE(table.IsExcluded(L"c:\\inst\\web1\\logs", 1)) << "the other list's";
    table.ForgetExclusions(entry, 2);
    EXPECT_FALSE(table.IsExcluded(L"c:\\inst\\web1\\logs", 1));
}

}  // namespace
}  // namespace lathwind
