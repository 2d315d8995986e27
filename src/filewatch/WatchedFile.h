#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "filewatch/WatchedEntity.h"

namespace lathwind {

class ByteArray;      // utils/ByteArray.h
class FileDiffState;  // plugins/FileDiffState.h

// One regular file or folder under a file-watch entry.
class WatchedFile : public WatchedEntity {
public:
    // `params` may be null: no checksum, no access time, no label.
    WatchedFile(const std::wstring& name, const FileWatchParams* params,
                const std::wstring& nameInEvents);
    WatchedFile(const WatchedFile& other);
    WatchedFile& operator=(const WatchedFile& other);
    ~WatchedFile() override;

    bool InitializeEntity(bool clearSize) override;
    void BeginWatching(bool clearSize) override;
    // Owner, group and access list from the live file, the diff's baseline, and with `makeDigest`
    // the SHA-256 of the whole file; a file that cannot be read gets a zero digest.
    bool UpdateEntity(bool makeDigest) override;
    bool PrepareDiff() override;
    // What is an event and what it says: docs/change-analysis.md. The snapshot is the fresh one
    // afterwards, whether or not there was an event, so that a change is told once. At most one
    // event comes of a call. The diff lock may be taken.
    std::size_t CompareWithSaved(EventList& events, const WatchedEntity& saved,
                                 const std::wstring& nameInEvents) override;
    std::size_t ProcessNotification(EventList& events, const FileNotificationInfo& note) override;
    void Assign(const WatchedEntity& other) override;
    void WriteObject(std::ostream& stream) override;
    void ReadObject(std::istream& stream) override;
    void ReadObjectOfVersion(std::istream& stream, std::uint16_t version) override;

    bool IsChecksumEnabled() const override { return checksumEnabled; }
    bool IsAccessTimeMonitored() const override { return monitorAccessTime; }
    const std::wstring& GetDiffType() const override;
    std::uint64_t GetMemorySize() const override;

    const std::wstring& GetLabel() const { return label; }
    std::int32_t GetLastAction() const { return lastAction; }
    // Null where nothing was ever prepared or read for a diff.
    const FileDiffState* GetDiffState() const { return diffState.get(); }

    // Same last action and same snapshot.
    bool Equals(const WatchedFile& other) const;

private:
    class Analysis;  // WatchedFileEvents.cpp

    // `previous` may be null.
    void SetEventFields(IDSEvent& event, const FileAttributes* previous, FileAction action,
                        const std::wstring& detailText, bool fromDriver) const;
    void AppendFileValues(std::vector<std::wstring>& values, const FileAttributes& previous,
                          bool isNew) const;
    void ReadOwnFields(std::istream& stream);
    void ReadContents(std::istream& stream, std::wstring diffType);
    void MakeDigest();
    // Reads the file as it is now, appends how it differs from the contents that were held, and
    // holds the new ones.
    void MakeDiff(std::wstring& detailText);
    bool IsBelowDiffLimit();
    std::unique_ptr<ByteArray> TakeContents(const std::wstring& path);
    FileDiffState& DiffState();

    InternedText label;
    bool checksumEnabled = false;
    bool monitorAccessTime = false;
    std::int32_t lastAction = 0;               // after all conversions; 0 when it came to nothing
    std::unique_ptr<FileDiffState> diffState;  // made when first needed
};

}  // namespace lathwind
