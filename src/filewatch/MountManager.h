#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "events/FileAction.h"
#include "filewatch/WatchedPathSpec.h"
#include "utils/FileIO.h"
#include "utils/Serializable.h"
#include "utils/platform/Threading.h"

namespace lathwind {

enum class MountType : std::int32_t {
    Unknown = 1,
    NoRoot = 2,
    Fixed = 3,
    CdDvd = 4,
    Ram = 5,
    Network = 6,
    Removable = 7,
};

const wchar_t* mountTypeName(MountType type) noexcept;

// One mounted volume. Nothing changes in it once a manager has it in its table: those who found it
// may keep it and read it while another refresh is under way.
class MountInfo {
public:
    // Bit numbers. Bits 0, 1 and 9 have no meaning.
    static constexpr std::size_t kFlagCount = 11;
    static constexpr std::size_t kMediaReady = 2;  // its volume information could be read

    MountInfo(std::wstring mountPoint, std::wstring mountPath, MountType type, std::uint32_t mask);
    virtual ~MountInfo() = default;
    MountInfo& operator=(const MountInfo&) = delete;

    virtual void Refresh() = 0;     // asks the platform anew; before the manager has it
    virtual void ShowInfo() const;  // two debug lines

    const std::wstring& GetMountPoint() const noexcept { return mountPoint_; }  // "c:\", lower case
    // The point again, or the universal name of a network drive.
    const std::wstring& GetMountPath() const noexcept { return mountPath_; }
    MountType GetMountType() const noexcept { return mountType_; }
    bool HasFlag(std::size_t bit) const { return flags_.test(bit); }
    bool IsMediaReady() const { return flags_.test(kMediaReady); }
    const std::wstring& GetVolumeName() const noexcept { return volumeName_; }
    const std::wstring& GetVolumeLabel() const noexcept { return volumeLabel_; }
    const std::wstring& GetFileSystem() const noexcept { return fsName_; }
    std::uint32_t GetSerialNumber() const noexcept { return serialNumber_; }

protected:
    MountInfo(const MountInfo&) = default;

    std::wstring mountPoint_;
    std::wstring mountPath_;
    MountType mountType_;
    std::bitset<kFlagCount> flags_;
    std::wstring volumeName_;
    std::wstring volumeLabel_;
    std::wstring fsName_;
    std::uint32_t serialNumber_ = 0;
};

// What one polling list knows about volumes. A walk over the list collects changes, and Merge at
// its end makes them the new baseline.
struct MountState {
    std::set<std::wstring> knownNames;     // mount points the list's paths were seen under; saved
    std::set<std::wstring> addedNames;     // come in this walk
    std::set<std::wstring> removedNames;   // gone in this walk
    std::set<std::wstring> reportedSpecs;  // directory + mask of the specs that were reported

    // Without a name added or removed nothing happens: the reported specs stay silent too.
    void Merge();
};

// Tells a deleted file from a volume that went away, by two tables: the mounts that exist right
// now, and for each polling list the mounts under which its paths were last seen. The second is
// kept in the state file (docs/formats/mount-states.md), so that a volume that came or went while
// nobody watched is recognised.
//
// Any thread may call the operations: polling asks while the monitor's thread handles a mount. Both
// tables have one lock, which is held over nothing else: not while a volume is asked, which may
// take long, nor while a spec is looked up. No operation throws, other than SerializeException out
// of the record. Paths are lower-case.
class MountManager : public Serializable {
public:
    static constexpr std::int32_t kAllStates = -1;
    using Mounts = std::vector<std::shared_ptr<const MountInfo>>;
    using States = std::map<std::int32_t, MountState>;

    // What a walk has to say about one path: None, Mount or Unmount. The spec is null where none
    // covers the path. One spec speaks up once a walk: alreadyReported is false the first time.
    struct PendingAction {
        FileAction action = FileAction::None;
        std::shared_ptr<const WatchedPathSpec> spec;
        bool alreadyReported = false;
        std::wstring mountPoint;  // which went or came
    };

    MountManager();
    MountManager(const MountManager&) = delete;
    MountManager& operator=(const MountManager&) = delete;

    // The table of mounts anew. Others see the old one until all of the new one is there. Of two
    // that overlap the one that began later counts.
    virtual void RefreshMounts() = 0;
    virtual bool HasVolumeInfo(const std::wstring& path) = 0;  // can the volume be read right now?
    virtual bool IsFatVolume(const std::wstring& path) = 0;
    virtual void ShowInfo() const;  // debug lines
    void WriteObject(std::ostream& stream) override;
    // Adds what is read to what is there.
    void ReadObject(std::istream& stream) override;

    // The mount whose point or path equals `path`, or else, unless `exactOnly`, the one that is its
    // longest prefix. Null for a UNC path and where there is none.
    std::shared_ptr<const MountInfo> FindMount(const std::wstring& path, bool exactOnly) const;
    // Makes the mount of `path` known to that list.
    void AddMountState(const std::wstring& path, std::int32_t stateId);
    // `listId` may be kAllStates: a look through every list.
    PendingAction GetPendingAction(const std::wstring& path, std::int32_t listId);
    void EndWalk(std::int32_t listId);

    // Not owned; null (in a program that polls nothing) finds no spec. To be set before other
    // threads call.
    void SetSpecFinder(SpecFinder* finder) noexcept { specFinder_ = finder; }

    Mounts GetMounts() const;
    States GetStates() const;

protected:
    // What a refresh starts from and its number, which counts the refreshes.
    struct Refreshment {
        Mounts mounts;
        std::uint64_t number = 0;
    };
    Refreshment BeginRefresh();
    // Makes its mounts the table, unless a refresh that began later has ended already.
    void EndRefresh(Refreshment refreshed);

    template <class Pointer>  // to MountInfo
    static Pointer FindAmong(const std::vector<Pointer>& mounts, const std::wstring& path,
                             bool exactOnly);

private:
    // The known name that shares most leading units with a path, and the state that takes the
    // findings.
    struct Known {
        std::wstring name;
        std::size_t shared = 0;
        std::optional<std::int32_t> stateId;
    };
    Known FindKnown(const std::wstring& path, std::int32_t listId) REQUIRES(*lock_);

    const std::unique_ptr<Lock> lock_;
    Mounts mounts_ GUARDED_BY(*lock_);
    States states_ GUARDED_BY(*lock_);
    std::uint64_t begun_ GUARDED_BY(*lock_) = 0;      // refreshes
    std::uint64_t installed_ GUARDED_BY(*lock_) = 0;  // number of the one that made the table
    SpecFinder* specFinder_ = nullptr;
};

template <class Pointer>
Pointer MountManager::FindAmong(const std::vector<Pointer>& mounts, const std::wstring& path,
                                bool exactOnly) {
    if (FileIO::IsUncPath(path)) {
        return nullptr;
    }
    Pointer longest;
    std::size_t length = 0;
    for (const Pointer& mount : mounts) {
        for (const std::wstring* name : {&mount->GetMountPoint(), &mount->GetMountPath()}) {
            if (*name == path) {
                return mount;
            }
            if (!exactOnly && name->size() > length && path.starts_with(*name)) {
                longest = mount;
                length = name->size();
            }
        }
    }
    return longest;
}

}  // namespace lathwind
