#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

#include "utils/InternedText.h"
#include "utils/Serializable.h"

namespace lathwind {

// Units of 100 ns since 1601-01-01, universal time. 0 means that no time is known.
using FileTime = std::uint64_t;

// Where a path lives, as the state file numbers it.
enum class VolumeKind : std::uint32_t { Unknown = 0, Local = 1, Removable = 2, Network = 3 };

// Everything that is remembered about one file system object at one moment. This is the half that
// any platform has; WinFileAttributes holds the rest. Change detection compares two snapshots.
//
// A snapshot owns all it holds and is copied by Clone. It has no lock: its owner guards it. Nothing
// here throws, other than SerializeException out of the record operations. The record's layout is
// told in docs/formats/snapshot-record.md.
class FileAttributes : public Serializable {
public:
    // `path` is kept as given: callers that hold a path of an operator use CreateFileAttributes.
    explicit FileAttributes(InternedText path);
    ~FileAttributes() override = default;

    // The newest layout.
    void WriteObject(std::ostream& stream) override { WriteRecord(stream); }
    virtual void WriteRecord(std::ostream& stream) const;
    void ReadObject(std::istream& stream) override;

    virtual std::unique_ptr<FileAttributes> Clone() const = 0;
    // A snapshot of the same object taken now, with path and volume kind as here. Cheaper than a
    // clone that keeps the old state before Initialize overwrites it.
    virtual std::unique_ptr<FileAttributes> TakeNew() const = 0;
    // Takes the snapshot anew from the live object. Always true: an object that is not there or
    // cannot be read gives a snapshot whose Exists is false.
    virtual bool Initialize() = 0;
    // Completes a snapshot that came from an older record by what its version did not hold.
    virtual bool Update() { return false; }

    // The snapshot as lines of text: decimal numbers, one value to a line, lines end in CR LF.
    // False as soon as a line could not be written, or was missing or no number. A failed read
    // leaves the snapshot as it was.
    virtual bool WriteText(std::wostream& stream) const;
    virtual bool ReadText(std::wistream& stream);

    // The layout of a state file of that version; see the table in the format's document. Versions
    // above the newest read like the newest.
    virtual void ReadObjectOfVersion(std::istream& stream, std::uint16_t version);

    virtual bool IsDirectory() const = 0;
    virtual bool IsSymbolicLink() const { return false; }
    virtual bool IsSpecialFile() const { return false; }
    virtual bool IsRegularFile() const = 0;
    virtual std::wstring GetLinkTarget() const { return {}; }
    virtual bool Equals(const FileAttributes& other) const = 0;  // access time included
    virtual bool Equals(const FileAttributes& other, bool compareAccessTime) const = 0;
    // The look that costs one status query. True: the live object is certainly the one that this
    // snapshot tells of, in all that Equals compares. `stamp` is the change stamp of a snapshot
    // that was taken of the object and was equal to this one. False means nothing: a stamp of 0,
    // and a platform without such stamps, give it always.
    virtual bool IsCertainlyUnchanged(std::uint64_t stamp, bool compareAccessTime) const = 0;

    // The differences from `other`, the previous snapshot of the same object and of the same kind,
    // as lines for an event; empty without any. What the lines look like is told in
    // docs/formats/change-texts.md. The access time counts only with `monitorAccess`, the flags
    // that come and go by themselves (Archive, Temporary, Indexed) only with `compareVolatile`.
    //
    // With `anyDifference` the question is only whether there is a difference: the text stays
    // empty, the first difference ends the comparison, and no account is asked for. Without a
    // difference nothing is allocated.
    // `securityChanged` tells whether the access list, or anything of CompareExtendedToText,
    // differs; when a probe ends at an earlier difference it tells nothing and is false.
    // Both pointers may be null; what they point to is set to false first.
    virtual std::wstring CompareToText(const FileAttributes& other, bool monitorAccess,
                                       bool* anyDifference, bool* securityChanged,
                                       bool compareVolatile) const = 0;
    // The lines for extended attributes, alternate streams and the access list alone. An attribute
    // with an empty value is as good as none.
    virtual std::wstring CompareExtendedToText(const FileAttributes& other) const = 0;

    // Seconds since 1970, cut to 32 bits; 0 where no time is known.
    virtual std::uint32_t GetCreationTime() const = 0;
    virtual std::uint32_t GetAccessTime() const = 0;
    virtual std::uint32_t GetModifiedTime() const = 0;
    virtual std::uint32_t GetChangeTime() const = 0;

    // The time as date text. With `other`, empty when both times are equal, so that a text that is
    // not empty tells a difference. Without it (null), the text alone.
    virtual std::wstring GetCreationTimeText(const FileAttributes* other) const;
    virtual std::wstring GetAccessTimeText(const FileAttributes* other) const;
    virtual std::wstring GetModifiedTimeText(const FileAttributes* other) const;
    virtual std::wstring GetChangeTimeText(const FileAttributes* other) const;

    virtual std::uint32_t IsReadOnly() const = 0;  // 0 or 1
    virtual std::uint32_t GetUserId() const { return 0; }
    virtual std::uint32_t GetGroupId() const { return 0; }
    virtual std::uint32_t GetExtraLinkCount() const { return 0; }  // names beyond the first
    virtual std::uint32_t GetRawAttributes() const { return 0; }
    // Changes the live object, not the snapshot. `value` is 0 or 1.
    virtual bool SetReadOnly(std::uint32_t value) = 0;
    // Replaces the access time alone, for reads of our own. A failure leaves it as it was and gives
    // false: the object is not there, as Initialize would have it.
    virtual bool RefreshAccessTime() = 0;
    // Replaces the modified time by that of `other`, a snapshot of the same kind.
    virtual void TakeModifiedTime(const FileAttributes& other) = 0;
    virtual VolumeKind GetVolumeKind() const = 0;  // classified once, then kept
    virtual void Reset();                          // path and volume kind stay

    const std::wstring& GetPath() const noexcept { return path_; }
    bool Exists() const noexcept { return exists_; }
    std::uint64_t GetSize() const noexcept { return size_; }  // bytes
    // For IsCertainlyUnchanged: of this snapshot's moment, 0 where the platform has none to give.
    // Not a part of the snapshot's state: neither recorded nor compared.
    std::uint64_t GetChangeStamp() const noexcept { return changeStamp_; }
    void SetSize(std::uint64_t bytes) noexcept { size_ = bytes; }

protected:
    FileAttributes(const FileAttributes&) = default;
    FileAttributes& operator=(const FileAttributes&) = default;

    InternedText path_;
    bool exists_ = false;
    std::uint64_t size_ = 0;
    std::uint64_t changeStamp_ = 0;
    // Found out when first asked for, also in a snapshot that several threads read.
    class KnownKind {
    public:
        KnownKind() = default;
        KnownKind(const KnownKind& other) noexcept { set(other.get()); }
        KnownKind& operator=(const KnownKind& other) noexcept {
            set(other.get());
            return *this;
        }
        VolumeKind get() const noexcept { return kind_.load(std::memory_order_relaxed); }
        void set(VolumeKind kind) noexcept { kind_.store(kind, std::memory_order_relaxed); }

    private:
        std::atomic<VolumeKind> kind_{VolumeKind::Unknown};
    };
    mutable KnownKind volumeKind_;
};

// Normalises and lower-cases `path` and takes a snapshot of it. An empty path gives a snapshot
// with nothing in it, to be filled by a record, without a look at the system.
std::unique_ptr<FileAttributes> CreateFileAttributes(const std::wstring& path);

}  // namespace lathwind
