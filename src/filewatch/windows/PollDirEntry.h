#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "filewatch/FileAttributes.h"
#include "filewatch/windows/PollEntry.h"

namespace lathwind {

// A folder on a polling list, or a path with masks, where a folder may come to be.
class PollDirEntry : public PollEntry {
public:
    PollDirEntry(bool monitorAccessTime, std::int32_t recursionLevel) noexcept
        : PollEntry(monitorAccessTime), recursionLevel_(recursionLevel) {}
    // In the place of a plain one, which keeps its turn among the full looks.
    PollDirEntry(const PollEntry& plain, std::int32_t recursionLevel) noexcept
        : PollEntry(plain), recursionLevel_(recursionLevel) {
        SetStamp(0);
    }

    // The number of folder levels below which its masks hold: 1 is the folder alone.
    std::int32_t GetRecursionLevel() const override { return recursionLevel_; }
    void SetRecursionLevel(std::int32_t level) override { recursionLevel_ = level; }
    // Of the files in it those that are watched.
    const std::set<std::wstring>& GetMasks() const override { return masks_; }
    void AddMask(const std::wstring& mask) override { masks_.insert(mask); }
    // The folder as it last was; null where there was none. A file's last state is its entity's.
    const FileAttributes* GetSnapshot() const override { return snapshot_.get(); }
    void SetSnapshot(std::unique_ptr<FileAttributes> snapshot) override {
        snapshot_ = std::move(snapshot);
    }
    bool GetListAgain() const override { return listAgain_; }
    void SetListAgain(bool value) override { listAgain_ = value; }

private:
    std::int32_t recursionLevel_;
    bool listAgain_ = false;
    std::set<std::wstring> masks_;
    std::unique_ptr<FileAttributes> snapshot_;
};

// Puts one of that level in the place of a plain one. False where it is none: nothing is done.
inline bool MakeDirEntry(std::unique_ptr<PollEntry>& entry, std::int32_t recursionLevel) {
    if (dynamic_cast<PollDirEntry*>(entry.get()) != nullptr) {
        return false;
    }
    entry = std::make_unique<PollDirEntry>(*entry, recursionLevel);
    return true;
}

}  // namespace lathwind
