#include "filewatch/WatchedFile.h"

#include <memory>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileWatchParams.h"
#include "filewatch/windows/WinPathMapping.h"
#include "plugins/FileDiffState.h"
#include "utils/AgentInfo.h"
#include "utils/Digests.h"

namespace lathwind {

WatchedFile::WatchedFile(const std::wstring& name, const FileWatchParams* params,
                         const std::wstring& nameInEvents)
    : WatchedEntity(name, kRegularFile, nameInEvents) {
    if (params != nullptr) {
        label = params->label;
        checksumEnabled = params->checksum;
        monitorAccessTime = params->monitorAccessTime;
    }
}

WatchedFile::WatchedFile(const WatchedFile& other)
    : WatchedEntity(other),
      label(other.label),
      checksumEnabled(other.checksumEnabled),
      monitorAccessTime(other.monitorAccessTime),
      lastAction(other.lastAction),
      diffState(other.diffState ? std::make_unique<FileDiffState>(*other.diffState) : nullptr) {}

WatchedFile::~WatchedFile() = default;

WatchedFile& WatchedFile::operator=(const WatchedFile& other) {
    Assign(other);
    return *this;
}

void WatchedFile::Assign(const WatchedEntity& other) {
    if (this == &other) {
        return;
    }
    WatchedEntity::Assign(other);
    if (const auto* source = dynamic_cast<const WatchedFile*>(&other)) {
        lastAction = source->lastAction;
        diffState =
            source->diffState ? std::make_unique<FileDiffState>(*source->diffState) : nullptr;
    }
}

bool WatchedFile::InitializeEntity(bool clearSize) {
    if (GetName().empty()) {
        return false;
    }
    attributes.renew();
    BeginWatching(clearSize);
    return true;
}

void WatchedFile::BeginWatching(bool clearSize) {
    ClearDigest(digest.data());
    PrepareDiff();
    if (checksumEnabled && attributes->IsRegularFile()) {
        MakeDigest();
    }
    if (clearSize) {
        attributes.edit().SetSize(0);
    }
}

bool WatchedFile::UpdateEntity(bool makeDigest) {
    if (GetName().empty()) {
        return false;
    }
    const bool updated = attributes.edit().Update();
    PrepareDiff();
    if (makeDigest && attributes->IsRegularFile()) {
        MakeDigest();
    }
    return updated;
}

// Our own read moves the access time; refreshing it keeps that out of the next comparison.
void WatchedFile::MakeDigest() {
    if (!HashFileSha256(MapToRealPath(GetName()), digest.data())) {
        ClearDigest(digest.data());
    }
    attributes.edit().RefreshAccessTime();
}

const std::wstring& WatchedFile::GetDiffType() const {
    return diffState ? diffState->diffType : WatchedEntity::GetDiffType();
}

std::uint64_t WatchedFile::GetMemorySize() const {
    const std::uint64_t size = attributes->GetSize();
    const bool isCharged = diffState && diffState->holdsContents() &&
                           size / 1024 <= AgentInfoRef()->diffFileSizeLimitKb();
    return kMemoryCharge + (isCharged ? size : 0);
}

bool WatchedFile::Equals(const WatchedFile& other) const {
    return lastAction == other.lastAction && attributes->Equals(*other.attributes);
}

}  // namespace lathwind
