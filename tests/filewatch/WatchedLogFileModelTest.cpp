// A log that is written, rotated, cut, deleted and replaced at random while it is followed, with
// restarts in between, against a model of what has to be reported. Every complete line is reported
// exactly once, except for what these give up:
//
//   Unread      lines that were appended after the last reading, when the log was then renamed,
//               truncated, deleted or replaced (also lines that a pass's limit had left), and what
//               its writer still appends to a renamed log
//   BelowOffset lines of a new file below the old offset, when the new file was as large as the
//               snapshot of the old one at the first notification after the change; the digest of
//               a restart tells the two apart, and then nothing is given up, unless it was itself
//               taken of the new file
//
// A file that was rewritten to the very size it had is told by its time alone, whose resolution is
// too coarse for a test: the writer here always appends a line then.
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sstream>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileNotificationInfo.h"
#include "filewatch/WatchedLogFile.h"
#include "support/LogLineModel.h"
#include "support/TempDir.h"
#include "utils/AgentInfo.h"
#include "utils/IniFile.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

using testing::LogLineModel;
using testing::TempDir;

constexpr std::uint16_t kStateVersion = 12;
constexpr std::size_t kPassLimit = 80;  // four fifths of the least queue
constexpr std::wstring_view kHead = L"\n\nMessage: ";

struct Kind {
    const wchar_t* encoding;
    const wchar_t* delimiter;  // as in a list
    std::vector<std::wstring> ends;
    std::string_view mark;
};

std::string encoded(const std::wstring& text, bool isWide) {
    std::string bytes;
    for (const wchar_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        if (isWide) {
            bytes += static_cast<char>(unit >> 8 & 0xFF);
        }
    }
    return bytes;
}

class LogFollowing {
public:
    LogFollowing(const TempDir& folder, const Kind& kind, unsigned seed)
        : folder_(folder), kind_(kind), random_(seed) {
        IniFile ini;
        ini.parse(std::wstring(L"[Log Files]\nFiles=1\n[File1]\nEncoding=") + kind.encoding +
                  L"\nDelimiter=" + kind.delimiter);
        LogFileProperties::ReadFromIni(ini, properties_, 1);
        format_ = {isWide(), properties_.GetDelimiter(), false};
        create();
        open();
        log_->InitializeEntity(true);
        changed_ = true;
    }

    void step() {
        switch (random_() % 13) {
            case 0:
                replace();
                break;
            case 1:
                restart();
                break;
            case 2:
                appendBytes(partial());
                break;
            case 3:  // rotated while a part of it is unread
                appendLines(3 * kPassLimit);
                notify();
                replace();
                break;
            case 4:
            case 5:
            case 6:
            case 7:
                appendLines(random_() % 16 == 0 ? 3 * kPassLimit : 1 + random_() % 5,
                            random_() % 3 == 0);
                break;
            default:
                notify();
        }
    }

    // Reads what is left, and accounts for every line.
    void finish() {
        notify();
        while (offset_ < content_.size() && notify() != 0) {
        }
        EXPECT_TRUE(content_.empty() || modelLines(offset_).empty());
        giveUpUnread();
        std::size_t reported = 0;
        for (const auto& [text, line] : lines_) {
            reported += line.reports;
            EXPECT_EQ(line.reports, line.isGivenUp ? 0u : 1u) << narrow(text);
        }
        EXPECT_GT(reported, lines_.size() / 3);
    }

private:
    struct Line {
        std::size_t reports = 0;
        bool isGivenUp = false;
    };

    bool isWide() const { return std::wstring_view(kind_.encoding) == L"UTF-16"; }
    std::wstring path() const { return folder_.path(L"app.log"); }
    std::filesystem::path file() const { return folder_.native("app.log"); }

    // ---- What happens to the file.

