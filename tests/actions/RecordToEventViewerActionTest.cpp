#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "actions/ActionThread.h"
#include "actions/DirectEventRecorder.h"
#include "actions/Flag.h"
#include "actions/RecordToEventViewerAction.h"
#include "support/BinaryFolder.h"
#include "support/FakeVolumes.h"
#include "support/LogCapture.h"
#include "support/ServiceOverride.h"
#include "utils/CsvField.h"
#include "utils/FileIO.h"

namespace lathwind {
namespace {

using testing::LogCapture;

struct NamedPolicy : ActionPolicy {
    std::wstring name() const override { return L"Web"; }
};

// The process's event files, in an installation of the test's own.
class RecordToEventViewerActionTest : public ::testing::Test {
protected:
    RecordToEventViewerActionTest() {
        installation.root.write("system/agent.ini",
                                "[Log]\nlog.rule.0=SEND\"|\"$1\"|\"CSRV\"|\"\"|\"eq\"|\"\n"
                                "[IDSLogRules]\n"
                                "ids.log.rule.0=SEND\"|\"$1\"|\"DFWW\"|\"\"|\"eq\"|\"\n");
        RecordToEventViewerAction::recordSetPaths(L"", L"");
        RecordToEventViewerAction::recordConfigure(RecordSetting::NoRollover, L"");
    }
    ~RecordToEventViewerActionTest() override {
        EventFiles::instance().setDisk(L"");
        EventFiles::instance().close();
    }

    // The lines of an event file, without its marker line, as fields.
    std::vector<std::vector<std::wstring>> lines(const char* name) const {
        ActionThread::instance().flush();
        std::vector<std::vector<std::wstring>> result;
        if (!installation.root.exists(name)) {
            return result;
        }
        std::istringstream text(installation.root.read(name));
        for (std::string line; std::getline(text, line);) {
            std::vector<std::wstring> fields;
            SplitFields(trimRight(widen(line)), fields);
            if (fields.at(0) != L"MSOF") {
                result.push_back(std::move(fields));
            }
        }
        return result;
    }
    static IDSEvent fileEvent() {
        IDSEvent event;
        event.SetSourceKind(sourceKind::FileWatch, false);
        event.SetUserName(L"ann");
        event.SetEventText(L"a file, \"changed\"");
        event.SetValues({L"P", L"c:\\x"});
        return event;
    }

