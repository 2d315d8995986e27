#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "events/FileAction.h"
#include "events/IDSEvent.h"
#include "filewatch/OwnedSnapshot.h"
#include "utils/InternedText.h"
#include "utils/Serializable.h"

namespace lathwind {

class FileNotificationInfo;  // filewatch/FileNotificationInfo.h
class LogFileProperties;     // filewatch/LogFileProperties.h
class WatchedEntity;
struct FileWatchParams;  // filewatch/FileWatchParams.h

// The word that stands first in an entity's record, and an index into the engine's tables.
inline constexpr std::int32_t kRegularFile = 0;
inline constexpr std::int32_t kLogFile = 1;

// What a watch list says about a new entity: each kind takes its own member, null where the entity
// gets its settings later or from a record. The factory copies what it is given.
struct EntityProperties {
    const LogFileProperties* log = nullptr;
    const FileWatchParams* file = nullptr;
};

// A WatchedLogFile for kLogFile, a WatchedFile for every other value. The entity's snapshot is
// taken at once; an empty name asks the system nothing and leaves the snapshot to a record.
std::unique_ptr<WatchedEntity> CreateWatchedEntity(std::int32_t type, const std::wstring& name,
                                                   const EntityProperties& properties,
                                                   const std::wstring& virtualName);

// What the agent remembers about one path: its last snapshot, a digest and the name that events
// give it. Records: docs/formats/entity-records.md.
//
// An entity has no lock: the owner of the table that holds it guards it.
class WatchedEntity : public Serializable {
public:
    using Digest = std::array<std::uint8_t, 32>;
    static constexpr std::uint64_t kMemoryCharge = 72;  // bytes, for any entity

    ~WatchedEntity() override;
    WatchedEntity& operator=(const WatchedEntity& other);

    // A whole entity: type and virtual name, then WriteObject.
    void WriteEntity(std::ostream& stream);
    // The next entity of a list; null where the list ends, that is where the stream does not hold a
    // type and a virtual name any more. A record that breaks off behind them throws
    // SerializeException.
    static std::unique_ptr<WatchedEntity> ReadEntity(std::istream& stream);  // newest format only
    static std::unique_ptr<WatchedEntity> ReadEntityOfVersion(std::istream& stream,
                                                              std::uint16_t version);

    void WriteObject(std::ostream& stream) override;
    void ReadObject(std::istream& stream) override;
    virtual void ReadObjectOfVersion(std::istream& stream, std::uint16_t version);

    // Takes the file's present state as the one to compare with. `clearSize` makes the file count
    // as empty. False when there was nothing to take a snapshot of.
    virtual bool InitializeEntity(bool clearSize) = 0;
    // The same for an entity that was made just now, whose snapshot is fresh: the file is not
    // looked at a second time.
    virtual void BeginWatching(bool clearSize) = 0;
    // Completes a record of an older version from the live file; `makeDigest` hashes it anew.
    virtual bool UpdateEntity(bool makeDigest);
    // Takes the contents that a later diff compares with.
    virtual bool PrepareDiff();

    // Both append what happened to `events` and give the number of events.
    // `saved` is this entity as it was when the agent last ran; this one has a fresh snapshot.
    virtual std::size_t CompareWithSaved(EventList& events, const WatchedEntity& saved,
                                         const std::wstring& nameInEvents) = 0;
    // `note` is a hint: the facts are the snapshot that is held and the one taken now.
    virtual std::size_t ProcessNotification(EventList& events,
                                            const FileNotificationInfo& note) = 0;

    // Takes over the other's snapshot, type, virtual name and digest, and in derived classes what
    // both have in common.
    virtual void Assign(const WatchedEntity& other);

    virtual bool IsChecksumEnabled() const;
    virtual bool IsAccessTimeMonitored() const;
    virtual const std::wstring& GetDiffType() const;  // empty without a diff
    virtual std::uint64_t GetMemorySize() const;      // bytes charged for the entity

    const std::wstring& GetName() const;  // normalised and lower-cased
    std::int32_t GetType() const { return type; }
    const std::wstring& GetVirtualName() const { return virtualName; }
    const Digest& GetDigest() const { return digest; }
    const FileAttributes& GetAttributes() const { return *attributes; }
    // The present snapshot, for good: it does not follow the entity's later changes, and any thread
    // may read it. Nothing is copied.
    std::shared_ptr<const FileAttributes> ShareAttributes() { return attributes.share(); }

protected:
    WatchedEntity(const std::wstring& name, std::int32_t entityType,
                  const std::wstring& nameInEvents);
    WatchedEntity(const WatchedEntity& other);

    // What every entity's event says of its file. See WatchedEntityEvents.cpp.
    //
    // Puts `name` into the event's virtual tag and, unless it was forced, `stateValue` into its
    // system state. With `useOwn` an empty name is replaced by this entity's virtual name; with no
    // name at all nothing happens. The event takes the tag only if its source kind allows it, and
    // its values must be set before.
    void ApplyVirtualName(std::wstring name, IDSEvent& event, std::uint32_t stateValue,
                          bool useOwn) const;
    // Appends the first values of an event: who noticed, path, what happened, and where the action
    // leaves something to compare, attribute bits and sizes. `previous` is the snapshot before, or
    // null; `fromDriver` says that the real-time filter noticed.
    void SetEventFields(std::vector<std::wstring>& values, const FileAttributes* previous,
                        FileAction action, bool fromDriver) const;

    OwnedSnapshot attributes;
    std::int32_t type;
    Digest digest{};           // below version 9 an MD5 in the first 16 bytes
    InternedText virtualName;  // as a rule empty, or the same for a folder of files
};

}  // namespace lathwind
