#pragma once

#include <cstdint>
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

    // The path must not be on the list. Full looks are spread evenly over the walks.
    PollEntry& Insert(const std::wstring& path, std::unique_ptr<PollEntry> entry) {
        entry->SetPhase(nextPhase_++);
        return *rows_.emplace(path, std::move(entry)).first->second;
    }

    Rows& GetRows() noexcept { return rows_; }
    PollEntry* Find(const std::wstring& path) const {
        const auto row = rows_.find(path);
        return row == rows_.end() ? nullptr : row->second.get();
    }
    std::size_t size() const noexcept { return rows_.size(); }
    // What the full queue refused: the mount manager does not say it again.
    MountTellings& GetRefusedMounts() noexcept { return refusedMounts_; }
    // The mount points that went and took paths of the list along, until they are back.
    std::set<std::wstring>& GetAwayMounts() noexcept { return awayMounts_; }
    std::uint32_t TakeWalkNumber() noexcept { return walk_++; }

private:
    Rows rows_;
    MountTellings refusedMounts_;
    std::set<std::wstring> awayMounts_;
    std::uint32_t walk_ = 0;  // wraps; the period of full looks divides its range
    std::uint32_t nextPhase_ = 0;
};

}  // namespace lathwind
