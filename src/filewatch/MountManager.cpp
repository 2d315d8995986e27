#include "filewatch/MountManager.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {

namespace {

constexpr ModuleId kModule = ModuleId::FilewatchCollector;

// The known name that shares most leading units with a path. A name need not be a prefix of it.
struct BestName {
    std::wstring name;
    std::size_t shared = 0;

    // The first one of a count stands.
    void consider(const MountState& state, std::wstring_view path) {
        for (const std::wstring& known : state.knownNames) {
            const auto end = std::mismatch(known.begin(), known.end(), path.begin(), path.end());
            const auto count = static_cast<std::size_t>(end.first - known.begin());
            if (count > shared) {
                name = known;
                shared = count;
            }
        }
    }
};

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

MountInfo* MountManager::FindMount(const std::wstring& path, bool exactOnly) const {
    if (FileIO::IsUncPath(path)) {
        return nullptr;
    }
    MountInfo* longest = nullptr;
    std::size_t length = 0;
    for (const auto& mount : mounts_) {
        for (const std::wstring* name : {&mount->GetMountPoint(), &mount->GetMountPath()}) {
            if (*name == path) {
                return mount.get();
            }
            if (!exactOnly && name->size() > length && path.starts_with(*name)) {
                longest = mount.get();
                length = name->size();
            }
        }
    }
    return longest;
}

void MountManager::AddMountState(const std::wstring& path, std::int32_t stateId) {
    MountState& state = states_[stateId];
    if (const MountInfo* mount = FindMount(path, false)) {
        state.addedNames.insert(mount->GetMountPoint());
        state.Merge();
    }
}

void MountManager::EndWalk(std::int32_t listId) {
    if (listId == kAllStates) {
        for (auto& [id, state] : states_) {
            state.Merge();
        }
    } else if (const auto found = states_.find(listId); found != states_.end()) {
        found->second.Merge();
    }
}

MountManager::PendingAction MountManager::GetPendingAction(const std::wstring& path,
                                                           std::int32_t listId) {
    const std::wstring folded = toLower(path);
    const MountInfo* mount = FindMount(folded, false);
    bool ready = mount != nullptr && mount->IsMediaReady();

    MountState* state = nullptr;
    BestName best;
    if (listId == kAllStates) {
        // The findings go to the last state, whichever held the name: a walk over all states ends
        // with a merge of all of them.
        for (auto& [id, each] : states_) {
            best.consider(each, folded);
            state = &each;
        }
    } else {
        state = &states_[listId];
        best.consider(*state, folded);
    }
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
    pending.spec = specFinder_ != nullptr ? specFinder_->FindSpec(folded, listId) : nullptr;
    pending.alreadyReported = true;
    if (pending.spec != nullptr) {
        const std::wstring tag = pending.spec->GetDirectory() + pending.spec->GetMask();
        if (!tag.empty()) {
            pending.alreadyReported = state != nullptr && !state->reportedSpecs.insert(tag).second;
        }
    }
    if (state != nullptr) {
        if (pending.action == FileAction::Unmount) {
            state->removedNames.insert(best.name);
        } else {
            state->addedNames.insert(mount->GetMountPoint());
        }
    }
    return pending;
}

void MountManager::WriteObject(std::ostream& stream) {
    Write(stream, static_cast<std::uint32_t>(states_.size()));
    for (const auto& [id, state] : states_) {
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
        MountState& state = states_[id];
        for (; nameCount > 0; --nameCount) {
            std::wstring name;
            ReadTString(stream, name);
            state.addedNames.insert(std::move(name));
        }
        state.Merge();
    }
}

void MountManager::ShowInfo() const {
    debugLog(kModule, L"-------------- MountManager::ShowInfo called --------------");
    debugLog(kModule, L"\nCurrent Mount information...");
    for (const auto& mount : mounts_) {
        mount->ShowInfo();
    }
    debugLog(kModule, L"\nMount State information... ");
    for (const auto& [id, state] : states_) {
        debugLog(kModule, L"\nMount State ID: %d", id);
        debugLog(kModule, L"\nCurrently known Mount List...");
        for (const std::wstring& name : state.knownNames) {
            debugLog(kModule, L"\nMount Name: %ls", name);
        }
    }
}

}  // namespace lathwind
