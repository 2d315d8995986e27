#include "filewatch/MountManager.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "utils/Logging.h"
#include "utils/Text.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;

std::size_t countShared(std::wstring_view first, std::wstring_view second) {
    const auto end = std::mismatch(first.begin(), first.end(), second.begin(), second.end());
    return static_cast<std::size_t>(end.first - first.begin());
}

}  // namespace

const wchar_t* mountTypeName(MountType type) noexcept {
    switch (type) {
        case MountType::NoRoot:
            return L"TYPE_NO_ROOT";
        case MountType::Fixed:
            return L"TYPE_FIXED_DRIVE";
        case MountType::CdDvd:
            return L"TYPE_CD_DVD_DRIVE";
        case MountType::Ram:
            return L"TYPE_RAM_DRIVE";
        case MountType::Network:
            return L"TYPE_NETWORK_DRIVE";
        case MountType::Removable:
            return L"TYPE_REMOVALBE_DRIVE";  // as log readers know it
        case MountType::Unknown:
            break;
    }
    return L"TYPE_UNKNOWN";
}

MountInfo::MountInfo(std::wstring mountPoint, std::wstring mountPath, MountType type,
                     std::uint32_t mask)
    : mountPoint_(std::move(mountPoint)),
      mountPath_(std::move(mountPath)),
      mountType_(type),
      flags_(mask) {}

void MountInfo::ShowInfo() const {
    debugLog(kModule, L"\nMount Point: %s Mount Path: %s Mount Type: %s\nIs Media Ready: %d \n",
             mountPoint_, mountPath_, mountTypeName(mountType_), IsMediaReady());
    debugLog(kModule, L"Mount Volume: %s Volume label: %s FS Name: %s\n", volumeName_, volumeLabel_,
             fsName_);
}

void MountState::Merge() {
    if (addedNames.empty() && removedNames.empty()) {
        return;
    }
    knownNames.merge(addedNames);
    for (const std::wstring& name : removedNames) {
        knownNames.erase(name);
    }
    addedNames.clear();
    removedNames.clear();
    reportedSpecs.clear();
}

MountManager::MountManager() : lock_(platformFactory.createLock()) {}

MountManager::Mounts MountManager::GetMounts() const {
    const ScopedLock guard(*lock_);
    return mounts_;
}

MountManager::States MountManager::GetStates() const {
    const ScopedLock guard(*lock_);
    return states_;
}

MountManager::Refreshment MountManager::BeginRefresh() {
    const ScopedLock guard(*lock_);
    return {mounts_, ++begun_};
}

void MountManager::EndRefresh(Refreshment refreshed) {
    const ScopedLock guard(*lock_);
    if (refreshed.number > installed_) {
        mounts_ = std::move(refreshed.mounts);
        installed_ = refreshed.number;
    }
}

std::shared_ptr<const MountInfo> MountManager::FindMount(const std::wstring& path,
                                                         bool exactOnly) const {
    const ScopedLock guard(*lock_);
    return FindAmong(mounts_, path, exactOnly);
}

void MountManager::AddMountState(const std::wstring& path, std::int32_t stateId) {
    const ScopedLock guard(*lock_);
    MountState& state = states_[stateId];
    if (const auto mount = FindAmong(mounts_, path, false)) {
        state.addedNames.insert(mount->GetMountPoint());
        state.Merge();
    }
}

void MountManager::EndWalk(std::int32_t listId) {
    const ScopedLock guard(*lock_);
    if (listId == kAllStates) {
        for (auto& [id, state] : states_) {
            state.Merge();
        }
    } else if (const auto found = states_.find(listId); found != states_.end()) {
        found->second.Merge();
    }
}

