#include <gtest/gtest.h>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/FileWatchParams.h"
#include "filewatch/WatchedFile.h"
#include "support/Bytes.h"
#include "support/FakeAccounts.h"
#include "support/FakeFiles.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "utils/Format.h"
#include "utils/SecurityUtilities.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using enum FileAction;
using lathwind::testing::Bytes;
using lathwind::testing::FakeFile;
using Values = std::vector<std::wstring>;

const std::wstring kPath = L"c:\\d\\one.txt";
constexpr std::uint64_t kSecond = 10000000;
constexpr std::uint64_t kTime = 132356672500000000;

constexpr wchar_t kGone[] = L"Dropping %ls event for %ls since the file no longer exists";
constexpr wchar_t kSame[] =
    L"Got FILE_MODIFIED event for %ls but attributes haven't change. Event dropped.";
constexpr wchar_t kFound[] = L"Changing FILE_MODIFIED event to FILE_ADDED event for %ls";
constexpr wchar_t kCame[] = L"Changing FILE_ACCESSED event to FILE_ADDED event for %ls";
constexpr wchar_t kChanged[] = L"Changing FILE_ACCESSED event to FILE_MOFIFIED event for %ls";

class WatchedFileEvents : public ::testing::Test {
protected:
    WatchedFileEvents() {
        accounts.names[L"S-1-5-21-7"] = {L"HOST", L"ann"};
        sidToNameLookup().clear();
        put("plain");
    }
    ~WatchedFileEvents() override { sidToNameLookup().clear(); }

    // What there is at the path. "blank" is there, with nothing to be seen that an absent file
    // would not show as well.
    void put(std::string_view state) {
        files.objects.clear();
        if (state == "absent") {
            return;
        }
        FakeFile& file = files.objects[kPath];
        if (state == "blank") {
            return;
        }
        const bool isFolder = state.starts_with("folder");
        file.facts = {isFolder ? 0x10u : 0x80u, kTime, kTime + kSecond, kTime + 2 * kSecond, 10};
        file.facts.attributes |= state == "archived" ? 0x20u : 0;
        file.facts.accessTime += state.ends_with("read") ? kSecond : 0;
        file.facts.modifiedTime += state.ends_with("written") ? kSecond : 0;
        file.facts.size += state.starts_with("bigger") ? 10u : 0u;
        file.owner = L"S-1-5-21-7";
        file.group = L"S-1-5-21-8";
        file.sddl = L"O:S-1-5-21-7D:(A;;FA;;;S-1-5-21-7)";
    }
    FileNotificationInfo note(FileAction action,
                              DriverOperation operation = DriverOperation::None) const {
        FileNotificationInfo info(kPath, operation, 3, 44, {}, L"c:\\bin\\edit.exe", -1);
        info.action = action;
        return info;
    }
    // What the decisions said since the last call.
    std::wstring lines() {
        std::wstring found;
        for (const std::wstring& line : log.takeDebug()) {
            const bool isDecision = line.starts_with(L"Changing") || line.starts_with(L"Got ") ||
                                    line.starts_with(L"Dropping");
            found += isDecision ? line : L"";
        }
        return found;
    }
    // Only the text behind the event's name, and none of what the filter adds.
    std::wstring changeTextOf(const IDSEvent& event) const {
        const std::wstring& text = event.GetEventText();
        const std::wstring name = L"Name: " + kPath + L"\n";
        const std::size_t start = text.find(name) + name.size();
        return text.substr(start, text.find(L"\nUser: ") - start);
    }
    IDSEvent& only() {
        EXPECT_EQ(events.size(), 1u);
        return *events.front();
    }

    testing::FakeFiles files;
    testing::FakeAccounts accounts;
    testing::ServiceOverride<platform::Files> fileAnswers{platformFactory.files, files};
    testing::ServiceOverride<platform::Accounts> accountAnswers{platformFactory.accounts, accounts};
    testing::LogCapture log;
    FileWatchParams params;
    EventList events;
};

