#include <algorithm>
#include <gtest/gtest.h>
#include <string>

#include "utils/Text.h"
#include "utils/platform/Host.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

namespace error = platform::error;
using platform::Host;

TEST(HostContract, AsciiSurvivesTheSystemCodePage) {
    Host& host = platform::host();
    EXPECT_EQ(host.widen("plain text\n"), L"plain text\n");
    EXPECT_EQ(host.narrow(L"plain text\n"), "plain text\n");
    EXPECT_EQ(host.widen(""), L"");
    EXPECT_FALSE(host.narrow(std::wstring(1, static_cast<wchar_t>(0xD800))).empty());
    EXPECT_FALSE(host.widen("\xFF").empty());
}

TEST(HostContract, ErrorNumbersHaveWordsWithoutALineEnd) {
    Host& host = platform::host();
    for (const platform::ErrorCode code :
         {error::FileNotFound, error::PathNotFound, error::AccessDenied, error::AlreadyExists}) {
        const std::wstring text = host.errorText(code);
        ASSERT_FALSE(text.empty()) << code;
        EXPECT_EQ(text, trimRight(text)) << code;
    }
    EXPECT_FALSE(host.errorText(0x7FFFFFFF).empty());
    EXPECT_FALSE(host.errnoText(2).empty());
    EXPECT_NE(host.errnoText(2), host.errnoText(13));
}

TEST(HostContract, LastErrorIsKept) {
    platform::host().setLastError(error::FileExists);
    EXPECT_EQ(platform::host().lastError(), error::FileExists);
}

TEST(HostContract, EnvironmentIsFoundInAnyCase) {
    std::wstring value = L"before";
    EXPECT_EQ(platform::host().environment(L"LATHWIND_SURELY_UNSET", value), error::FileNotFound);
    EXPECT_EQ(platform::host().environment(L"", value), error::FileNotFound);
    EXPECT_EQ(value, L"before");
    std::wstring other;
    ASSERT_EQ(platform::host().environment(L"PATH", value), error::Success);
    ASSERT_EQ(platform::host().environment(L"pAtH", other), error::Success);
    EXPECT_EQ(value, other);
}

TEST(HostContract, ClocksAgree) {
    Host& host = platform::host();
    const std::int64_t steady = host.steadyTimeMs();
    const std::int64_t now = host.currentTimeMs();
    EXPECT_GT(now, 1'600'000'000'000);  // 2020
    EXPECT_GE(host.steadyTimeMs(), steady);
    std::int32_t bias = 9999;
    const bool daylight = host.isDaylightAt(now / 1000, bias);
    const platform::TimeZoneFacts zone = host.timeZone();
    EXPECT_EQ(bias, daylight ? zone.daylightBias : zone.standardBias);
    EXPECT_LE(std::abs(bias), 15 * 60);
    EXPECT_FALSE(zone.standardName.empty());
}

TEST(HostContract, HostHasAName) {
    std::wstring name;
    EXPECT_EQ(platform::host().hostName(name), error::Success);
    EXPECT_FALSE(name.empty());
    platform::OsVersion version;
    EXPECT_EQ(platform::host().osVersion(true, version), error::Success);
    EXPECT_NE(version.major, 0u);
    EXPECT_NE(platform::host().serviceState(L"surely-no-service"), platform::ServiceState::Running);
}

TEST(HostContract, AddressIsDotted) {
    std::wstring address;
    if (platform::host().ipAddress(address) == error::Success) {
        EXPECT_EQ(std::count(address.begin(), address.end(), L'.'), 3);
        EXPECT_EQ(address.find_first_not_of(L"0123456789."), std::wstring::npos);
    } else {
        EXPECT_TRUE(address.empty());  // a host without a network
    }
}

TEST(HostContract, OutputTakesAnyText) {
    EXPECT_TRUE(platform::host().writeOutput(L"a line\n"));
    EXPECT_TRUE(
        platform::host().writeOutput(std::wstring(1, static_cast<wchar_t>(0xDC00)) + L"\n"));
    EXPECT_TRUE(platform::host().writeOutput(L""));
    EXPECT_TRUE(platform::host().flushOutput());
}

}  // namespace
}  // namespace lathwind
