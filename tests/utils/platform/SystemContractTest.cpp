#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

// What every platform's accounts, processes, volumes, libraries and registry promise.
namespace lathwind {
namespace {

namespace error = platform::error;
using testing::TempDir;

TEST(AccountsContract, WellKnownSidsAreTheSameEverywhere) {
    struct Row {
        const wchar_t* alias;
        std::int32_t type;
        const wchar_t* sid;
    };
    for (const Row& row : {Row{L"WD", 1, L"S-1-1-0"}, Row{L"SY", 22, L"S-1-5-18"},
                           Row{L"BA", 26, L"S-1-5-32-544"}, Row{L"BU", 27, L"S-1-5-32-545"}}) {
        std::wstring sid;
        EXPECT_EQ(platform::accounts().canonicalSid(row.alias, sid), error::Success);
        EXPECT_EQ(sid, row.sid);
        EXPECT_EQ(platform::accounts().wellKnownSid(row.type, sid), error::Success);
        EXPECT_EQ(sid, row.sid);
        EXPECT_EQ(platform::accounts().canonicalSid(row.sid, sid), error::Success);
        EXPECT_EQ(sid, row.sid);
    }
    std::wstring sid;
    for (const wchar_t* text : {L"", L"ZZ", L"S-1", L"S-1-", L"nobody"}) {
        EXPECT_NE(platform::accounts().canonicalSid(text, sid), error::Success) << narrow(text);
    }
}

TEST(AccountsContract, NamesAndSidsLeadToEachOther) {
    platform::AccountName account;
    ASSERT_EQ(platform::accounts().accountOfSid(L"S-1-1-0", account), error::Success);
    EXPECT_EQ(account.name, L"Everyone");
    std::wstring sid;
    ASSERT_EQ(platform::accounts().sidOfAccount(L"Everyone", sid), error::Success);
    EXPECT_EQ(sid, L"S-1-1-0");
    std::wstring user;
    ASSERT_EQ(platform::accounts().currentUser(user), error::Success);
    ASSERT_EQ(platform::accounts().sidOfAccount(user, sid), error::Success);
    ASSERT_EQ(platform::accounts().accountOfSid(sid, account), error::Success);
    EXPECT_TRUE(equalsNoCase(account.name, user));
    EXPECT_EQ(platform::accounts().sidOfAccount(L"surely no such account", sid), error::NoneMapped);
    EXPECT_EQ(platform::accounts().accountOfSid(L"S-1-5-21-1-2-3-4", account), error::NoneMapped);
    EXPECT_NE(platform::accounts().accountOfSid(L"no sid", account), error::Success);
}

TEST(ProcessesContract, TheProcessKnowsItself) {
    const std::uint32_t self = platform::processes().currentId();
    platform::ProcessFacts facts;
    ASSERT_EQ(platform::processes().query(self, facts), error::Success);
    EXPECT_TRUE(facts.path.ends_with(L"\\" + facts.image)) << narrow(facts.path);
    EXPECT_TRUE(toLower(facts.image).starts_with(L"utils_tests")) << narrow(facts.image);
    std::wstring user;
    ASSERT_EQ(platform::accounts().currentUser(user), error::Success);
    EXPECT_TRUE(equalsNoCase(facts.ownerName, user));

    std::vector<platform::ProcessEntry> list;
    ASSERT_EQ(platform::processes().list(list), error::Success);
    const auto entry = std::find_if(list.begin(), list.end(),
                                    [=](const auto& process) { return process.id == self; });
    ASSERT_NE(entry, list.end());
    EXPECT_EQ(entry->image, facts.image);
    EXPECT_EQ(entry->parentId, facts.parentId);
}

TEST(ProcessesContract, IdsThatNobodyHas) {
    platform::ProcessFacts facts;
    for (const std::uint32_t id : {0xFFFFFFF0u, 0x7FFFFFF0u}) {
        EXPECT_EQ(platform::processes().query(id, facts), error::InvalidParameter) << id;
        EXPECT_EQ(platform::processes().terminate(id), error::InvalidParameter) << id;
    }
    // The one that stands for a group of processes, or for the idle one.
    EXPECT_NE(platform::processes().terminate(0), error::Success);
}

TEST(VolumesContract, TheTemporaryFolderIsOnADrive) {
    const TempDir folder;
    std::vector<std::wstring> roots;
    ASSERT_EQ(platform::volumes().drives(roots), error::Success);
    const std::wstring root = toLower(folder.path().substr(0, 3));
    EXPECT_TRUE(std::any_of(roots.begin(), roots.end(),
                            [&](const std::wstring& drive) { return toLower(drive) == root; }));
    EXPECT_GE(platform::volumes().driveType(root), platform::DriveType::Removable);
    platform::VolumeInformation facts;
    EXPECT_EQ(platform::volumes().information(root, facts), error::Success);
    EXPECT_FALSE(facts.fileSystem.empty());
    std::wstring volume;
    ASSERT_EQ(platform::volumes().volumePath(folder.path(L"none\\deeper"), volume), error::Success);
    EXPECT_TRUE(equalsNoCase(volume.substr(0, 3), root)) << narrow(volume);
    EXPECT_EQ(volume.back(), L'\\');
    EXPECT_TRUE(toLower(folder.path()).starts_with(toLower(volume)));
    platform::VolumeSpace space;
    ASSERT_EQ(platform::volumes().space(folder.path(), space), error::Success);
    EXPECT_GT(space.free, 0u);
    EXPECT_GT(space.total, space.free);
}

TEST(VolumesContract, AnAbsentDrive) {
    platform::VolumeInformation facts;
    std::wstring text;
    EXPECT_EQ(platform::volumes().driveType(L"b:\\"), platform::DriveType::NoRoot);
    EXPECT_NE(platform::volumes().information(L"b:\\", facts), error::Success);
    EXPECT_NE(platform::volumes().volumeName(L"b:\\", text), error::Success);
    EXPECT_NE(platform::volumes().dosDevice(L"b:", text), error::Success);
    std::vector<std::wstring> points;
    EXPECT_NE(platform::volumes().mountPoints(L"b:\\", points), error::Success);
}

// What a list held before the call is no part of the answer, whether the call worked or not.
TEST(SystemContract, ListsAreEmptiedFirst) {
    const std::wstring old = L"surely nobody's";
    using Names = std::vector<std::wstring>;
    const auto hive = platform::RegistryHive::LocalMachine;
    const std::function<void(Names&)> calls[] = {
        [](Names& list) { platform::volumes().drives(list); },
        [](Names& list) { platform::volumes().mountPoints(L"b:\\", list); },
        [&](Names& list) { platform::accounts().groupMembers(old, list); },
        [&](Names& list) { platform::accounts().localGroupsOf(old, list); },
        [&](Names& list) {
            platform::Accounts::RightsStep step{};
            platform::accounts().enumerateRights(old, list, step);
        },
        [&](Names& list) { platform::registry().enumerateKeys(hive, old, 9, list); },
    };
    for (const auto& call : calls) {
        Names list{old};
        call(list);
        EXPECT_EQ(std::count(list.begin(), list.end(), old), 0) << &call - calls;
    }
    std::vector<platform::ProcessEntry> processes{{0xFFFFFFF0u, 0, old}};
    platform::processes().list(processes);
    EXPECT_NE(processes.front().image, old);
}

TEST(LibrariesContract, WhatIsNotThere) {
    void* library = nullptr;
    EXPECT_EQ(platform::libraries().load(L"surely-no-library", library), error::ModuleNotFound);
    EXPECT_EQ(library, nullptr);
}

TEST(RegistryContract, AKeyThatIsNotThere) {
    const auto hive = platform::RegistryHive::LocalMachine;
    const std::wstring key = L"Software\\Surely\\No\\Such\\Key";
    platform::RegistryValue value;
    std::vector<std::wstring> names;
    std::vector<platform::RegistryValue> values;
    platform::Registry& registry = platform::registry();
    EXPECT_EQ(registry.queryValue(hive, key, L"x", platform::registryAccess::Read, 0, value),
              error::FileNotFound);
    EXPECT_EQ(registry.enumerateKeys(hive, key, platform::registryAccess::Enumerate, names),
              error::FileNotFound);
    EXPECT_EQ(registry.enumerateValues(hive, key, platform::registryAccess::Read, values),
              error::FileNotFound);
}

}  // namespace
}  // namespace lathwind