TEST_F(WatchedFileEvents, RowsOfTheTables) {
    constexpr wchar_t size[] = L"(File Size Changed)";
    constexpr wchar_t access[] = L"(Access Date Changed)";
    constexpr wchar_t archive[] = L"(Archive Changed)";
    // Who noticed: polling, the filter with any operation but an access, the filter with one; or
    // the start of the agent, which has no hint.
    constexpr std::string_view p = "p", f = "f", a = "a", both = "pf", all = "pfa", start = "s";
    constexpr wchar_t sizeAndDate[] =
        L"(File Size Changed)\n  Previous File Size: 10\n  Current File Size: 20\n"
        L"(Modified Date Changed)";
    const struct Row {
        std::string_view before, now;
        FileAction hint;
        std::string_view by;
        bool monitor;
        FileAction wording;  // None: no event
        FileAction values;
        const wchar_t* line = L"";
        const wchar_t* changes = L"";  // how they begin
    } rows[] = {
        {"plain", "absent", Modified, both, false, None, None, kGone},
        {"plain", "absent", Accessed, all, true, None, None, kGone},
        {"absent", "absent", Accessed, all, true, None, None, kGone},

        {"plain", "plain", Modified, both, true, None, None, kSame},
        {"absent", "blank", Modified, p, false, Added, Added, kFound},
        {"absent", "blank", Modified, f, false, None, None, kSame},
        {"absent", "plain", Modified, p, false, Modified, Added},
        {"absent", "plain", Modified, f, false, Modified, Modified},
        {"plain", "bigger", Modified, both, false, Modified, Modified, L"", size},
        {"plain", "bigger read", Modified, both, true, Modified, Modified, L"", size},
        {"plain", "read", Modified, both, true, Accessed, Accessed, L"", access},
        {"plain", "read", Modified, both, false, None, None, kSame},
        {"plain", "archived", Modified, both, false, None, None, kSame},
        {"plain", "archived", Modified, both, true, Modified, Modified, L"", archive},
        {"folder", "folder read", Modified, both, true, None, None, kSame},

        {"plain", "plain", Accessed, all, true, Accessed, Accessed},
        {"plain", "read", Accessed, all, false, Accessed, Accessed, L"", access},
        {"folder", "folder read", Accessed, all, true, Accessed, Accessed},
        {"plain", "archived", Accessed, both, true, Accessed, Accessed, L"", archive},
        {"absent", "plain", Accessed, both, true, Added, Added, kCame},
        {"absent", "blank", Accessed, p, true, Accessed, Added},
        {"absent", "plain", Accessed, a, true, Accessed, Accessed},
        {"plain", "bigger", Accessed, both, true, Modified, Modified, kChanged, size},
        {"plain", "bigger", Accessed, a, true, Accessed, Accessed},

        {"plain", "bigger", Added, both, true, Added, Added},
        {"plain", "absent", Deleted, both, false, Deleted, Deleted},
        {"plain", "plain", Deleted, both, false, Deleted, Deleted},
        {"folder", "absent", Deleted, both, false, Deleted, Deleted},
        {"folder", "absent", Unmount, both, false, Unmount, Unmount},
        {"plain", "bigger", None, both, false, None, None},

        {"plain", "absent", None, start, false, Deleted, Deleted},
        {"absent", "plain", None, start, true, Added, Added},
        {"absent", "absent", None, start, true, None, None},
        {"plain", "plain", None, start, true, None, None},
        {"plain", "written", None, start, true, None, None},
        {"plain", "bigger", None, start, true, Modified, Modified, L"", size},
        {"plain", "bigger written", None, start, false, Modified, Modified, L"", sizeAndDate},
        {"plain", "read", None, start, false, None, None},
        {"plain", "read", None, start, true, Accessed, Accessed, L"", access},
        {"folder", "folder read", None, start, true, None, None},
    };
    for (const Row& row : rows) {
        for (const char by : row.by) {
            SCOPED_TRACE(::testing::Message() << &row - rows << by);
            const auto operation = by == 'p'   ? DriverOperation::None
                                   : by == 'f' ? DriverOperation::Renamed
                                               : DriverOperation::Accessed;
            put(row.before);
            params.monitorAccessTime = row.monitor;
            WatchedFile file(kPath, &params, {});
            put(row.now);
            const WatchedFile saved(file);
            events.clear();
            lines();
            const bool isStart = by == 's' && file.InitializeEntity(false);
            const std::size_t count =
                isStart ? file.CompareWithSaved(events, saved, {})
                        : file.ProcessNotification(events, note(row.hint, operation));
            EXPECT_EQ(lines(), row.line == kGone ? format(row.line, fileActionText(row.hint), kPath)
                                                 : format(row.line, kPath));
            EXPECT_EQ(file.GetLastAction(), static_cast<std::int32_t>(row.values));
            EXPECT_EQ(count, events.size());
            ASSERT_EQ(count, row.wording == None ? 0u : 1u);
            if (count == 0) {
                continue;
            }
            EXPECT_TRUE(only().GetEventText().starts_with(
                format(L"Detected File Tampering - Action: %ls %ls\n", fileActionText(row.wording),
                       row.before == "folder" ? L"Folder" : L"File")));
            EXPECT_TRUE(changeTextOf(only()).starts_with(row.changes));
            EXPECT_EQ(changeTextOf(only()).empty(), *row.changes == L'\0');
            EXPECT_EQ(only().GetValues().at(0), isStart || by == 'p' ? L"P" : L"R");
            EXPECT_EQ(only().GetValues().at(2)[0], L"UCMDRANU"[static_cast<int>(row.values)]);
            EXPECT_EQ(only().GetSourceKind(), sourceKind::FileWatch);
        }
    }
}

