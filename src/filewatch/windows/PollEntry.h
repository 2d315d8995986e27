#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>

namespace lathwind {

class FileAttributes;  // filewatch/FileAttributes.h

// What a polling list knows about one of its paths: this class of a plain file, PollDirEntry of a
// folder and of a path with masks. A list may have a million of them, so there is nothing here that
// a plain file does not need; its last state is its entity's.
//
// The list lock guards it.
class PollEntry {
public:
    // A path is looked at in full at least once in so many walks, whatever its change stamp says.
    // Who may set the system's clock may forge a change time; so nothing rests on it for long.
    static constexpr std::uint32_t kFullLookWalks = 8;

    explicit PollEntry(bool monitorAccessTime) noexcept : monitorAccessTime_(monitorAccessTime) {}
    virtual ~PollEntry() = default;
    PollEntry& operator=(const PollEntry&) = delete;

    virtual bool GetMonitorAccessTime() const { return monitorAccessTime_; }
    virtual void SetMonitorAccessTime(bool value) { monitorAccessTime_ = value; }
    virtual std::int32_t GetRecursionLevel() const { return 1; }
    virtual void SetRecursionLevel(std::int32_t /*level*/) {}
    virtual const std::set<std::wstring>& GetMasks() const;
    virtual void AddMask(const std::wstring& /*mask*/) {}
    virtual const FileAttributes* GetSnapshot() const { return nullptr; }
    virtual void SetSnapshot(std::unique_ptr<FileAttributes> /*snapshot*/) {}
    // Is the folder to be listed at the next walk, even where it shows no change?
    virtual bool GetListAgain() const { return false; }
    virtual void SetListAgain(bool /*value*/) {}

    // The change stamp of the last full snapshot that was equal to the last known state.
    std::uint64_t GetStamp() const noexcept { return stamp_; }
    void SetStamp(std::uint64_t stamp) noexcept { stamp_ = stamp; }
    // Found by a walk rather than put on the list by a request: the folder above leads to it again.
    bool IsFound() const noexcept { return isFound_; }
    void SetFound(bool value) noexcept { isFound_ = value; }
    // Gone with its volume: until that is back, nothing is to be told of it.
    bool IsAway() const noexcept { return isAway_; }
    void SetAway(bool value) noexcept { isAway_ = value; }
    // The walks of which number the path is looked at in full.
    bool IsDue(std::uint32_t walk) const noexcept { return walk % kFullLookWalks == phase_; }
    void SetPhase(std::uint32_t number) noexcept {
        phase_ = static_cast<std::uint8_t>(number % kFullLookWalks);
    }

protected:
    PollEntry(const PollEntry&) = default;

private:
    std::uint64_t stamp_ = 0;
    bool monitorAccessTime_;
    bool isFound_ = false;
    bool isAway_ = false;
    std::uint8_t phase_ = 0;
};

}  // namespace lathwind
