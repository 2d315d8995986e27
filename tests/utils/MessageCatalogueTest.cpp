#include <cstddef>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

#include "utils/MessageCatalogue.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

constexpr int kHighestId = 441;

std::wstring textOf(MessageCatalogue& catalogue, int id) {
    wchar_t buffer[512];
    const int count = catalogue.load(id, buffer, 512);
    return std::wstring(buffer, static_cast<std::size_t>(count));
}

// "PE_0042" of "PE_0042: Rule ..."; empty for a label.
std::wstring codeOf(const std::wstring& text) {
    const std::size_t colon = text.find(L':');
    if (colon == std::wstring::npos || colon < 7 || text[colon - 5] != L'_' ||
        text.substr(colon - 4, 4).find_first_not_of(L"0123456789") != std::wstring::npos) {
        return {};
    }
    return text.substr(0, colon);
}

// Every row whose words are known, written down a second time: a slip of an editor in the source
// of the catalogue is a changed message for the operators' filters.
struct KnownRow {
    int id;
    const wchar_t* text;
};
// clang-format off
constexpr KnownRow kKnownRows[] = {
    {12, L"FWC_0002: Unexpected error occurred while serializing file collector information: %ls"},
    {13, L"FWC_0004: Unexpected error occurred while de-serializing file collector information: %ls"},
    {14, L"FWC_0005: Unexpected error occurred while de-serializing watched entities: %ls"},
    {15, L"IA_0001: Error updating: %ls %S service status in Service Control Panel"},
    {17, L"FWC_0027: Unable to de-serialize file collector information: %ls"},
    {26, L"IA_0012: Agent failed to enable required privileges. Certain featured may not function as desired"},
    {27, L"IA_0013: Could not open statistics log file to write periodic statistical information for the agent"},
    {37, L"FWC_0028: Real-Time File Integrity Monitoring successfully initialized."},
    {38, L"FWC_0029: Failed to initialize Real-Time File Integrity Monitoring."},
    {41, L"FIM_0001: Savrel autoprotect module detected. RT-FIM module load canceled."},
    {42, L"FWC_0032: Invalid File collector rule(s) dropped. Maximum search depth %d exceeded: %ls"},
    {47, L"FWC_0033: File Collector configuration finalized: %d watched files %d watched log files."},
    {56, L"PE_0001: Unexpected error occurred while executing actions: %ls"},
    {57, L"PE_0002: Unexpected error occurred while executing actions."},
    {99, L"UT_0016: Unable to create process list"},
    {100, L"UT_0017: Failed to open process. Process ID: %d"},
    {118, L"UT_0035: Unexpected error occurred while running thread:  %ls"},
    {129, L"FWC_0006: Unable to retrieve last known watched file states from FileWatch.dat"},
    {154, L"PE_0042: Rule \\\"%ls\\\" already exists in collection. Will not overwrite. New rule discarded"},
    {156, L"UT_0040: The event cache store (%ls) has reached its limit. Information will be lost."},
    {158, L"UT_0042: Unable to delete log file \"%ls\""},
    {159, L"UT_0043: Could not rename %ls to %ls: %ls"},
    {170, L"FWC_0007: File collector is approaching the maximum queue size.  Increase the queue size or limit the number of files to watch to avoid losing events."},
    {171, L"FWC_0008: File collector queue is full.  Events were lost.  Increase the queue size or limit the number of files to watch to avoid losing events."},
    {174, L"Agent start time "},
    {175, L"Events collected by "},
    {177, L"Total events collected "},
    {178, L"Events sent to Orvel"},
    {179, L"Events pending in Orvel queue"},
    {180, L"Events dropped in action queues"},
    {181, L"Events dropped by Orvel queue"},
    {182, L"Total number of policies loaded"},
    {183, L"Events that matched a Policy Rule"},
    {184, L"Events submitted to Orvel queue"},
    {185, L"Errors reported by Agent"},
    {186, L"Warnings reported by Agent"},
    {192, L"PE_0044: Cannot read ZMA encrypted policy file: %ls"},
    {193, L"PE_0045: Flag ID: %ls does not exist on the system. The policy that contains this flag is not a part of this agent's configuration"},
    {199, L"UT_0050: Unexpected error occurred while running thread:  %ls. Error: %ls"},
    {200, L"Status reported by Agent"},
    {212, L"Events dropped:"},
    {219, L"PE_0048: A send to event viewer action is approaching the maximum queue size.  Increase the process event queue size to avoid losing actions on events."},
    {221, L"PE_0049: A send to event viewer action queue is full.  Send to event viewer actions(s) could not be taken."},
    {224, L"PE_0053: Policy data is invalid. Raise flag action will not be taken."},
    {227, L"PE_0056: Policy data is invalid. Lower flag action will not be taken."},
    {229, L"FWC_0013: File watch criteria was changed since the last time the agent was run; file watch history from last run will be unavailable."},
    {230, L"FWC_0014: Log watch criteria was changed since the last time the agent was run; file watch history from last run will be unavailable."},
    {238, L"Agent current time"},
    {243, L"PE_0105: Used Disk Space greater than %d%%. Event logging stopped."},
    {245, L"IA_0030: System IP Address changed. Previous IP Address: %ls, new IP Address: %ls."},
    {247, L"UT_0052: Total number of processes exceeded."},
    {250, L"FWC_0016: Insufficient current permissions to monitor %ls. Adding to watch list anyway in case permissions change."},
    {255, L"PE_0106: Used Disk Space less than %d%%. Event logging resumed."},
    {286, L"FWC_0017: %ls is not a valid Unix path and will not be monitored."},
    {287, L"FWC_0018: Invalid path(s) will not be monitored: %ls"},
    {307, L"ELC_0015: Event log montitor was not initialized properly."},
    {342, L"FWC_0019: %ls dropped from Filewatch list. Monitoring of files in directory %ls at recursion level %d is not allowed."},
    {344, L"FWC_0020: Files exceeding maximum allowed path length (%d) will not be monitored:"},
    {345, L"Event Detected by RVMK IDS Agent"},
    {346, L"On System: "},
    {347, L"For Policy: "},
    {348, L"For Rule: "},
    {349, L"At Time: "},
    {350, L"Event has Severity: "},
    {351, L"Additional Info:"},
    {352, L"PE_0094: Invalid Macro Tag specified: %ls"},
    {356, L"IA_0033: %ls"},
    {404, L"System boot time "},
    {413, L"FWC_0023:  File too big to perform diff (%d Kb > %d Kb limit): %ls"},
    {414, L"FWC_0024:  Failed to find or to load file diff plugin for type: %ls"},
    {416, L"PE_0109: Rolled over CSV Log file from '%ls' to '%ls'"},
    {419, L"PIC_0001: Plug-in collector is approaching the maximum queue size.  Increase the queue size to avoid losing events."},
    {420, L"PIC_0002: Plug-in collector queue is full.  Events were lost.  Increase the queue size to avoid losing events."},
    {433, L"FWC_0026: Invalid macro(s) specified in parse string: %ls"},
};
// clang-format on