// A change is told against the last look, with or without an event, and never again.
TEST_F(WatchedFileEvents, TheLastLookIsTheOneToCompareWith) {
    WatchedFile file(kPath, &params, {});
    put("bigger");
    const int calls = files.calls;
    EXPECT_EQ(file.ProcessNotification(events, note(Accessed, DriverOperation::Accessed)), 1u);
    EXPECT_EQ(files.calls - calls, 1) << "the most frequent hint costs one look";
    EXPECT_EQ(file.GetAttributes().GetSize(), 10u);
    EXPECT_EQ(file.ProcessNotification(events, note(Modified, DriverOperation::Modified)), 1u);
    EXPECT_EQ(file.GetAttributes().GetSize(), 20u);
    EXPECT_EQ(file.ProcessNotification(events, note(Modified)), 0u);
}

TEST_F(WatchedFileEvents, Values) {
    WatchedFile file(kPath, &params, {});
    const auto old = file.GetAttributes().Clone();
    FakeFile& live = files.objects[kPath];
    live.facts = {0x20, kTime + 3 * kSecond, kTime + kSecond, kTime + 4 * kSecond, 20};
    live.owner = L"S-1-5-21-9";
    live.sddl = L"O:S-1-5-21-9";
    file.ProcessNotification(events, note(Modified));
    const auto now = file.GetAttributes().Clone();
    const std::wstring security = now->CompareExtendedToText(*old);
    Values expected(32);
    const auto set = [&](std::size_t first, const Values& values) {
        std::copy(values.begin(), values.end(), expected.begin() + static_cast<int>(first));
    };
    set(0, {L"P", kPath, L"M", L"128", L"32", L"10", L"20"});
    set(10, {old->GetModifiedTimeText(nullptr), now->GetModifiedTimeText(nullptr)});
    set(16, {old->GetCreationTimeText(nullptr), now->GetCreationTimeText(nullptr)});
    set(20, {L"HOST\\ann", L"S-1-5-21-9"});
    set(31, {security});
    EXPECT_EQ(only().GetValues(), expected);
    EXPECT_EQ(only().GetField(eventField::BinaryData), security);
    EXPECT_NE(security, L"");

    events.clear();
    file.ProcessNotification(events, note(Added));
    expected.assign(31, {});
    set(0, {L"P", kPath, L"C", L"", L"32", L"", L"20"});
    set(11, {now->GetModifiedTimeText(nullptr), L"", now->GetAccessTimeText(nullptr)});
    set(15, {L"0", L"", now->GetCreationTimeText(nullptr)});
    set(21, {L"S-1-5-21-9", L"", L"S-1-5-21-8"});
    EXPECT_EQ(only().GetValues(), expected);

    for (const auto action : {Deleted, Mount, Unmount}) {
        events.clear();
        file.ProcessNotification(events, note(action));
        EXPECT_EQ(only().GetValues().size(), 3u);
    }
}

