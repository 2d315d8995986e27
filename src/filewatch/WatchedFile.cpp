#include "filewatch/WatchedFile.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "filewatch/FileAttributes.h"
#include "filewatch/FileWatchParams.h"
#include "filewatch/windows/WinPathMapping.h"
#include "plugins/DiffModule.h"
#include "plugins/FileDiffState.h"
#include "utils/AgentInfo.h"
#include "utils/ByteArray.h"
#include "utils/Digests.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"

namespace lathwind {
namespace {

constexpr wchar_t kSource[] = L"WatchedFile";
constexpr int kFileTooBigMessage = 413;
constexpr std::int32_t kReadPieceBytes = 256 * 1024;

// Reads a block whose length the record claims, in pieces: a damaged length costs no more memory
// than the stream really has bytes.
std::unique_ptr<ByteArray> readBlock(std::istream& stream, std::int32_t length) {
    auto block = std::make_unique<ByteArray>();
    std::vector<char> piece(static_cast<std::size_t>(std::clamp(length, 0, kReadPieceBytes)));
    while (block->IsValid() && block->GetLength() < length) {
        const std::int32_t count = std::min(length - block->GetLength(), kReadPieceBytes);
        Serializable::Read(stream, piece.data(), static_cast<std::size_t>(count));
        block->Append(piece.data(), count);
    }
    return block;
}

}  // namespace

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

FileDiffState& WatchedFile::DiffState() {
    if (diffState == nullptr) {
        diffState = std::make_unique<FileDiffState>();
    }
    return *diffState;
}

bool WatchedFile::InitializeEntity(bool clearSize) {
    if (GetName().empty()) {
        return false;
    }
    const bool taken = attributes->Initialize();
    ClearDigest(digest.data());
    UpdateEntity(checksumEnabled);
    if (clearSize) {
        attributes->SetSize(0);
    }
    return taken;
}

bool WatchedFile::UpdateEntity(bool makeDigest) {
    if (GetName().empty()) {
        return false;
    }
    const bool updated = attributes->Update();
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
    attributes->RefreshAccessTime();
}

bool WatchedFile::PrepareDiff() {
    DiffModule* const module = diffModule();
    if (module == nullptr || GetName().empty() || !attributes->IsRegularFile() ||
        !module->lookup(GetName(), DiffState())) {
        return true;
    }
    const ScopedLock guard(diffLock());
    const std::wstring path = MapToRealPath(GetName());
    if (!FileIO::Exists(path) || diffState->diffType.empty() || diffState->isBinary) {
        return true;
    }
    module->isText(path, *diffState);
    if (diffState->isBinary) {
        debugLog(ModuleId::FilewatchCollector, L"Disabling DIFF for binary file %ls", GetName());
        return true;
    }
    if (IsBelowDiffLimit()) {
        TakeContents(path);
    }
    return true;
}

void WatchedFile::TakeContents(const std::wstring& path) {
    auto contents = FileIO::ReadFile(path);
    if (contents == nullptr) {
        return;
    }
    attributes->RefreshAccessTime();
    diffState->contents = std::move(contents);
    diffState->tooBigReported = false;
}

// Warns of a file that is too big, once until it has become small enough again.
bool WatchedFile::IsBelowDiffLimit() {
    const std::uint64_t limitKb = AgentInfoRef()->diffFileSizeLimitKb();
    const std::uint64_t sizeKb = attributes->GetSize() / 1024;
    if (sizeKb < limitKb) {
        return true;
    }
    if (!std::exchange(diffState->tooBigReported, true)) {
        logCatalogued(Severity::Warning, ModuleId::FilewatchCollector, kFileTooBigMessage, sizeKb,
                      limitKb, GetName());
    }
    return false;
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

void WatchedFile::WriteObject(std::ostream& stream) {
    WatchedEntity::WriteObject(stream);
    Write(stream, lastAction);
    const ByteArray* contents = diffState ? diffState->contents.get() : nullptr;
    if (contents == nullptr) {
        WriteTString(stream, {});
        return;
    }
    WriteTString(stream, diffState->diffType);
    if (diffState->diffType.empty()) {
        return;
    }
    Write(stream, contents->GetLength());
    if (contents->GetLength() > 0) {
        Write(stream, contents->GetData(), static_cast<std::size_t>(contents->GetLength()));
    }
}

void WatchedFile::ReadObject(std::istream& stream) {
    WatchedEntity::ReadObject(stream);
    ReadOwnFields(stream);
}

void WatchedFile::ReadObjectOfVersion(std::istream& stream, std::uint16_t version) {
    if (version != 1) {
        WatchedEntity::ReadObjectOfVersion(stream, version);
        ReadOwnFields(stream);
        return;
    }
    std::uint16_t unused = 0;  // the first version had a word in front that nothing uses
    Read(stream, unused);
    WatchedEntity::ReadObject(stream);
    Read(stream, lastAction);
    if (stream.fail()) {
        throw SerializeException(L"Exception: WatchedFile::ReadObjectOfVersion", __LINE__, kSource);
    }
}

void WatchedFile::ReadOwnFields(std::istream& stream) {
    Read(stream, lastAction);
    std::wstring diffType;
    ReadTString(stream, diffType);
    if (!diffType.empty()) {
        ReadContents(stream, std::move(diffType));
    }
    if (stream.fail()) {
        throw SerializeException(L"Exception: WatchedFile::ReadObject", __LINE__, kSource);
    }
}

void WatchedFile::ReadContents(std::istream& stream, std::wstring diffType) {
    std::int32_t length = 0;
    Read(stream, length);
    auto contents = readBlock(stream, length);
    if (!contents->IsValid()) {
        throw SerializeException(L"Exception: WatchedFile::ReadObject", __LINE__, kSource);
    }
    FileDiffState& state = DiffState();
    state.diffType = std::move(diffType);
    state.contents = std::move(contents);
}

}  // namespace lathwind
