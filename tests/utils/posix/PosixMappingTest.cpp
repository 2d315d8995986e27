#include <cerrno>
#include <gtest/gtest.h>
#include <sched.h>
#include <set>
#include <sys/stat.h>
#include <utility>

#include "utils/Text.h"
#include "utils/platform/Files.h"
#include "utils/posix/BackupStream.h"
#include "utils/posix/Errno.h"
#include "utils/posix/FileFacts.h"
#include "utils/posix/ModeSddl.h"
#include "utils/posix/MountTable.h"
#include "utils/posix/ProcessStat.h"
#include "utils/posix/SharedMountTable.h"
#include "utils/posix/WellKnownSids.h"
#include "utils/posix/Wildcard.h"

// How the facts of this system are told in the terms of the other one.
namespace lathwind::posix {
namespace {

namespace attribute = platform::attribute;
namespace error = platform::error;
namespace security = platform::security;

TEST(Errno, NumbersTheLogicTestsFor) {
    EXPECT_EQ(errorFromErrno(0), error::Success);
    EXPECT_EQ(errorFromErrno(ENOENT), error::FileNotFound);
    EXPECT_EQ(errorFromErrno(EACCES), error::AccessDenied);
    EXPECT_EQ(errorFromErrno(EPERM), error::AccessDenied);
    EXPECT_EQ(errorFromErrno(ENOMEDIUM), error::NotReady);
    EXPECT_EQ(errorFromErrno(4095), error::GenFailure);
    EXPECT_EQ(errnoFromError(error::PathNotFound), ENOENT);
    EXPECT_EQ(errnoFromError(error::AccessDenied), EACCES);
    EXPECT_EQ(errnoFromError(0x7FFFFFFF), 0);
}

TEST(FileFacts, AttributesComeFromTheModeAndGoBackToIt) {
    EXPECT_EQ(attributesOfMode(S_IFREG | 0644), attribute::Archive);
    EXPECT_EQ(attributesOfMode(S_IFREG | 0555), attribute::Archive | attribute::ReadOnly);
    EXPECT_EQ(attributesOfMode(S_IFREG | 0020), attribute::Archive);
    EXPECT_EQ(attributesOfMode(S_IFDIR | 0755), attribute::Directory);
    EXPECT_EQ(attributesOfMode(S_IFCHR | 0666), attribute::Normal);
    EXPECT_EQ(modeWithAttributes(04775, attribute::ReadOnly), mode_t{04555});
    EXPECT_EQ(modeWithAttributes(0555, attribute::Normal), mode_t{0755});
    EXPECT_EQ(modeWithAttributes(0575, attribute::Normal), mode_t{0575});
}

// Each of these is a difference that a stamp must show, though size and times agree.
TEST(FileFacts, TheStampShowsEachChangeThatTheSystemNotes) {
    struct statx status {};
    EXPECT_EQ(factsOf(status).changeStamp, 0u) << "a file system without change times";
    status.stx_mask = STATX_CTIME;
    std::set<std::uint64_t> stamps{0, factsOf(status).changeStamp};
    const auto differs = [&](auto& field) {
        ++field;
        return stamps.insert(factsOf(status).changeStamp).second;
    };
    EXPECT_TRUE(differs(status.stx_ctime.tv_sec));
    EXPECT_TRUE(differs(status.stx_ctime.tv_nsec));
    EXPECT_TRUE(differs(status.stx_ino));
    EXPECT_TRUE(differs(status.stx_dev_major));
    EXPECT_TRUE(differs(status.stx_dev_minor));
    EXPECT_TRUE(differs(status.stx_uid));
    EXPECT_TRUE(differs(status.stx_gid));
    EXPECT_TRUE(differs(status.stx_mode));
    ++status.stx_atime.tv_sec;
    EXPECT_TRUE(stamps.contains(factsOf(status).changeStamp)) << "reading is no change";

    status.stx_ctime = {};
    status.stx_ctime.tv_sec = 1000;
    for (const auto& [now, settled] :
         {std::pair{1003, true}, {1002, false}, {1000, false}, {900, false}}) {
        EXPECT_EQ(isSettled(status, {now, 0}), settled) << now;
    }
}

TEST(FileFacts, TimesCountFrom1601) {
    EXPECT_EQ(fileTime(0, 0), 116'444'736'000'000'000u);
    EXPECT_EQ(fileTime(1, 123'456'789), 116'444'736'011'234'567u);
    EXPECT_EQ(fileTime(-11'644'473'600, 0), 0u);
    EXPECT_EQ(fileTime(INT64_MIN, 0), 0u);
    struct statx status {};
    status.stx_atime.tv_sec = 30;
    status.stx_mtime.tv_sec = 20;
    status.stx_ctime.tv_sec = 25;
    EXPECT_EQ(factsOf(status).creationTime, fileTime(20, 0));
    status.stx_mask = STATX_BTIME;
    status.stx_btime.tv_sec = 5;
    EXPECT_EQ(factsOf(status).creationTime, fileTime(5, 0));
}

TEST(ModeSddl, TextOfAMode) {
    const std::uint32_t all = security::Owner | security::Group | security::Dacl;
    EXPECT_EQ(toSddl({0, 0, 0744}, all),
              L"O:S-1-22-1-0G:S-1-22-2-0D:(A;;FA;;;S-1-22-1-0)(A;;FR;;;S-1-22-2-0)(A;;FR;;;WD)");
    EXPECT_EQ(toSddl({7, 8, 07600}, security::Dacl | security::Label),
              L"D:(A;;FRFW;;;S-1-22-1-7)(A;;FX;;;CO)(A;;FX;;;CG)(D;;DC;;;WD)");
    EXPECT_EQ(toSddl({7, 8, 0}, security::Dacl), L"D:");
    EXPECT_EQ(toSddl({7, 8, 0}, security::Group), L"G:S-1-22-2-8");
}

TEST(ModeSddl, EveryModeComesBack) {
    const std::uint32_t all = security::Owner | security::Group | security::Dacl;
    for (mode_t mode = 0; mode <= 07777; ++mode) {
        Ownership read{1, 2, 01234};
        ASSERT_EQ(applySddl(toSddl({1000, 4294967294, mode}, all), all, read), error::Success);
        ASSERT_EQ(read.mode, mode);
        ASSERT_EQ(read.user, 1000u);
        ASSERT_EQ(read.group, 4294967294u);
    }
    Ownership read{1, 2, 0600};
    ASSERT_EQ(applySddl(L"O:S-1-22-1-5D:(A;;FX;;;S-1-22-1-5)", security::Dacl, read),
              error::Success);
    EXPECT_EQ(read.mode, mode_t{0100});
    EXPECT_EQ(read.user, 1u);  // not asked for
}

TEST(ModeSddl, WhatIsNoModeIsRefused) {
    struct Row {
        const wchar_t* text;
        platform::ErrorCode code;
    };
    for (const Row& row :
         {Row{L"O:BA", error::InvalidParameter}, Row{L"O:S-1-22-1-", error::InvalidParameter},
          Row{L"O:S-1-22-1-4294967295", error::InvalidParameter},
          Row{L"G:S-1-22-1-0", error::InvalidParameter}, Row{L"x", error::InvalidParameter},
          Row{L"D:(A;;FA;;;WD", error::InvalidParameter},
          Row{L"D:A;;FA;;;WD)", error::InvalidParameter}, Row{L"D:()", error::InvalidParameter},
          Row{L"D:(A;;FA;;;WD)S:", error::InvalidParameter}, Row{L":", error::InvalidParameter},
          Row{L"D:(A;;FA;;;BA)", error::NotSupported},
          Row{L"D:(A;;FRFR;;;WD)", error::NotSupported},
          Row{L"D:(D;;FA;;;WD)", error::NotSupported},
          Row{L"D:(A;OI;FA;;;WD)", error::NotSupported}}) {
        Ownership state{1, 2, 0640};
        EXPECT_EQ(applySddl(row.text, 7, state), row.code) << utf8FromUtf16(row.text);
        EXPECT_EQ(state.mode, mode_t{0640});
    }
}

TEST(BackupStream, RecordsAreAlignedAndChained) {
    const auto bytes = encodeExtendedAttributes({{"ab", "xyz"}, {"c", ""}});
    const unsigned char expected[] = {16,  0, 0, 0, 0, 2, 3, 0, 'a', 'b', 0, 'x', 'y',
                                      'z', 0, 0, 0, 0, 0, 0, 0, 1,   0,   0, 'c', 0};
    ASSERT_EQ(bytes.size(), sizeof expected);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        EXPECT_EQ(std::to_integer<unsigned>(bytes[i]), expected[i]) << i;
    }
    EXPECT_TRUE(encodeExtendedAttributes({{std::string(256, 'n'), "v"}}).empty());
    EXPECT_EQ(encodeExtendedAttributes({{"n", std::string(65536, 'v')}}).size(), 8u + 2 + 65535);
}

constexpr std::string_view kMounts =
    "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
    "27 1 254:0 / / rw,relatime shared:1 master:2 - ext4 /dev/vda rw\n"
    "28 27 8:1 / /mnt/with\\040blank ro,relatime - vfat /dev/sdb1 ro\n"
    "29 27 0:50 / /mnt/net rw - cifs //server/share rw\n"
    "30 29 0:51 / /mnt/net rw - nfs4 host:/export rw\n"
    "not a line\n31 27 x:1 / /bad rw - ext4 /dev/x rw\n";

TEST(MountTable, TheDeepestAndLatestMountHoldsAPath) {
    const MountTable table = MountTable::fromText(kMounts);
    const auto typeOf = [&](std::string_view path) { return table.holding(path)->fsType; };
    EXPECT_EQ(typeOf("/"), "ext4");
    EXPECT_EQ(typeOf("/processes"), "ext4");
    EXPECT_EQ(typeOf("/proc/1"), "proc");
    EXPECT_EQ(typeOf("/mnt/with blank"), "vfat");
    EXPECT_EQ(typeOf("/mnt/net/x"), "nfs4");
    EXPECT_EQ(typeOf("/bad"), "ext4");
    EXPECT_TRUE(table.holding("/mnt/with blank")->readOnly);
    EXPECT_FALSE(table.holding("/")->readOnly);
    EXPECT_EQ(table.ofDevice(8, 1)->source, "/dev/sdb1");
    EXPECT_EQ(table.ofDevice(9, 9), nullptr);
    EXPECT_EQ(table.pointsBelow("/mnt"), (std::vector<std::string>{"net", "with blank"}));
    EXPECT_EQ(table.pointsBelow("/"),
              (std::vector<std::string>{"mnt/net", "mnt/with blank", "proc"}));
    EXPECT_TRUE(table.pointsBelow("/mnt/net").empty());
    EXPECT_EQ(MountTable::fromText("").holding("/"), nullptr);
}

TEST(SharedMountTable, OneReadingServesManyQuestions) {
    SharedMountTable mounts;
    const auto now = SharedMountTable::Clock::now();
    const auto first = mounts.get(now);
    EXPECT_NE(first->holding("/"), nullptr);
    EXPECT_EQ(mounts.get(now + SharedMountTable::kLongestAge / 2), first);
    EXPECT_NE(mounts.get(now + SharedMountTable::kLongestAge), first);
    EXPECT_NE(mounts.read(now), mounts.read(now));
}

TEST(MountTable, KindsAndNames) {
    EXPECT_EQ(driveTypeOf("nfs4"), platform::DriveType::Remote);
    EXPECT_EQ(driveTypeOf("iso9660"), platform::DriveType::CdRom);
    EXPECT_EQ(driveTypeOf("tmpfs"), platform::DriveType::RamDisk);
    EXPECT_EQ(driveTypeOf("xfs"), platform::DriveType::Fixed);
    EXPECT_EQ(fileSystemName("vfat"), L"FAT32");
    EXPECT_EQ(universalNameOf("//server/share"), L"\\\\server\\share");
    EXPECT_EQ(universalNameOf("host:/export/home"), L"\\\\host\\export\\home");
    EXPECT_EQ(universalNameOf("/dev/disk:/x"), L"");
    EXPECT_EQ(universalNameOf("tmpfs"), L"");
    EXPECT_EQ(deviceName("/dev/fd0"), L"\\Device\\Floppy0");
    EXPECT_EQ(deviceName("/dev/sda1"), L"/dev/sda1");
}

TEST(ProcessStat, NamesMayHoldAnything) {
    std::string tail = " S 7 1 42 0 -1 0 0 0 0 0 0 0 0 0 20 -5";
    for (int field = 17; field < 38; ++field) {
        tail += " 0";
    }
    const auto stat = parseProcessStat("12 (a) (b c) R)" + tail + " 2 0\n");
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->name, "a) (b c) R");
    EXPECT_EQ(stat->parentId, 7u);
    EXPECT_EQ(stat->sessionId, 42u);
    EXPECT_EQ(stat->nice, -5);
    EXPECT_EQ(priorityClassOf(*stat), 0x100u);  // policy 2: round robin
    for (const auto& [nice, expected] :
         {std::pair{-10, 0x80u}, {-1, 0x8000u}, {0, 0x20u}, {9, 0x4000u}, {10, 0x40u}}) {
        EXPECT_EQ(priorityClassOf({"", 0, 0, nice, SCHED_OTHER}), expected) << nice;
    }
    for (const char* text : {"", "12 (name", ")(", "1 (x) S 1 2 3"}) {
        EXPECT_FALSE(parseProcessStat(text)) << text;
    }
}

TEST(WellKnownSids, FormOfASid) {
    for (const wchar_t* text : {L"S-1-1-0", L"s-1-5-32-544", L"S-1-281474976710655-4294967295"}) {
        EXPECT_TRUE(isSid(text)) << utf8FromUtf16(text);
    }
    for (const wchar_t* text :
         {L"", L"S-1-5", L"S-1--1", L"S-1-5-", L"S-1-5-x", L"S-2-5-1", L"S-1-5-4294967296",
          L"S-1-281474976710656-1", L"S-1-5-1-2-3-4-5-6-7-8-9-10-11-12-13-14-15-16"}) {
        EXPECT_FALSE(isSid(text)) << utf8FromUtf16(text);
    }
}

TEST(Wildcard, Masks) {
    struct Row {
        const wchar_t* name;
        const wchar_t* mask;
        bool matches;
    };
    for (const Row& row :
         {Row{L"abc", L"*", true}, Row{L"", L"*", true}, Row{L"abc", L"*.*", true},
          Row{L"abc", L"A?C", true}, Row{L"abc", L"a?", false}, Row{L"aXbXc", L"a*b*c", true},
          Row{L"aab", L"*ab", true}, Row{L"abcd", L"*bc", false}, Row{L"a.txt", L"*.tx?", true},
          Row{L"abc", L"abc***", true}, Row{L"abc", L"", false}}) {
        EXPECT_EQ(matchesWildcard(row.name, row.mask), row.matches)
            << utf8FromUtf16(row.name) << " " << utf8FromUtf16(row.mask);
    }
}

}  // namespace
}  // namespace lathwind::posix