TEST_F(WatchedFileEvents, NamesOfEvents) {
    params.label = L"list";
    WatchedFile file(kPath, &params, L"own");
    FileNotificationInfo mount = note(Mount);
    mount.entry = L"d:\\*";
    mount.virtualName = L"NAME=v";
    file.ProcessNotification(events, mount);
    EXPECT_NE(only().GetEventText().find(L"Name: d:\\*\n"), std::wstring::npos);
    EXPECT_EQ(only().GetFileName(), kPath);
    EXPECT_EQ(only().GetValues().size(), 3u) << "no virtual tag";
    EXPECT_EQ(only().GetSystemState(), 0u);

    FileNotificationInfo rename = note(Renamed, DriverOperation::Renamed);
    rename.oldPath = kPath;
    rename.path = L"c:\\d\\two.txt";
    rename.virtualName = L"NAME=v";
    events.clear();
    file.ProcessNotification(events, rename);
    EXPECT_TRUE(only().GetEventText().starts_with(
        L"Label: list\nDetected File Tampering - Action: Deleted(Renamed) File\nName: " + kPath +
        L"\n(Name Changed)\n  Previous Name: " + kPath + L"\n  Current Name: c:\\d\\two.txt\n"));
    EXPECT_EQ(only().GetValues().size(), 31u);
    EXPECT_EQ(only().GetValues()[1], kPath);
    EXPECT_EQ(only().GetValues()[8], L"c:\\d\\two.txt");
    EXPECT_EQ(only().GetField(eventField::VirtualTag), L"NAME=v");
    EXPECT_EQ(systemStateText(only().GetSystemState()), L"VD");
    EXPECT_TRUE(log.hasDebug(L"virtualName: NAME=v"));

    events.clear();
    file.ProcessNotification(events, note(Deleted));
    EXPECT_EQ(only().GetField(eventField::VirtualTag), L"own") << "the notification has none";
}

TEST_F(WatchedFileEvents, TheFilterKnowsWhoDidIt) {
    const auto sid = [](std::uint32_t last) {
        return Bytes().u8(1).u8(2).raw(std::string_view("\0\0\0\0\0\x05", 6)).u32(21).u32(last);
    };
    const std::pair<Bytes, const wchar_t*> rows[] = {
        {sid(7), L"HOST\\ann"}, {sid(9), L"unknown"}, {Bytes().u8(1), L"unknown"}};
    for (const auto& [bytes, user] : rows) {
        WatchedFile file(kPath, &params, {});
        FileNotificationInfo info = note(Added, DriverOperation::Created);
        info.userSid.assign(bytes.span().begin(), bytes.span().end());
        events.clear();
        file.ProcessNotification(events, info);
        const std::wstring text = format(
            L"Detected File Tampering - Action: Added File\nName: %ls\n\nUser: %ls\nSession ID: "
            L"3\nProcess ID: 44\nProcess Name: c:\\bin\\edit.exe\n",
            kPath, user);
        EXPECT_EQ(only().GetEventText(), text);
        std::vector<std::wstring> fields;
        only().GetFields(fields, 0, {});
        EXPECT_EQ(Values(fields.begin() + 10, fields.begin() + 14),
                  (Values{user, L"3", L"c:\\bin\\edit.exe", L"44"}));
        EXPECT_TRUE(log.hasDebug(L"Event Text : " + text + L"\n"));
        EXPECT_TRUE(log.hasDebug(
            format(L"IPS FileWatch Filter event created for file: %ls, user: %ls, session: 3, "
                   L"pid: 44, process: c:\\bin\\edit.exe",
                   kPath, user)));
    }
}

// What was read of the disk with digests on was read to compare them.
TEST_F(WatchedFileEvents, AnAccessWhileTheAgentWasDownIsNothingBesideEqualDigests) {
    params.monitorAccessTime = true;
    params.checksum = true;
    const WatchedFile saved(kPath, nullptr, {});
    put("read");
    EXPECT_EQ(WatchedFile(kPath, &params, {}).CompareWithSaved(events, saved, {}), 0u);
}

}  // namespace
}  // namespace lathwind
