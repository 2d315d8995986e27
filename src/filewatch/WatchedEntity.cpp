#include "filewatch/WatchedEntity.h"

#include "filewatch/FileAttributes.h"
#include "filewatch/StateFile.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/WatchedLogFile.h"
#include "utils/Digests.h"

namespace lathwind {
namespace {

constexpr wchar_t kSource[] = L"WatchedEntity";

struct EntityPrefix {
    std::int32_t type = kRegularFile;
    std::wstring virtualName;
};

// False at the end of the list. A failure counts as the end only if the stream has stopped: a
// name that is too long leaves it good, and the body's read then tells the damage.
bool readPrefix(std::istream& stream, bool hasVirtualName, EntityPrefix& prefix) {
    try {
        Serializable::Read(stream, prefix.type);
        if (hasVirtualName) {
            Serializable::ReadTString(stream, prefix.virtualName);
        }
    } catch (...) {
    }
    return stream.good();
}

// With an empty name: the record brings the name and the snapshot.
std::unique_ptr<WatchedEntity> createForRecord(const EntityPrefix& prefix) {
    return CreateWatchedEntity(prefix.type, {}, {}, prefix.virtualName);
}

}  // namespace

std::unique_ptr<WatchedEntity> CreateWatchedEntity(std::int32_t type, const std::wstring& name,
                                                   const EntityProperties& properties,
                                                   const std::wstring& virtualName) {
    if (type == kLogFile) {
        return std::make_unique<WatchedLogFile>(name, properties.log, virtualName);
    }
    return std::make_unique<WatchedFile>(name, properties.file, virtualName);
}

WatchedEntity::WatchedEntity(const std::wstring& name, std::int32_t entityType,
                             const std::wstring& nameInEvents)
    : attributes(CreateFileAttributes(name)), type(entityType), virtualName(nameInEvents) {}

WatchedEntity::WatchedEntity(const WatchedEntity& other)
    : Serializable(other),
      attributes(other.attributes->Clone()),
      type(other.type),
      digest(other.digest),
      virtualName(other.virtualName) {}

WatchedEntity::~WatchedEntity() = default;

WatchedEntity& WatchedEntity::operator=(const WatchedEntity& other) {
    Assign(other);
    return *this;
}

void WatchedEntity::Assign(const WatchedEntity& other) {
    if (this == &other) {
        return;
    }
    attributes = other.attributes->Clone();
    type = other.type;
    virtualName = other.virtualName;
    digest = other.digest;
}

void WatchedEntity::WriteEntity(std::ostream& stream) {
    Write(stream, type);
    WriteTString(stream, virtualName.get());
    WriteObject(stream);
}

std::unique_ptr<WatchedEntity> WatchedEntity::ReadEntity(std::istream& stream) {
    EntityPrefix prefix;
    if (!readPrefix(stream, true, prefix)) {
        return nullptr;
    }
    auto entity = createForRecord(prefix);
    entity->ReadObject(stream);
    return entity;
}

std::unique_ptr<WatchedEntity> WatchedEntity::ReadEntityOfVersion(std::istream& stream,
                                                                  std::uint16_t version) {
    EntityPrefix prefix;
    if (!readPrefix(stream, stateVersion::hasVirtualNames(version), prefix)) {
        return nullptr;
    }
    auto entity = createForRecord(prefix);
    entity->ReadObjectOfVersion(stream, version);
    return entity;
}

void WatchedEntity::WriteObject(std::ostream& stream) {
    attributes->WriteRecord(stream);
    Write(stream, digest.data(), digest.size());
}

void WatchedEntity::ReadObject(std::istream& stream) {
    attributes.edit().ReadObject(stream);
    Read(stream, digest.data(), digest.size());
    if (stream.eof()) {
        throw SerializeException(L"Exception: WatchedEntity::ReadObject", __LINE__, kSource);
    }
}

void WatchedEntity::ReadObjectOfVersion(std::istream& stream, std::uint16_t version) {
    attributes.edit().ReadObjectOfVersion(stream, version);
    Read(stream, digest.data(), stateVersion::hasSha256(version) ? digest.size() : kMd5Bytes);
}

bool WatchedEntity::UpdateEntity(bool /*makeDigest*/) {
    return true;
}

bool WatchedEntity::PrepareDiff() {
    return true;
}

bool WatchedEntity::IsChecksumEnabled() const {
    return false;
}

bool WatchedEntity::IsAccessTimeMonitored() const {
    return false;
}

const std::wstring& WatchedEntity::GetDiffType() const {
    static const std::wstring none;
    return none;
}

std::uint64_t WatchedEntity::GetMemorySize() const {
    return kMemoryCharge;
}

const std::wstring& WatchedEntity::GetName() const {
    return attributes->GetPath();
}

}  // namespace lathwind