    void appendBytes(const std::string& bytes) {
        std::ofstream(file(), std::ios::binary | std::ios::app) << bytes;
        exists_ = true;
        changed_ = true;
        content_ += bytes;
    }
    void create() {
        const std::ofstream emptied(file(), std::ios::binary | std::ios::trunc);
        content_.clear();
        firstOffset_.reset();
        appendBytes(std::string(random_() % 2 != 0 ? kind_.mark : std::string_view()));
    }
    // In two writes there is a reading between them, which may lie in a delimiter or a character.
    void appendLines(std::size_t count, bool inTwoWrites = false) {
        std::string bytes;
        for (; count != 0; --count) {
            const std::wstring text =
                started_ + L"id=" + std::to_wstring(++number_) + (isWide() ? L" \x0416" : L" x");
            const std::wstring& end = kind_.ends[random_() % kind_.ends.size()];
            lines_[text];
            bytes += encoded(text.substr(started_.size()) + end, isWide());
            started_.clear();
        }
        const std::size_t cut = inTwoWrites ? random_() % bytes.size() : 0;
        if (cut != 0 && content_.size() + cut != snapshot_) {
            appendBytes(bytes.substr(0, cut));
            notify();
            bytes.erase(0, cut);
        }
        appendBytes(bytes);
    }
    // The beginning of a line.
    std::string partial() {
        const std::wstring text = L"start " + std::to_wstring(++number_) + L" ";
        started_ += text;
        return encoded(text, isWide());
    }
    // Renamed away, truncated after a copy, or deleted; and sometimes there is a new file at once.
    void replace() {
        giveUpUnread();
        started_.clear();
        const auto how = random_() % 3;
        if (how == 0 && exists_) {
            std::filesystem::rename(file(), folder_.native("app.old"));
            std::ofstream(folder_.native("app.old"), std::ios::binary | std::ios::app)
                << encoded(L"late" + kind_.ends[0], isWide());
        } else if (how == 1 && exists_) {
            folder_.write("app.old", content_);
            std::filesystem::resize_file(file(), 0);
        } else {
            std::filesystem::remove(file());
        }
        exists_ = how == 1 && exists_;
        changed_ = true;
        content_.clear();
        firstOffset_.reset();
        if (!exists_ && random_() % 2 != 0) {
            notify();
        }
        create();
        appendLines(random_() % (random_() % 2 == 0 ? 3 * kPassLimit : 40));
    }

    // ---- What the model says.

    std::vector<LogLineModel::Line> modelLines(std::size_t from) const {
        if (from == 0 && content_.starts_with(kind_.mark)) {
            from = kind_.mark.size();
        }
        const std::string rest = content_.substr(std::min(from, content_.size()));
        auto lines = LogLineModel(rest, format_, std::size_t{1} << 20).lines();
        for (LogLineModel::Line& line : lines) {
            line.position += from;
            line.text.resize(trimRight(line.text).size());
        }
        return lines;
    }
    void giveUpUnread() {
        for (const LogLineModel::Line& line : modelLines(0)) {
            const auto known = lines_.find(line.text);
            if (known != lines_.end() && known->second.reports == 0) {
                known->second.isGivenUp = true;
                // BelowOffset, or Unread.
                EXPECT_TRUE(line.position > offset_ || firstOffset_.value_or(1) != 0)
                    << narrow(line.text) << " was passed over";
            }
        }
    }
    // The reports of one reading, `savedOffset` and `snapshot_` being the state before.
    std::vector<std::wstring> expected(std::size_t savedOffset) {
        const bool isRead = changed_ || (savedOffset != 0 && savedOffset < snapshot_);
        if (content_.empty() || (isRead && content_.size() < snapshot_)) {
            offset_ = 0;
        }
        snapshot_ = content_.size();
        changed_ = false;
        std::vector<std::wstring> texts;
        if (content_.empty() || !isRead) {
            return texts;
        }
        if (!firstOffset_) {
            firstOffset_ = offset_;
        }
        for (const LogLineModel::Line& line : modelLines(offset_)) {
            if (texts.size() < kPassLimit) {
                texts.push_back(line.text);
                offset_ = line.position;
            }
        }
        return texts;
    }
    void check(const EventList& events, const std::vector<std::wstring>& wanted) {
        std::vector<std::wstring> texts;
        for (const auto& event : events) {
            const std::wstring& text = event->GetEventText();
            texts.push_back(text.substr(text.find(kHead) + kHead.size()));
            const auto known = lines_.find(texts.back());
            if (known != lines_.end()) {
                ++known->second.reports;
            }
        }
        ASSERT_EQ(texts, wanted);
        ASSERT_EQ(log_->GetOffset(), offset_);
        ASSERT_EQ(log_->HasUnreadLines(), wanted.size() == kPassLimit);
    }