    const testing::BinaryFolder installation;
    const NamedPolicy policy;
};

constexpr const char* kAll = "log/QVRIDSEvents.csv";
constexpr const char* kRealTime = "log/QVRRTEvents.csv";

TEST_F(RecordToEventViewerActionTest, WritesALineAndChoosesTheFiles) {
    RecordToEventViewerAction action(&policy);
    action.perform(fileEvent(), nullptr);
    IDSEvent other = fileEvent();
    other.SetSourceKind(sourceKind::LogWatch, false);
    action.perform(other, nullptr);
    other.SetSourceKind(11, false);
    action.perform(other, nullptr);

    const auto all = lines(kAll);
    ASSERT_EQ(all.size(), 2u) << "a kind that is never recorded";
    EXPECT_EQ(all[0][0], L"DFWW");
    EXPECT_EQ(all[0][5], L"R") << "sent at once, which its state says";
    EXPECT_EQ(all[0][9], L"a file, \"changed\"");
    EXPECT_EQ(all[0][10], L"ann");
    EXPECT_EQ((std::vector<std::wstring>(all[0].begin() + 14, all[0].end())),
              (std::vector<std::wstring>{L"P", L"c:\\x"}));
    EXPECT_EQ(all[1][5], L"");
    EXPECT_EQ(std::stoul(all[1][1]), std::stoul(all[0][1]) + 1);

    const auto realTime = lines(kRealTime);
    ASSERT_EQ(realTime.size(), 1u);
    EXPECT_EQ(realTime[0], all[0]);
}

TEST_F(RecordToEventViewerActionTest, TextsAndTemplates) {
    Flag flag;
    flag.configure({L"f", L"", 0, 0, L""});
    flag.raise(fileEvent(), false);
    const FlagContexts flags = {&flag};
    const std::wstring longText(200, L'x');
    struct Case {
        const char* name;
        std::vector<const wchar_t*> templates;
        std::wstring message;
        const FlagContexts* flags;
        std::wstring expected;
    };
    const Case cases[] = {
        {"own message", {}, L"  a {USER_NAME} b\n", nullptr, L"a {USER_NAME} b"},
        {"own message with flags", {}, L"{USER_NAME} {flag.count}", &flags, L"ann 1"},
        {"template", {L"{USER_NAME}"}, L"m", nullptr, L"ann"},
        {"bare", {L" user_name "}, L"m", nullptr, L"ann"},
        {"templates",
         {L" {TARGET_INFO} ", L"n={flag.f.count} {Flag Count}"},
         L"m",
         &flags,
         L"c:\\x\nn=1 1"},
        {"128 units", {}, longText.substr(0, 128), nullptr, longText.substr(0, 128)},
        {"129 units", {}, longText.substr(0, 129), nullptr, longText.substr(0, 125) + L"..."},
    };
    for (const Case& test : cases) {
        RecordToEventViewerAction action(&policy);
        for (const wchar_t* text : test.templates) {
            action.handleDotCode(L'T', text);
        }
        IDSEvent event = fileEvent();
        event.SetEventText(test.message);
        ActionThread::instance().flush();
        CsvRecord record = action.makeRecord(event, test.flags);
        EXPECT_EQ(record.fields[9], test.expected) << test.name;
    }
}

TEST_F(RecordToEventViewerActionTest, ATemplateMustBeKnown) {
    LogCapture log;
    RecordToEventViewerAction action(&policy);
    action.handleDotCode(L'T', L"{No Such}");
    action.handleDotCode(L'T', L"{USER_NAME}");
    action.handleDotCode(L'Z', L"4");
    const std::vector<LogCapture::Message> expected = {
        {Severity::Warning, L"PE_0094: Invalid Macro Tag specified: No Such"}};
    EXPECT_EQ(log.messages, expected);
    EXPECT_EQ(action.id(), 4);
    EXPECT_EQ(action.makeRecord(fileEvent(), nullptr).fields[9], L"ann");
}

TEST_F(RecordToEventViewerActionTest, AFullQueueLosesAndReportsOnce) {
    LogCapture log;
    struct Idle : RecordToEventViewerAction {
        using RecordToEventViewerAction::RecordToEventViewerAction;
        void process() override {}
    } action(&policy);
    const std::uint32_t before = RecordToEventViewerAction::droppedReports();
    std::size_t taken = 0;
    for (int i = 0; i < 8000; ++i) {
        taken += static_cast<std::size_t>(action.enqueue({{L"x"}, false, false}, RuleSet::Agent));
    }
    EXPECT_EQ(taken, 7500u);
    EXPECT_EQ(RecordToEventViewerAction::droppedReports(), before + 1);
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_TRUE(log.messages[0].text.starts_with(L"PE_0049: A send to event viewer action queue"));
    ActionThread::instance().flush();
}

TEST_F(RecordToEventViewerActionTest, AFullDiskKeepsAllButTheAgentsErrors) {
    testing::FakeVolumes volumes;
    const testing::ServiceOverride override(platformFactory.volumes, volumes);
    volumes.volumes[installation.root.path().substr(0, 3)].space = {100, 1};
    installation.root.write("system/agent.ini", "");
    EventFiles files;
    files.setPaths(L"", L"");
    files.setDiskLimits(installation.root.path(), {80, 90, 0, 1});
    LogCapture log;
    files.write({{L"DFWW", L"1"}, false, false});
    files.write({{L"MERR", L"2"}, false, true});
    EXPECT_TRUE(
        log.hasDebug(L"CSV line pruned from ../log/QVRIDSEvents.csv by disk thresholding: "
                     L"DFWW,1\n"));
    files.setDiskLimits(L"", {});  // switched off, it does not stay where it was
    files.write({{L"DGEN", L"3"}, false, false});
    files.close();
    const auto all = lines(kAll);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0][0], L"MERR");
    EXPECT_EQ(all[1][0], L"DGEN");
}

TEST_F(RecordToEventViewerActionTest, RolloverSettings) {
    EventFiles files;
    files.setPaths(L"", installation.root.path(L"log\\rt.csv"));
    files.configure(RecordSetting::RollBySize, L"100");
    files.write({{L"DFWW"}, true, false});
    files.configure(RecordSetting::RollNow, L"");
    files.write({{L"DGEN"}, false, false});
    files.close();
    EXPECT_TRUE(installation.root.exists("log/rt1.csv"));
    EXPECT_EQ(lines("log/QVRIDSEvents1.csv").at(0).at(0), L"DGEN");
    EXPECT_EQ(lines(kAll).at(0).at(0), L"DFWW");
}

TEST_F(RecordToEventViewerActionTest, RecordsOfTheServiceTakeTheShortRoad) {
    DirectEventRecorder recorder;
    struct Case {
        const wchar_t* type;
        std::uint32_t state;
        std::wstring letters;
        bool isSent;
    };
    const Case cases[] = {
        {L"CSRV", 0x804, L"ISR", true},   // the service's rules
        {L"CSRV", 0x404, L"IF", false},   // not the service's
        {L"DFWW", 0x404, L"IFR", true},   // the agent's rules
        {L"MREP", 0x804, L"old", false},  // keeps its state
    };
    for (const Case& test : cases) {
        auto event = std::make_unique<IDSEvent>();
        event->SetSystemState(test.state, false);
        event->SetValues({test.type, L"7", L"t", L"I", L"15", L"old", L"rest"});
        EXPECT_TRUE(recorder.Record(event));
        EXPECT_EQ(event, nullptr);
    }
    auto other = std::make_unique<IDSEvent>(fileEvent());
    EXPECT_FALSE(recorder.Record(other));
    EXPECT_NE(other, nullptr);

    const auto all = lines(kAll);
    ASSERT_EQ(all.size(), std::size(cases));
    std::size_t sent = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i][5], cases[i].letters) << i;
        EXPECT_EQ(all[i][6], L"rest");
        sent += static_cast<std::size_t>(cases[i].isSent);
    }
    EXPECT_EQ(lines(kRealTime).size(), sent);
}

}  // namespace
}  // namespace lathwind
