#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "filewatch/FilterEventDecoder.h"
#include "filewatch/IPSFilterInterface.h"
#include "support/FakeFiles.h"
#include "support/FakeProcesses.h"
#include "support/HostDecorator.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

using Mount = DecodedFilterEvent::Mount;
using testing::LogCapture;

class ClockHost : public testing::HostDecorator {
public:
    ClockHost() : HostDecorator(platform::host()) {}
    std::int64_t steadyTimeMs() override { return now; }
    std::int64_t now = 1'000'000;
};

constexpr std::uint32_t kSelf = 1;
constexpr std::uint32_t kActor = 42;
const std::wstring kEndless(FilterEventDecoder::kMostPathUnits + 1, L'x');

IPSFilterEvent eventOf(std::uint32_t type, const wchar_t* path, const wchar_t* newPath = nullptr) {
    return {type, 7, kActor, nullptr, path, L"C:\\bin\\p.exe", newPath};
}

class FilterEventDecoderTest : public ::testing::Test {
protected:
    FilterEventDecoderTest()
        : files_(platformFactory.files, files),
          processes_(platformFactory.processes, processes),
          host_(platformFactory.host, host) {
        processes.self = kSelf;
    }
    bool isTold(std::uint32_t type, const wchar_t* path, std::uint32_t process = kActor) {
        IPSFilterEvent event = eventOf(type, path);
        event.processId = process;
        return decoder.Decode(event).notification != nullptr;
    }

    testing::FakeFiles files;
    testing::FakeProcesses processes;
    ClockHost host;
    FilterEventDecoder decoder;

private:
    testing::ServiceOverride<platform::Files> files_;
    testing::ServiceOverride<platform::Processes> processes_;
    testing::ServiceOverride<platform::Host> host_;
};

