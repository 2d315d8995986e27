#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "filewatch/RealTimeFilter.h"
#include "support/BinaryFolder.h"
#include "support/FilterLibrary.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"

namespace lathwind {
namespace {

using testing::LogCapture;

constexpr wchar_t kStarted[] =
    L"FWC_0028: Real-Time File Integrity Monitoring successfully initialized.";
constexpr wchar_t kFailed[] =
    L"FWC_0029: Failed to initialize Real-Time File Integrity Monitoring.";

// A filter inside the test, behind libraries that give whatever a row says: an exception must be
// able to leave it on every platform.
struct ScriptedFilter final : IPSFilterInterface {
    static std::int32_t answer(std::int32_t value) {
        return value == kThrow ? throw std::runtime_error("scripted") : value;
    }
    static constexpr std::int32_t kThrow = 99;

    std::int32_t start(IPSFilterCallback) override { return answer(startResult); }
    std::int32_t stop() override { return answer(stopResult); }
    std::int32_t reserved() override { return 0; }
    std::int32_t isPathMonitored(const wchar_t*) override { return 0; }
    std::int32_t addPath(const char*, std::int32_t, std::int32_t, std::int32_t) override {
        return 0;
    }
    std::int32_t removePath(const char*, std::int32_t, std::int32_t, std::int32_t) override {
        return 0;
    }

    std::int32_t startResult = 0;
    std::int32_t stopResult = 0;
};

struct ScriptedLibraries : platform::Libraries {
    static inline IPSFilterInterface* given = nullptr;
    static IPSFilterInterface* give() { return given; }
    static IPSFilterInterface* giveNothing() { throw std::runtime_error("scripted"); }

    platform::ErrorCode load(const std::wstring& path, void*& library) override {
        loaded.push_back(path);
        library = loadCode == platform::error::Success ? this : nullptr;
        return loadCode;
    }
    void* symbol(void*, const std::string& name) override {
        return name == "GetIPSFilterInterface" ? reinterpret_cast<void*>(entry) : nullptr;
    }
    void unload(void*) override { ++unloads; }
    std::wstring suffix() override { return L".lib"; }

    std::vector<std::wstring> loaded;
    int unloads = 0;
    platform::ErrorCode loadCode = platform::error::Success;
    IPSFilterInterface* (*entry)() = &give;
};

class RealTimeFilterTest : public ::testing::Test {
protected:
    RealTimeFilterTest() : override_(platformFactory.libraries, libraries) {
        ScriptedLibraries::given = &scripted;
    }
    static void ignore(const IPSFilterEvent*) {}

