#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "filewatch/WatchedEntity.h"

namespace lathwind {

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
    // Owner, group and access list from the live file, the diff's baseline, and with `makeDigest`
    // the SHA-256 of the whole file; a file that cannot be read gets a zero digest.
    bool UpdateEntity(bool makeDigest) override;
    bool PrepareDiff() override;
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
    void ReadOwnFields(std::istream& stream);
    void ReadContents(std::istream& stream, std::wstring diffType);
    void MakeDigest();
    bool IsBelowDiffLimit();
    void TakeContents(const std::wstring& path);
    FileDiffState& DiffState();

    std::wstring label;
    bool checksumEnabled = false;
    bool monitorAccessTime = false;
    std::int32_t lastAction = 0;               // after all conversions; 0 when it came to nothing
    std::unique_ptr<FileDiffState> diffState;  // made when first needed
};

}  // namespace lathwind
