#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "plugins/PluginCollector.h"
#include "support/BinaryFolder.h"
#include "support/LogCapture.h"
#include "utils/AgentInfo.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::LogCapture;

class PluginCollectorTest : public ::testing::Test {
protected:
    void install(const char* folder, const std::string& name) {
        const std::string file = name + narrow(platform::libraries().suffix());
        std::filesystem::copy_file(std::filesystem::path(folder) / file,
                                   installation.root.native("bin") / file);
    }
    static std::wstring library(const wchar_t* name) {
        return name + platform::libraries().suffix();
    }
    std::uint32_t state() const { return settings->collectors().stateOf(collectorBit::Plugin); }

    const testing::BinaryFolder installation;
    const AgentInfoRef settings;
};

struct Keeper : EventDestination {
    bool isFull() override { return false; }
    void take(std::unique_ptr<IDSEvent> event) override {
        events.push_back(std::move(event));
        taken->set();
    }

    std::vector<std::unique_ptr<IDSEvent>> events;
    const std::unique_ptr<Event> taken = platformFactory.createEvent(L"");
};

TEST_F(PluginCollectorTest, WhatCannotBeUsedLeavesTheCollectorOff) {
    install(LATHWIND_BROKEN_PLUGINS, "collector_refusing");
    install(LATHWIND_BROKEN_PLUGINS, "collector_noend");
    struct Case {
        std::wstring library;
        std::wstring line;
    };
    const std::wstring refusing = library(L"collector_refusing");
    const std::wstring noEnd = library(L"collector_noend");
    const Case cases[] = {
        {library(L"absent"), L"Failed to load collector plugin (" + library(L"absent") + L"): "},
        {L"..\\bin\\" + refusing, L"Failed to load collector plugin (..\\bin\\" + refusing},
        {noEnd, L"Failed to load PluginTerminate API from collector plugin (" + noEnd + L"): "},
        {refusing, L"Unable to initialize collector plugin: " + refusing},
    };
    for (const Case& test : cases) {
        settings->collectors().setState(collectorBit::Plugin, collectorState::NotStarted);
        LogCapture log;
        PluginCollector collector(L"Plugin", test.library);
        EXPECT_FALSE(collector.start());
        ASSERT_EQ(log.debugLines.size(), 1u);
        EXPECT_TRUE(log.debugLines[0].starts_with(test.line)) << narrow(log.debugLines[0]);
        EXPECT_EQ(state(), collectorState::Failed);
        EXPECT_FALSE(collector.isRunning());
    }
}

TEST_F(PluginCollectorTest, ARecordBecomesAnEvent) {
    const collector_text fields[] = {{"a", 1}, {nullptr, 0}, {"\xC3\xA4\0", 3}};
    collector_record record{};
    record.size = sizeof(record);
    record.kind = COLLECTOR_KIND_STATUS;
    record.time = 1234567890;
    record.text = {"said so", 4};
    record.fields = fields;
    record.field_count = 3;
    ASSERT_TRUE(PluginEvent::isSound(&record));
    const PluginEvent event(record);
    EXPECT_EQ(event.GetEventClass(), 6u);
    EXPECT_EQ(event.GetSourceKind(), 13u);
    EXPECT_EQ(event.GetCollectTime(), 1234567890);
    EXPECT_EQ(event.GetEventText(), L"said");
    EXPECT_EQ(event.GetValues(), (std::vector<std::wstring>{L"a", L"", L"\x00E4\xFFFD"}));
    EXPECT_EQ(event.GetMachineName(), settings->hostName());
    record.kind = 77;
    record.time = 0;
    const PluginEvent other(record);
    EXPECT_EQ(other.GetEventClass(), 4u);
    EXPECT_EQ(other.GetSourceKind(), 5u);
    EXPECT_GT(other.GetCollectTime(), 1700000000);
}

TEST_F(PluginCollectorTest, ARecordThatBreaksTheInterfaceIsNotRead) {
    const collector_text gap[] = {{nullptr, 5}};
    const collector_text huge[] = {{"x", 64 * 1024}, {"y", 1}};  // too much together
    collector_record sound{};
    sound.size = sizeof(sound);
    const auto with = [&](auto change) {
        collector_record record = sound;
        change(record);
        return record;
    };
    const collector_record cases[] = {
        with([](collector_record& record) { --record.size; }),
        with([](collector_record& record) { record.text.size = 1; }),
        with([](collector_record& record) { record.field_count = 1; }),
        with([&](collector_record& record) { record.fields = gap, record.field_count = 1; }),
        with([&](collector_record& record) { record.fields = huge, record.field_count = 2; }),
        with([&](collector_record& record) { record.fields = gap, record.field_count = 1001; }),
    };
    EXPECT_TRUE(PluginEvent::isSound(&sound));
    EXPECT_FALSE(PluginEvent::isSound(nullptr));
    for (const collector_record& record : cases) {
        EXPECT_FALSE(PluginEvent::isSound(&record)) << (&record - cases);
    }
}

using PluginCollectorThreads = PluginCollectorTest;

TEST_F(PluginCollectorThreads, TheSampleRuns) {
    install(LATHWIND_PLUGINS, "collector_sample");
    Keeper destination;
    {
        PluginCollector collector(L"Plugin", library(L"collector_sample"));
        collector.attach(destination);
        EXPECT_TRUE(collector.start());
        EXPECT_EQ(state(), collectorState::Started);
        EXPECT_EQ(destination.taken->wait(20'000, false), WaitResult::Signalled);
        collector.stop();
        EXPECT_GE(collector.eventCount(), 1u);
    }
    ASSERT_GE(destination.events.size(), 1u);
    EXPECT_EQ(destination.events[0]->GetEventText(), L"The sample collector has started");
    EXPECT_EQ(destination.events[0]->GetCollectTime(), 1000000000);
    EXPECT_EQ(destination.events[0]->GetValues(),
              (std::vector<std::wstring>{L"sample", L"The sample collector has started"}));
}

}  // namespace
}  // namespace lathwind