TEST(MessageCatalogue, HoldsEveryKnownTextLetterByLetter) {
    const auto catalogue = makeTableCatalogue();
    for (const KnownRow& row : kKnownRows) {
        EXPECT_EQ(textOf(*catalogue, row.id), row.text) << row.id;
    }
}

TEST(MessageCatalogue, HoldsEachCodeOnceAndTheLabels) {
    const auto catalogue = makeTableCatalogue();
    std::map<std::wstring, int> byModule;
    std::set<std::wstring> codes;
    int labels = 0;
    for (int id = -1; id <= kHighestId + 1; ++id) {
        const std::wstring text = textOf(*catalogue, id);
        const std::wstring code = codeOf(text);
        if (!code.empty()) {
            EXPECT_TRUE(codes.insert(code).second) << id;
            ++byModule[code.substr(0, code.find(L'_'))];
        } else if (!text.empty()) {
            ++labels;
        }
    }
    EXPECT_EQ(codes.size(), 291u);
    EXPECT_EQ(labels, 23);
    const std::map<std::wstring, int> expected = {
        {L"AC", 4},  {L"C2", 25},  {L"ELC", 16}, {L"FIM", 1},  {L"FWC", 32},
        {L"IA", 33}, {L"IPS", 3},  {L"PC", 3},   {L"PE", 102}, {L"PIC", 2},
        {L"RC", 17}, {L"SLC", 14}, {L"UT", 32},  {L"WTMP", 7}};
    EXPECT_EQ(byModule, expected);
    // Numbers are out of step with ids, so a few from the far ends of the runs.
    const std::map<int, std::wstring> samples = {
        {2, L"AC_0001:"},    {36, L"IA_0034:"},  {235, L"PE_0104:"}, {358, L"UT_0022:"},
        {403, L"ELC_0017:"}, {434, L"C2_0025:"}, {441, L"PE_0117:"}};
    for (const auto& [id, text] : samples) {
        EXPECT_EQ(textOf(*catalogue, id), text) << id;
    }
}

TEST(MessageCatalogue, CutsAtTheBufferAndKnowsNoOtherRows) {
    const auto catalogue = makeTableCatalogue();
    wchar_t buffer[8] = L"#######";
    EXPECT_EQ(catalogue->load(0, buffer, 8), 0);
    EXPECT_EQ(catalogue->load(1, buffer, 8), 0);
    EXPECT_EQ(catalogue->load(kHighestId + 1, buffer, 8), 0);
    EXPECT_EQ(catalogue->load(12, buffer, 0), 0);
    EXPECT_EQ(catalogue->load(12, buffer, 8), 7);
    EXPECT_STREQ(buffer, L"FWC_000");
}

// On Windows the platform's catalogue is the program's string resources.
TEST(MessageCatalogue, PlatformAndTableAgreeOnEveryRow) {
    const auto table = makeTableCatalogue();
    const auto platform = platformFactory.createMessageCatalogue();
    for (int id = 0; id <= kHighestId + 16; ++id) {
        EXPECT_EQ(textOf(*platform, id), textOf(*table, id)) << id;
    }
}

}  // namespace
}  // namespace lathwind
