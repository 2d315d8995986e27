#pragma once

#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "events/FileAction.h"
#include "filewatch/windows/PollEntry.h"
#include "utils/InternedText.h"

namespace lathwind {

// The paths of one polling list, and which of its walks is next.
//
// Paths are lower case, and shared with the entities of the same path; a backslash at the end
// stands only behind a drive ("c:\").
class PollList {
public:
    using Rows = std::map<InternedText, std::unique_ptr<PollEntry>, InternedTextLess>;
    static constexpr std::int32_t kLogs = 0;  // id of the list of log files

    // A volume's coming or going, to be told for the path of a spec.
    struct MountTelling {
        FileAction action = FileAction::None;
        std::int32_t recursionLevel = 0;
    };
    // By path, each action once, in the order in which they came last.
    using MountTellings = std::map<std::wstring, std::vector<MountTelling>>;

    PollList() = default;
    PollList(const PollList&) = delete;
    PollList& operator=(const PollList&) = delete;

    // The path must not be on the list. Full looks are spread evenly over the walks.
    PollEntry& Insert(const std::wstring& path, std::unique_ptr<PollEntry> entry) {
        entry->SetPhase(nextPhase_++);
        const auto row = rows_.emplace_hint(Seek(path), path, std::move(entry));
        cursor_ = std::next(row);
        return *row->second;
    }
    Rows::iterator Erase(Rows::iterator row) {
        const auto next = rows_.erase(row);
        cursor_ = next;
        return next;
    }

    Rows& GetRows() noexcept { return rows_; }  // rows go by Erase alone
    Rows::iterator FindRow(const std::wstring& path) {
        const auto row = Seek(path);
        return row != rows_.end() && row->first.get() == path ? row : rows_.end();
    }
    PollEntry* Find(const std::wstring& path) {
        const auto row = FindRow(path);
        return row == rows_.end() ? nullptr : row->second.get();
    }
    std::size_t size() const noexcept { return rows_.size(); }
    // What the full queue refused: the mount manager does not say it again.
    MountTellings& GetRefusedMounts() noexcept { return refusedMounts_; }
    // The mount points that went and took paths of the list along, until they are back.
    std::set<std::wstring>& GetAwayMounts() noexcept { return awayMounts_; }
    std::uint32_t TakeWalkNumber() noexcept { return walk_++; }

private:
    // Where the path stands or belongs. Paths come in their order when a folder is added, and then
    // that is where the cursor stands already.
    Rows::iterator Seek(const std::wstring& path) {
        const bool isBehind = cursor_ == rows_.end() || cursor_->first.get() >= path;
        if (!isBehind || (cursor_ != rows_.begin() && std::prev(cursor_)->first.get() >= path)) {
            cursor_ = rows_.lower_bound(path);
        }
        return cursor_;
    }

    Rows rows_;
    Rows::iterator cursor_ = rows_.end();
    MountTellings refusedMounts_;
    std::set<std::wstring> awayMounts_;
    std::uint32_t walk_ = 0;  // wraps; the period of full looks divides its range
    std::uint32_t nextPhase_ = 0;
};

}  // namespace lathwind
