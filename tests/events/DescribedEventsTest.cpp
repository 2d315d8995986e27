#include <gtest/gtest.h>
#include <vector>

#include "events/FileTamperEvent.h"
#include "events/LogFileEvent.h"

namespace lathwind {
namespace {

TEST(FileTamperEvent, NamesActionAndKindOfEntry) {
    struct Case {
        bool isFolder;
        bool existed;
        FileAction action;
        std::wstring label;
        std::wstring text;
    };
    const std::vector<Case> cases = {
        {false, false, FileAction::Modified, L"",
         L"Detected File Tampering - Action: Modified File\nName: c:\\a\n"},
        {true, false, FileAction::Deleted, L"",
         L"Detected File Tampering - Action: Deleted Folder\nName: c:\\a\n"},
        {false, true, FileAction::Added, L"",  // a file that is back is just added
         L"Detected File Tampering - Action: Added File\nName: c:\\a\n"},
        {false, true, FileAction::Renamed, L"Web %s",
         L"Label: Web %s\nDetected File Tampering - Action: Deleted(Renamed) File\nName: c:\\a\n"},
    };
    for (const Case& c : cases) {
        FileTamperEvent event(L"c:\\a", c.isFolder, c.existed, c.action, c.label);
        EXPECT_EQ(event.GetEventText(), c.text);
        EXPECT_EQ(event.GetFileName(), L"c:\\a");
        EXPECT_EQ(event.GetRawText(), L"");
    }
}

TEST(SymlinkTamperEvent, NamesTargetAndReturn) {
    const auto textOf = [](bool existed, FileAction action, const std::wstring& label) {
        return SymlinkTamperEvent(L"c:\\l", L"d:\\t", existed, action, label).GetEventText();
    };
    EXPECT_EQ(textOf(false, FileAction::Added, L""),
              L"Detected File Tampering - Action: Added\nName: c:\\l -> d:\\t\n");
    EXPECT_EQ(textOf(true, FileAction::Added, L""),
              L"Detected File Tampering - Action: Added(Reappeared)\nName: c:\\l -> d:\\t\n");
    EXPECT_EQ(textOf(true, FileAction::Modified, L"L"),
              L"Label: L\nDetected File Tampering - Action: Modified\nName: c:\\l -> d:\\t\n");
}

TEST(LogFileEvent, CarriesTheLine) {
    LogFileEvent event(L"c:\\x.log", L"a {line} of 100%");
    EXPECT_EQ(event.GetEventText(),
              L"Logfile event detected.\nFilename: c:\\x.log\n\nMessage: a {line} of 100%");
    EXPECT_EQ(event.GetFileName(), L"c:\\x.log");

    EXPECT_EQ(LogFileEvent(L"c:\\x.log").GetEventText(),
              L"Detected File Tampering - Action:  File\nName: c:\\x.log\n");
}

TEST(DescribedEvents, GrowByChangeTexts) {
    FileTamperEvent event(L"c:\\a", false, true, FileAction::Modified, L"");
    const std::wstring opening = event.GetEventText();
    event.SetRawText(L"raw");
    event.AddChangeText(L"Size changed\n");
    event.AddChangeText(L"Owner changed\n");
    EXPECT_EQ(event.GetEventText(), opening + L"Size changed\nOwner changed\n");
    EXPECT_EQ(event.GetDescription(), event.GetEventText());
    EXPECT_EQ(event.GetRawText(), L"");
}

}  // namespace
}  // namespace lathwind
