#include <gtest/gtest.h>
#include <random>

#include "filewatch/EntityTable.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/WatchedEntity.h"
#include "support/TempDir.h"

namespace lathwind {
namespace {

using testing::TempDir;

std::unique_ptr<WatchedEntity> makeEntity(const std::wstring& path) {
    return CreateWatchedEntity(kRegularFile, path, {}, {});
}

std::vector<std::wstring> texts(const std::vector<InternedText>& paths) {
    return {paths.begin(), paths.end()};
}

std::vector<std::wstring> rowsOf(const EntityTable& table, std::wstring_view prefix = {}) {
    std::vector<std::wstring> rows;
    for (const EntityTable::Row& row : table.GetRows(prefix)) {
        rows.push_back(row.path.get() + L" < " + row.entry.get());
    }
    return rows;
}

TEST(EntityTable, APathLivesAsLongAsItHasAnEntityOrARow) {
    EntityTable table;
    table.AddRow(L"c:\\b", L"c:\\*");
    table.AddRow(L"c:\\b", L"c:\\b");
    table.AddRow(L"c:\\b", L"c:\\?");
    table.AddRow(L"c:\\b", L"c:\\b");  // a pair stands once
    table.AddRow(L"c:\\a", L"c:\\*");
    table.Insert(L"c:\\c", makeEntity(L"c:\\c"));
    EXPECT_EQ(rowsOf(table), (std::vector<std::wstring>{L"c:\\a < c:\\*", L"c:\\b < c:\\*",
                                                        L"c:\\b < c:\\b", L"c:\\b < c:\\?"}));
    EXPECT_EQ(rowsOf(table, L"c:\\a"), std::vector<std::wstring>{L"c:\\a < c:\\*"});
    EXPECT_EQ(table.CountRows(L"c:\\b"), 3u);
    EXPECT_EQ(table.GetFirstEntry(L"c:\\b"), L"c:\\*");
    EXPECT_EQ(table.GetFirstEntry(L"c:\\c"), L"");
    EXPECT_EQ(texts(table.GetEntityPaths()), std::vector<std::wstring>{L"c:\\c"});

    EXPECT_FALSE(table.EraseRow(L"c:\\b", L"c:\\x"));
    EXPECT_TRUE(table.EraseRow(L"c:\\b", L"c:\\b"));
    EXPECT_TRUE(table.EraseFirstRow(L"c:\\b"));
    EXPECT_EQ(table.GetFirstEntry(L"c:\\b"), L"c:\\?");
    EXPECT_TRUE(table.EraseFirstRow(L"c:\\b"));
    EXPECT_FALSE(table.EraseFirstRow(L"c:\\b"));
    EXPECT_FALSE(table.HasRow(L"c:\\b"));

    table.AddRow(L"c:\\c", L"c:\\*");
    table.EraseEntity(L"c:\\c");
    EXPECT_EQ(table.CountEntities(), 0u);
    EXPECT_EQ(rowsOf(table), (std::vector<std::wstring>{L"c:\\a < c:\\*", L"c:\\c < c:\\*"}));
}

TEST(EntityTable, GivesTheStateThatWasPublished) {
    const TempDir folder;
    folder.write("f", "12345");
    const std::wstring path = CreateFileAttributes(folder.path(L"f"))->GetPath();
    EntityTable table;
    EXPECT_EQ(table.GetLastKnown(path).attributes, nullptr);
    WatchedEntity& entity = table.Insert(path, makeEntity(path));
    const LastKnownState before = table.GetLastKnown(path);
    ASSERT_NE(before.attributes, nullptr);
    EXPECT_EQ(before.attributes.get(), &entity.GetAttributes()) << "nothing is copied";

    folder.write("f", "123456789");
    entity.InitializeEntity(false);
    EXPECT_EQ(entity.GetAttributes().GetSize(), 9u);
    EXPECT_EQ(before.attributes->GetSize(), 5u) << "what was given out does not change";
    EXPECT_EQ(table.GetLastKnown(path).attributes, before.attributes);
    table.Publish(path);
    EXPECT_EQ(table.GetLastKnown(path).attributes->GetSize(), 9u);
    // A change in place is made to a clone as well.
    const auto published = table.GetLastKnown(path).attributes;
    entity.InitializeEntity(true);
    EXPECT_EQ(published->GetSize(), 9u);
    EXPECT_EQ(entity.GetAttributes().GetSize(), 0u);

    table.EraseEntity(path);
    EXPECT_EQ(table.GetLastKnown(path).attributes, nullptr);
    EXPECT_EQ(before.attributes->GetSize(), 5u) << "a reader keeps what it was given";
}

// Against the obvious containers: the look-ups go on from where the last one ended, and what they
// stand on comes and goes.
TEST(EntityTable, AgreesWithPlainContainersWhateverTheOrder) {
    std::mt19937 random(20240611);
    EntityTable table;
    std::set<std::wstring> entities;
    std::map<std::wstring, std::set<std::wstring>> rows;
    const auto pathOf = [](std::mt19937::result_type number) {
        return L"q:\\none\\" + std::to_wstring(number);
    };
    for (int step = 0; step < 20000; ++step) {
        const std::wstring path = pathOf(random() % 60);
        const std::wstring entry = L"q:\\" + std::to_wstring(random() % 3);
        switch (random() % 6) {
            case 0:
                if (entities.insert(path).second) {
                    table.Insert(path, makeEntity(path));
                }
                break;
            case 1:
                table.EraseEntity(path);
                entities.erase(path);
                break;
            case 2:
                table.AddRow(path, entry);
                rows[path].insert(entry);
                break;
            case 3:
                ASSERT_EQ(table.EraseRow(path, entry), rows[path].erase(entry) != 0);
                break;
            default:
                ASSERT_EQ(table.Find(path) != nullptr, entities.contains(path));
                ASSERT_EQ(table.GetLastKnown(path).attributes != nullptr, entities.contains(path));
                ASSERT_EQ(table.CountRows(path), rows[path].size());
        }
    }
    EXPECT_EQ(texts(table.GetEntityPaths()),
              (std::vector<std::wstring>{entities.begin(), entities.end()}));
    for (std::mt19937::result_type number = 0; number < 60; ++number) {  // in no order of keys
        ASSERT_EQ(table.GetLastKnown(pathOf(number)).attributes != nullptr,
                  entities.contains(pathOf(number)));
    }
}

}  // namespace
}  // namespace lathwind