    const testing::BinaryFolder installation;
    ScriptedLibraries libraries;
    ScriptedFilter scripted;

private:
    testing::ServiceOverride<platform::Libraries> override_;
};

TEST_F(RealTimeFilterTest, EveryFailureIsAStartThatFailed) {
    struct Row {
        const wchar_t* what;
        bool isThere;
        platform::ErrorCode loadCode;
        IPSFilterInterface* (*entry)();
        bool isGiven;
        std::int32_t startResult;
        std::wstring line;
    };
    constexpr auto kLoaded = platform::error::Success;
    constexpr auto kGive = &ScriptedLibraries::give;
    const std::wstring noLibrary = L"Failed to load IPS Filewatch Filter (IPSFileWatchCollector";
    const std::wstring exception = L"Exception caught. Failed to start IPS Filewatch Filter";
    const Row rows[] = {
        {L"absent", false, kLoaded, kGive, true, 0, noLibrary},
        {L"damaged", true, platform::error::ModuleNotFound, kGive, true, 0, noLibrary},
        {L"no entry", true, kLoaded, nullptr, true, 0,
         L"Failed to load GetIPSFilterInterface API from IPS Filewatch Filter"},
        {L"entry throws", true, kLoaded, &ScriptedLibraries::giveNothing, true, 0, exception},
        {L"no interface", true, kLoaded, kGive, false, 0, L""},
        {L"refuses", true, kLoaded, kGive, true, -5,
         L"IPS Filewatch Filter start failed with error -5."},
        {L"throws", true, kLoaded, kGive, true, ScriptedFilter::kThrow, exception},
        {L"works", true, kLoaded, kGive, true, 0, L""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(narrow(row.what));
        if (row.isThere) {
            installation.root.write("bin/IPSFileWatchCollector.lib", "");
        }
        libraries.loadCode = row.loadCode;
        libraries.entry = row.entry;
        ScriptedLibraries::given = row.isGiven ? &scripted : nullptr;
        scripted.startResult = row.startResult;
        const bool isStarted = std::wstring_view(row.what) == L"works";
        LogCapture log;
        RealTimeFilter filter;
        EXPECT_EQ(filter.Start(&ignore), isStarted);
        EXPECT_EQ(filter.GetStarted(), isStarted ? &scripted : nullptr);
        EXPECT_EQ(log.debugLines[0], L"Starting IPS Filewatch Filter.");
        ASSERT_EQ(log.debugLines.size(), row.line.empty() ? 1u : 2u);
        EXPECT_TRUE(log.debugLines.back().starts_with(row.line) || row.line.empty())
            << narrow(log.debugLines.back());
        const auto expected = isStarted ? LogCapture::Message{Severity::Status, kStarted}
                                        : LogCapture::Message{Severity::Warning, kFailed};
        EXPECT_EQ(log.messages, std::vector<LogCapture::Message>{expected});
    }
    EXPECT_EQ(libraries.unloads, 0);
    for (const std::wstring& path : libraries.loaded) {
        EXPECT_EQ(path, installation.root.path(L"bin\\IPSFileWatchCollector.lib"));
    }
}

TEST_F(RealTimeFilterTest, StopTellsWhatCameOfIt) {
    installation.root.write("bin/IPSFileWatchCollector.lib", "");
    LogCapture log;
    RealTimeFilter filter;
    EXPECT_FALSE(filter.Stop());  // before it was ever there
    EXPECT_TRUE(filter.Start(&ignore));
    log.messages.clear();
    EXPECT_TRUE(filter.Start(&ignore));
    EXPECT_TRUE(log.messages.empty());
    scripted.stopResult = 3;
    EXPECT_FALSE(filter.Stop());
    scripted.stopResult = ScriptedFilter::kThrow;
    EXPECT_FALSE(filter.Stop());
    EXPECT_NE(filter.GetStarted(), nullptr);
    scripted.stopResult = 0;
    EXPECT_TRUE(filter.Stop());
    EXPECT_EQ(filter.GetStarted(), nullptr);
    EXPECT_EQ(log.debugLines,
              (std::vector<std::wstring>{
                  L"Stopping IPS Filewatch Filter.", L"IPS Filewatch Filter stop failed.",
                  L"Starting IPS Filewatch Filter.", L"Starting IPS Filewatch Filter.",
                  L"IPS Filewatch Filter already started.", L"Stopping IPS Filewatch Filter.",
                  L"IPS Filewatch Filter stop failed.", L"Stopping IPS Filewatch Filter.",
                  L"Exception caught. Failed to stop IPS Filewatch Filter",
                  L"Stopping IPS Filewatch Filter.", L"IPS Filewatch Filter stop succeeded."}));
    EXPECT_EQ(libraries.loaded.size(), 1u);
}

std::atomic<std::uint32_t> filterEvents{0};
std::atomic<std::uint32_t> pathUnits{0};

TEST(RealTimeFilterThreads, TheLibraryHandsEventsOn) {
    const testing::BinaryFolder installation;
    const testing::FilterLibrary library(installation.root.native("bin"),
                                         installation.root.path(L"bin"));
    using Call = testing::TestFilterControl::Call;
    testing::TestFilterControl& control = library.control();
    {
        RealTimeFilter filter;
        control.SetResult(Call::Start, 5);
        EXPECT_FALSE(filter.Start([](const IPSFilterEvent*) {}));
        control.SetResult(Call::Start, 0);
        ASSERT_TRUE(filter.Start([](const IPSFilterEvent* event) {
            pathUnits += static_cast<std::uint32_t>(std::wstring(event->filePath).size());
            ++filterEvents;
        }));
        const IPSFilterEvent event{2, 1, 2, nullptr, L"c:\\x", L"p", nullptr};
        control.Push(event);
        control.Push(event, 1000);
        control.Drain();
        EXPECT_EQ(filterEvents, 1001u);
        EXPECT_EQ(pathUnits, 4u + 1000 * 4 + 10 + 90 * 2 + 900 * 3);
        EXPECT_EQ(filter.GetStarted()->addPath("c:\\x", 1, 0, 0), 0);
        EXPECT_TRUE(control.IsWatched("c:\\x"));
    }
    EXPECT_EQ(control.CountOf(Call::GetInterface), 1u);
    EXPECT_EQ(control.CountOf(Call::Stop), 1u);  // by the end of the object
}

}  // namespace
}  // namespace lathwind
