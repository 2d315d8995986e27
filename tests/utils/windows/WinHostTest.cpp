#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "utils/windows/CodePage.h"
#include "utils/windows/TextOutput.h"
#include "utils/windows/WinServices.h"

namespace lathwind::windows {
namespace {

using lathwind::testing::TempDir;
namespace error = platform::error;

TEST(WinHost, TextOfTheCodePage) {
    EXPECT_EQ(L"abc", host().widen("abc"));
    EXPECT_EQ(L"", host().widen(""));
    EXPECT_EQ("a\\b", host().narrow(L"a\\b"));
    const bool western = ::GetACP() == 1252;
    if (western) {
        EXPECT_EQ("\xE4\x80", host().narrow(L"\u00E4\u20AC"));
        EXPECT_EQ(L"\u00E4\u20AC", host().widen("\xE4\x80"));
        // Full-width letters, a Greek one and a pair: no look-alikes, one mark a unit.
        EXPECT_EQ("x??y", host().narrow(L"x\uFF21\u0394y"));
        EXPECT_EQ(
            "?"
            "?",
            host().narrow(std::wstring{0xD83D, 0xDE00}));
    }
    // Zeros are text like any other.
    EXPECT_EQ(3U, host().widen(std::string_view("a\0b", 3)).size());
}

TEST(WinHost, ErrorTextHasNoLineEnd) {
    const std::wstring text = host().errorText(error::AccessDenied);
    ASSERT_FALSE(text.empty());
    EXPECT_NE(L'\n', text.back());
    EXPECT_NE(L'\r', text.back());
    EXPECT_EQ(L"Unknown error 3735928559", host().errorText(0xDEADBEEF));
    EXPECT_FALSE(host().errnoText(ENOENT).empty());
}

TEST(WinHost, EnvironmentTellsEmptyFromMissing) {
    const struct {
        const wchar_t* set;
        platform::ErrorCode code;
        std::wstring value;
    } rows[] = {{nullptr, error::FileNotFound, L"untouched"},
                {L"", error::Success, L""},
                {L"short", error::Success, L"short"}};
    for (const auto& row : rows) {
        ::SetEnvironmentVariableW(L"LATHWIND_TEST", row.set);
        std::wstring value = L"untouched";
        EXPECT_EQ(row.code, host().environment(L"LATHWIND_TEST", value));
        EXPECT_EQ(row.value, value);
    }
    for (const std::size_t size : {127U, 128U, 129U, 5000U}) {
        const std::wstring expected(size, L'v');
        ::SetEnvironmentVariableW(L"LATHWIND_TEST", expected.c_str());
        std::wstring value;
        EXPECT_EQ(error::Success, host().environment(L"LATHWIND_TEST", value));
        EXPECT_EQ(expected, value);
    }
    ::SetEnvironmentVariableW(L"LATHWIND_TEST", nullptr);
}

TEST(WinHost, FactsOfTheMachine) {
    platform::OsVersion plain;
    platform::OsVersion extended;
    EXPECT_EQ(error::Success, host().osVersion(false, plain));
    EXPECT_EQ(error::Success, host().osVersion(true, extended));
    EXPECT_EQ(2U, plain.platform);
    EXPECT_EQ(plain.major, extended.major);
    EXPECT_EQ(plain.minor, extended.minor);
    std::wstring name;
    EXPECT_EQ(error::Success, host().hostName(name));
    EXPECT_FALSE(name.empty());
    EXPECT_TRUE(host().windowsDirectory().size() > 3);
    EXPECT_EQ(platform::ServiceState::Unknown, host().serviceState(L"lathwind no such service"));
    EXPECT_GT(host().currentTimeMs(), 1600000000000);
    const std::int64_t earlier = host().steadyTimeMs();
    EXPECT_GE(host().steadyTimeMs(), earlier);
}

TEST(WinHost, RedirectionIsRevertedWithItsCookie) {
    void* cookie = nullptr;
    const platform::ErrorCode code = host().disableFsRedirection(cookie);
    if (host().isWow64Process()) {
        ASSERT_EQ(error::Success, code);
        EXPECT_EQ(error::Success, host().revertFsRedirection(cookie));
    } else {
        EXPECT_NE(error::Success, code);
    }
}

TEST(WinHost, BiasIsOneOfTheZones) {
    const platform::TimeZoneFacts zone = host().timeZone();
    for (const std::int64_t second : {1356998400LL, 1372636800LL}) {  // January and July 2013
        std::int32_t bias = 12345;
        const bool daylight = host().isDaylightAt(second, bias);
        EXPECT_EQ(daylight ? zone.daylightBias : zone.standardBias, bias);
    }
    std::int32_t bias = 12345;
    EXPECT_FALSE(host().isDaylightAt(INT64_MAX, bias));
    EXPECT_EQ(zone.standardBias, bias);
}

// Lets a handle stand for standard output while one TextOutput is made.
class TextOutputTest : public ::testing::Test {
protected:
    std::unique_ptr<TextOutput> over(DWORD fileAccess, bool buffered) {
        file_.reset(validHandle(::CreateFileW(folder_.path(L"out").c_str(), fileAccess,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                              OPEN_ALWAYS, 0, nullptr)));
        const HANDLE former = ::GetStdHandle(STD_OUTPUT_HANDLE);
        ::SetStdHandle(STD_OUTPUT_HANDLE, file_.get());
        auto output = std::make_unique<TextOutput>(STD_OUTPUT_HANDLE, buffered);
        ::SetStdHandle(STD_OUTPUT_HANDLE, former);
        return output;
    }

    TempDir folder_;
    UniqueHandle file_;
};

TEST_F(TextOutputTest, LinesEndAsInTextMode) {
    const auto output = over(GENERIC_WRITE, true);
    EXPECT_FALSE(output->isConsole());
    EXPECT_TRUE(output->write(L"a\nb\n\n"));
    EXPECT_TRUE(output->write(L"c\r\nd"));
    EXPECT_EQ("", folder_.read("out")) << "gathered until asked";
    EXPECT_TRUE(output->flush());
    EXPECT_EQ("a\r\nb\r\n\r\nc\r\r\nd", folder_.read("out"));
}

TEST_F(TextOutputTest, NothingIsLostBetweenBlocks) {
    const auto output = over(GENERIC_WRITE, true);
    std::string expected;
    for (int line = 0; line < 20000; ++line) {
        const std::wstring number = std::to_wstring(line);
        output->write(number + L"\n");
        expected.append(number.begin(), number.end()).append("\r\n");
    }
    EXPECT_TRUE(output->flush());
    EXPECT_EQ(expected, folder_.read("out"));
}

TEST_F(TextOutputTest, AFailedWriteIsRemembered) {
    const auto output = over(GENERIC_READ, true);
    EXPECT_TRUE(output->write(L"waits"));
    EXPECT_FALSE(output->flush());
    EXPECT_FALSE(output->write(L"later"));
    EXPECT_FALSE(over(GENERIC_READ, false)->write(L"at once"));
}

}  // namespace
}  // namespace lathwind::windows