TEST_F(FilterEventDecoderTest, EveryEventTypeHasItsOperation) {
    testing::FakeFile link;
    link.facts.attributes = platform::attribute::ReparsePoint;
    link.reparseTag = 0xA000000C;
    files.objects[L"C:\\Link"] = link;
    link.reparseTag = 0xA0000003;  // a mount point
    files.objects[L"C:\\Disk"] = link;
    struct Row {
        std::uint32_t type;
        const wchar_t* path;
        DriverOperation operation;
        FileAction action;
        const wchar_t* label;
        const wchar_t* name = L"c:\\x\\f.txt";
        Mount mount = Mount::None;
    };
    const wchar_t* const file = L"C:\\X\\F.txt";
    const wchar_t* const stream = L"C:\\X\\F.txt:S";
    const Row rows[] = {
        {0, file, DriverOperation::Accessed, FileAction::Accessed, L"File Accessed"},
        {1, file, DriverOperation::Created, FileAction::Added, L"File Created"},
        {2, file, DriverOperation::Modified, FileAction::Modified, L"File Modified"},
        {3, file, DriverOperation::Deleted, FileAction::Deleted, L"File Deleted"},
        {4, L"C:\\Disk", DriverOperation::Mounted, FileAction::Mount, L"Filesystem Mounted",
         L"c:\\disk", Mount::Mounted},
        {4, L"C:\\Link", DriverOperation::Modified, FileAction::Modified, L"File Modified",
         L"c:\\link"},
        {5, L"C:\\Link", DriverOperation::Unmounted, FileAction::Unmount, L"Filesystem Un-Mounted",
         L"c:\\link", Mount::Unmounted},
        {7, file, DriverOperation::None, FileAction::None, L"Undefined Driver Action"},
        // Streams.
        {0, L"C:\\X\\F.txt:S2", DriverOperation::Accessed, FileAction::Accessed, L"File Accessed"},
        {1, stream, DriverOperation::Modified, FileAction::Modified, L"File Modified"},
        {3, stream, DriverOperation::Modified, FileAction::Modified, L"File Modified"},
        {2, L"C:F.txt", DriverOperation::Modified, FileAction::Modified, L"File Modified",
         L"c:f.txt"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(narrow(row.path) + " " + std::to_string(row.type));
        const DecodedFilterEvent decoded = decoder.Decode(eventOf(row.type, row.path));
        ASSERT_NE(decoded.notification, nullptr);
        const FileNotificationInfo& note = *decoded.notification;
        EXPECT_EQ(note.driverOperation, row.operation);
        EXPECT_EQ(note.action, row.action);
        EXPECT_EQ(decoded.label, row.label);
        EXPECT_EQ(note.path, row.name);
        EXPECT_EQ(note.oldPath, L"");
        EXPECT_EQ(decoded.mount, row.mount);
        EXPECT_EQ(decoded.path, row.path);
        EXPECT_EQ(note.listId, FileNotificationInfo::kAnyList);
        EXPECT_EQ(note.sessionId, 7);
        EXPECT_EQ(note.processId, static_cast<std::int32_t>(kActor));
        EXPECT_EQ(note.processName, L"C:\\bin\\p.exe");
    }
}

TEST_F(FilterEventDecoderTest, ARenameKnowsBothPaths) {
    struct Row {
        const wchar_t* newPath;
        const wchar_t* name;
    };
    for (const Row& row :
         {Row{L"C:\\X\\New:s", L"c:\\x\\new"}, Row{nullptr, L""}, Row{kEndless.c_str(), L""}}) {
        const auto decoded = decoder.Decode(eventOf(6, L"C:\\X\\Old", row.newPath));
        EXPECT_EQ(decoded.notification->action, FileAction::Renamed);
        EXPECT_EQ(decoded.notification->path, row.name);
        EXPECT_EQ(decoded.notification->oldPath, L"c:\\x\\old");
    }
}

TEST_F(FilterEventDecoderTest, WhatItSaysInTheLog) {
    files.objects[L"c:\\l"].facts.attributes = platform::attribute::ReparsePoint;
    files.objects[L"c:\\l"].reparseTag = 0xA000000C;
    const LogCapture log;
    decoder.Decode(eventOf(4, L"c:\\l"));
    decoder.Decode(eventOf(1, L"c:\\x\\F:s"));
    decoder.Decode(eventOf(0, nullptr));
    decoder.Decode(eventOf(3, kEndless.c_str()));
    ASSERT_EQ(log.debugLines.size(), 6u);
    const wchar_t* const lines[] = {
        L"Changing IPS_FW_MOUNT to IPS_FW_MODIFIED for c:\\l reparseTag == "
        L"IO_REPARSE_TAG_SYMLINK",
        L"IPS FILEWATCH DRIVER FILTER event type (File Modified) from (C:\\bin\\p.exe) occured for "
        L"file c:\\l.",
        L"IPS FILEWATCH DRIVER FILTER event type (File Created) from (C:\\bin\\p.exe) occured for "
        L"file c:\\x\\F:s.",
        L"ADS Stream name: :s extracted for file: c:\\x\\f",
        L"Invalid IPS Filewatch Filter event type FileAccess occured. Bad values passed for file: ",
        L"Invalid IPS Filewatch Filter event type FileWrite occured. Bad values passed for file: ",
    };
    for (std::size_t i = 0; i < std::size(lines); ++i) {
        EXPECT_TRUE(log.debugLines[i].starts_with(lines[i])) << narrow(log.debugLines[i]);
    }
}

TEST_F(FilterEventDecoderTest, WhoDidIt) {
    processes.running[50].path = L"C:\\a.exe";
    processes.running[50].image = processes.running[51].image = L"b.exe";
    struct Row {
        std::uint32_t process;
        const wchar_t* image;
        const wchar_t* expected;
    };
    const Row rows[] = {{50, nullptr, L"C:\\a.exe"},
                        {51, nullptr, L"b.exe"},
                        {52, nullptr, L""},
                        {50, L"", L""},
                        {50, L"C:\\told.exe", L"C:\\told.exe"},
                        {50, kEndless.c_str(), L""}};
    for (const Row& row : rows) {
        IPSFilterEvent event = eventOf(2, L"c:\\f");
        event.processId = row.process;
        event.processImage = row.image;
        const DecodedFilterEvent decoded = decoder.Decode(event);
        EXPECT_EQ(decoded.process, row.expected);
        EXPECT_EQ(decoded.notification->processName, row.expected);
    }
    EXPECT_FALSE(isTold(2, L"c:\\f", kSelf));
}

// S-1-5-18, and what is none: it is not read behind its first eight bytes.
TEST_F(FilterEventDecoderTest, TheUserMayBeInvalid) {
    const std::vector<std::vector<unsigned>> rows = {
        {1, 1, 0, 0, 0, 0, 0, 5, 18, 0, 0, 0}, {2, 1, 0, 0, 0, 0, 0, 5}, {1, 16, 0, 0, 0, 0, 0, 5}};
    for (const auto& row : rows) {
        std::vector<std::byte> bytes(row.size());
        std::transform(row.begin(), row.end(), bytes.begin(),
                       [](unsigned value) { return static_cast<std::byte>(value); });
        IPSFilterEvent event = eventOf(2, L"c:\\f");
        event.userIdentifier = bytes.data();
        EXPECT_EQ(decoder.Decode(event).notification->userSid,
                  row.size() == 12 ? bytes : std::vector<std::byte>());
    }
}

TEST_F(FilterEventDecoderTest, RepeatsAreNotTold) {
    struct Row {
        std::int64_t afterMs;
        std::uint32_t type;
        const wchar_t* path;
        std::uint32_t process;
        bool isTold;
    };
    const Row rows[] = {
        {0, 0, L"c:\\a", 42, true},
        {0, 0, L"c:\\A", 42, false},       // whatever its case
        {0, 0, L"c:\\a", 43, true},        // another process
        {0, 3, L"c:\\a", 42, true},        // deletions are counted apart
        {0, 3, L"c:\\a:s", 42, true},      // the stream, not the file
        {14'999, 0, L"c:\\a", 42, false},  // and starts anew
        {14'999, 0, L"c:\\a", 42, false},
        {15'000, 0, L"c:\\a", 42, true},
        {0, 3, L"c:\\a", 42, true},
        {14'000, 3, L"c:\\a", 42, false},
        {0, 2, L"c:\\a", 42, true},
        {0, 2, L"c:\\a", 42, true},  // no other kind of event is held back
        {0, 1, L"c:\\a", 42, true},
        {0, 1, L"c:\\a", 42, true},
    };
    for (const Row& row : rows) {
        host.now += row.afterMs;
        EXPECT_EQ(isTold(row.type, row.path, row.process), row.isTold) << (&row - rows);
    }
}

TEST(RecentKeys, ForgetsByAgeAndWhenFull) {
    RecentKeys keys(10);
    EXPECT_FALSE(keys.Touch(L"a", 0));
    EXPECT_FALSE(keys.Touch(L"b", 5));
    EXPECT_TRUE(keys.Touch(L"a", 9));
    EXPECT_FALSE(keys.Touch(L"c", 18));
    EXPECT_EQ(keys.Count(), 2u);  // without "b"
    EXPECT_FALSE(keys.Touch(L"a", 19));

    const std::wstring half(RecentKeys::kMostUnits / 2 - RecentKeys::kUnitsPerKey, L'x');
    EXPECT_FALSE(keys.Touch(half, 20));
    EXPECT_TRUE(keys.Touch(half, 20));
    EXPECT_FALSE(keys.Touch(half + L'y', 20));  // one unit too many
    EXPECT_EQ(keys.Count(), 1u);
    EXPECT_FALSE(keys.Touch(half, 20));
}

}  // namespace
}  // namespace lathwind