MountManager::Known MountManager::FindKnown(const std::wstring& path, std::int32_t listId) {
    Known best;
    // The first name of a count stands. A name need not be a prefix of the path.
    const auto consider = [&](const MountState& state) {
        for (const std::wstring& name : state.knownNames) {
            if (const std::size_t shared = countShared(name, path); shared > best.shared) {
                best.name = name;
                best.shared = shared;
            }
        }
    };
    if (listId != kAllStates) {
        consider(states_[listId]);
        best.stateId = listId;
        return best;
    }
    // The findings go to the last state, whichever held the name: a walk over all states ends with
    // a merge of all of them.
    for (const auto& [id, state] : states_) {
        consider(state);
        best.stateId = id;
    }
    return best;
}

MountManager::PendingAction MountManager::GetPendingAction(const std::wstring& path,
                                                           std::int32_t listId) {
    const std::wstring folded = toLower(path);
    Known best;
    std::shared_ptr<const MountInfo> mount;
    {
        const ScopedLock guard(*lock_);
        mount = FindAmong(mounts_, folded, false);
        best = FindKnown(folded, listId);
    }
    bool ready = mount != nullptr && mount->IsMediaReady();
    bool known = best.shared > 0;
    if (known && ready) {
        const std::size_t point = mount->GetMountPoint().size();
        if (point < best.name.size()) {
            ready = false;  // the known, deeper mount is gone: a shallower one shows through
        } else if (point > best.name.size()) {
            known = false;  // a deeper mount has come
        }
    }
    if (known == ready) {
        return {};
    }

    PendingAction pending;
    pending.action = known ? FileAction::Unmount : FileAction::Mount;
    pending.mountPoint = known ? best.name : mount->GetMountPoint();
    pending.spec = specFinder_ != nullptr ? specFinder_->FindSpec(folded, listId) : nullptr;
    const std::wstring tag =
        pending.spec != nullptr ? pending.spec->GetDirectory() + pending.spec->GetMask() : L"";
    pending.alreadyReported = tag.empty();
    if (!best.stateId.has_value()) {
        return pending;
    }
    const ScopedLock guard(*lock_);
    MountState& state = states_[*best.stateId];
    if (!tag.empty()) {
        pending.alreadyReported = !state.reportedSpecs.insert(tag).second;
    }
    if (pending.action == FileAction::Unmount) {
        state.removedNames.insert(pending.mountPoint);
    } else {
        state.addedNames.insert(pending.mountPoint);
    }
    return pending;
}

void MountManager::WriteObject(std::ostream& stream) {
    const States states = GetStates();
    Write(stream, static_cast<std::uint32_t>(states.size()));
    for (const auto& [id, state] : states) {
        Write(stream, id);
        Write(stream, static_cast<std::int32_t>(state.knownNames.size()));
        for (const std::wstring& name : state.knownNames) {
            WriteTString(stream, name);
        }
    }
}

// The counts are not to be trusted: nothing is set aside by them, and one that promises too much
// ends with the read that fails.
void MountManager::ReadObject(std::istream& stream) {
    std::uint32_t stateCount = 0;
    Read(stream, stateCount);
    for (; stateCount > 0; --stateCount) {
        std::int32_t id = 0;
        std::int32_t nameCount = 0;
        Read(stream, id);
        Read(stream, nameCount);
        std::set<std::wstring> names;
        for (; nameCount > 0; --nameCount) {
            std::wstring name;
            ReadTString(stream, name);
            names.insert(std::move(name));
        }
        const ScopedLock guard(*lock_);
        MountState& state = states_[id];
        state.addedNames.merge(names);
        state.Merge();
    }
}

void MountManager::ShowInfo() const {
    debugLog(kModule, L"-------------- MountManager::ShowInfo called --------------");
    debugLog(kModule, L"\nCurrent Mount information...");
    for (const auto& mount : GetMounts()) {
        mount->ShowInfo();
    }
    debugLog(kModule, L"\nMount State information... ");
    for (const auto& [id, state] : GetStates()) {
        debugLog(kModule, L"\nMount State ID: %d", id);
        debugLog(kModule, L"\nCurrently known Mount List...");
        for (const std::wstring& name : state.knownNames) {
            debugLog(kModule, L"\nMount Name: %ls", name);
        }
    }
}

}  // namespace lathwind
