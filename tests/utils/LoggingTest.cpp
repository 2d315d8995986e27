#include <gtest/gtest.h>
#include <string>

#include "support/LogCapture.h"
#include "support/ScopedOverride.h"
#include "utils/Logging.h"
#include "utils/MessageCatalogue.h"

namespace lathwind {
namespace {

using testing::LogCapture;
using testing::ScopedOverride;

// Row 1 holds what a test puts there.
class OneRowCatalogue : public MessageCatalogue {
public:
    inline static std::wstring row;
    int load(int id, wchar_t* buffer, int size) override {
        if (id != 1) {
            return 0;
        }
        const std::size_t count = row.copy(buffer, static_cast<std::size_t>(size) - 1);
        return static_cast<int>(count);
    }
};

class Logging : public ::testing::Test {
protected:
    ScopedOverride<std::unique_ptr<MessageCatalogue> (*)()> catalogue_{
        platformFactory.createMessageCatalogue,
        +[]() -> std::unique_ptr<MessageCatalogue> { return std::make_unique<OneRowCatalogue>(); }};
};

TEST_F(Logging, LinesKeepTheirColumns) {
    const auto line = [](Severity severity) {
        return detail::messageLine(severity, L"T", ModuleId::FilewatchCollector, L"FWC_0033: x");
    };
    EXPECT_EQ(line(Severity::Status), L"STATUS: \tT\tFilewatch Collector\tFWC_0033: x\n");
    EXPECT_EQ(line(Severity::Warning), L"WARNING:\tT\tFilewatch Collector\tFWC_0033: x\n");
    EXPECT_EQ(line(Severity::Error), L"ERROR:  \tT\tFilewatch Collector\tFWC_0033: x\n");
    EXPECT_EQ(line(Severity::Debug), L"T\tFilewatch Collector\tFWC_0033: x\n");
    EXPECT_EQ(line(Severity{-1}), L"T\tFilewatch Collector\tFWC_0033: x\n");
    EXPECT_EQ(
        detail::debugLine(L"T", ModuleId::Utils, {"./src/utils/FileIO.cpp", 106}, L"100% done"),
        L"DEBUG:  \tT\tUtils Module\t.\\src\\utils\\FileIO.cpp\t\t106\t\t100% done\n");
}

TEST_F(Logging, FindsTheCode) {
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {{L"FWC_0033: done", L"FWC_0033"},
                                                               {L"WTMP_0001: x", L"WTMP_0001"},
                                                               {L"0123456789: x", L""},
                                                               {L"no colon", L""},
                                                               {L": x", L""},
                                                               {L"", L""},
                                                               {L"FWC_0001", L""}};
    for (const auto& [text, code] : cases) {
        EXPECT_EQ(detail::codeOf(text), code) << std::string(text, text + wcslen(text));
    }
}

TEST_F(Logging, CutsLongTexts) {
    for (const std::size_t length : {1088u, 1089u, 1090u, 5000u}) {
        const std::wstring text(length, L'x');
        const FormatArg args[] = {FormatArg(text)};
        const std::wstring expected = length < 1090 ? text : std::wstring(1089, L'x') + L"...";
        EXPECT_EQ(detail::formatLimited(L"%ls", args), expected) << length;
    }
}

TEST_F(Logging, ReplacesPlaceholdersBeforeFormatting) {
    OneRowCatalogue::row = L"IA_0001: %ls %S of %P, %P";
    EXPECT_EQ(getMessage(1),
              L"IA_0001: %ls Tessarin IDS Service of Tessarin Ravenmark, Tessarin Ravenmark");
    LogCapture log;
    logCatalogued(Severity::Error, ModuleId::Main, 1, L"%P");
    ASSERT_EQ(log.messages.size(), 1u);
    EXPECT_EQ(log.messages[0].text,
              L"IA_0001: %P Tessarin IDS Service of Tessarin Ravenmark, Tessarin Ravenmark");
}

TEST_F(Logging, CutsRowsAtTheirBuffers) {
    OneRowCatalogue::row = std::wstring(250, L'a') + L"%P" + std::wstring(300, L'b');
    EXPECT_EQ(getMessage(1), std::wstring(250, L'a') + L"Tessa");  // 255 units
    EXPECT_EQ(detail::loadRow(1, 512).size(), 511u);
    EXPECT_EQ(getMessage(2), L"");
}

TEST_F(Logging, FormatsOrCopiesTheRow) {
    OneRowCatalogue::row = L"PE_0105: %d%% of %ls";
    LogCapture log;
    logCatalogued(Severity::Warning, ModuleId::ProcessEvent, 1, 80, L"disk");
    logCatalogued0(Severity::Status, ModuleId::ProcessEvent, 1);
    logCatalogued(Severity::Error, ModuleId::ProcessEvent, 2, 80);
    logCatalogued0(Severity::Error, ModuleId::ProcessEvent, 2);
    const std::vector<LogCapture::Message> expected = {{Severity::Warning, L"PE_0105: 80% of disk"},
                                                       {Severity::Status, L"PE_0105: %d%% of %ls"}};
    EXPECT_EQ(log.messages, expected);
}

TEST_F(Logging, ASinkOverridesTheSwitches) {
    ASSERT_EQ(detail::moduleFlags[8].load(), 0u);
    EXPECT_FALSE(isDebugOn(ModuleId::Utils));
    debugLog(ModuleId::Utils, L"to nowhere");
    LogCapture log;
    EXPECT_TRUE(isDebugOn(ModuleId::Utils));
    debugLog(ModuleId::Utils, L"%ls has %d", L"x", 3);
    EXPECT_EQ(log.debugLines, std::vector<std::wstring>{L"x has 3"});
}

TEST_F(Logging, TheSwitchOutlivesASink) {
    for (const bool on : {true, false}) {
        {
            const LogCapture log;
            detail::setDebug(ModuleId::Main, on);
            EXPECT_TRUE(isDebugOn(ModuleId::Main));
        }
        EXPECT_EQ(isDebugOn(ModuleId::Main), on);
    }
}

TEST_F(Logging, NamesTheModules) {
    EXPECT_EQ(moduleName(ModuleId::EventLogCollector), L"Event Log Collector");
    EXPECT_EQ(moduleName(ModuleId::WtmpsCollector), L"WTMPS Collector");
    EXPECT_EQ(moduleName(ModuleId::FimDriverInterface), L"FIMDriver Interface");
    EXPECT_EQ(moduleName(static_cast<ModuleId>(18)), L"");
}

}  // namespace
}  // namespace lathwind