    // ---- What the follower does.

    void open() {
        log_ = std::make_unique<WatchedLogFile>(path(), &properties_, L"");
        log_->InitializeEntity(false);
    }
    void keepSizesApart() {
        if (changed_ && content_.size() == snapshot_ && !content_.empty()) {
            appendLines(1);
        }
    }
    std::size_t notify() {
        keepSizesApart();
        EventList events;
        const auto action = exists_ ? FileAction::Modified : FileAction::Deleted;
        log_->ProcessNotification(events, FileNotificationInfo(path(), action, 0));
        check(events, expected(offset_));
        return events.size();
    }
    // The state is saved, the file goes its way, and the state is taken up again.
    void restart() {
        std::stringstream state;
        log_->WriteEntity(state);
        const std::string consumed = content_.substr(0, offset_);
        for (auto count = random_() % 3; count != 0 && exists_; --count) {
            random_() % 3 == 0 ? replaceWhileDown() : appendLines(1 + random_() % 30);
        }
        keepSizesApart();
        const auto saved = WatchedEntity::ReadEntityOfVersion(state, kStateVersion);
        if (content_.substr(0, offset_) != consumed || content_.size() < offset_) {
            offset_ = 0;
        }
        open();
        log_->SetOffset(static_cast<const WatchedLogFile&>(*saved).GetOffset());
        EventList events;
        log_->CompareWithSaved(events, *saved, {});
        check(events, expected(offset_));
    }
    // With a file that is longer than what was there, or not.
    void replaceWhileDown() {
        giveUpUnread();
        started_.clear();
        create();
        appendLines(1 + random_() % 60);
    }

    const TempDir& folder_;
    const Kind& kind_;
    std::mt19937 random_;
    LogFileProperties properties_;
    LogLineReader::Format format_;
    std::unique_ptr<WatchedLogFile> log_;
    std::map<std::wstring, Line> lines_;  // every complete line that was written
    std::wstring started_;                // of the line that is being written
    std::size_t number_ = 0;
    std::string content_;
    bool exists_ = false;
    bool changed_ = false;      // since the last snapshot
    std::size_t snapshot_ = 0;  // size then
    std::size_t offset_ = 0;
    std::optional<std::size_t> firstOffset_;  // at which this file was read first
};

TEST(WatchedLogFileModelTest, ReportsWhatTheModelSays) {
    const Kind kinds[] = {
        {L"ANSI", L"\\l", {L"\r\n", L"\n"}, ""},
        {L"ANSI", L"|END|\\l", {L"|END|\r\n", L"|END|\n"}, ""},
        {L"UTF-8", L"\\n", {L"\r\n", L"\n"}, "\xEF\xBB\xBF"},
        {L"UTF-8", L";;", {L";;"}, "\xEF\xBB\xBF"},
        {L"UTF-16", L"\\l", {L"\r\n"}, "\xFF\xFE"},
        {L"UTF-16", L"##", {L"##"}, "\xFF\xFE"},
    };
    const TempDir folder;
    folder.makeFolder("bin");
    std::wstring before;
    platform::files().currentDirectory(before);
    platform::files().setCurrentDirectory(narrow(folder.path(L"bin")));
    for (unsigned seed = 1; seed <= 4 && !::testing::Test::HasFailure(); ++seed) {
        folder.write("system/LocalAgent.ini",
                     "[Event Management]\nFile Collector Events Limit=100\n[File Collector]\n"
                     "Close Log File After Read=" +
                         std::to_string(seed % 2) + "\n");
        const AgentInfoRef settings;
        ASSERT_EQ(settings->fileEventsLimit(), 100u);
        for (const Kind& kind : kinds) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", " + narrow(kind.encoding) + " " +
                         narrow(kind.delimiter));
            LogFollowing following(folder, kind, seed);
            for (int i = 0; i < 150 && !::testing::Test::HasFailure(); ++i) {
                following.step();
            }
            following.finish();
            if (::testing::Test::HasFailure()) {
                break;
            }
        }
    }
    platform::files().setCurrentDirectory(narrow(before));
}

}  // namespace
}  // namespace lathwind
