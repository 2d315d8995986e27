#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "filewatch/FileAttributes.h"
#include "utils/Rare.h"
#include "utils/platform/Files.h"

namespace lathwind {

// Stands for owner and primary group in a snapshot whose record did not store them; Update
// replaces it.
inline constexpr std::wstring_view kNoPreviousData = L"</previous version had no data/>";

// The snapshot of an object of an NTFS volume: times, attribute bits, security, extended
// attributes and alternate streams. It is the only kind of snapshot, on every platform: what a file
// system does not have stays empty.
class WinFileAttributes : public FileAttributes {
public:
    using AttributeMap = std::map<std::wstring, std::wstring>;
    using StreamMap = std::map<std::wstring, std::uint32_t>;

    // What GetAlternateStreamSize gives for a stream that is not there.
    static constexpr std::uint32_t kNoStream = 4294967295u;

    using FileAttributes::FileAttributes;

    void WriteRecord(std::ostream& stream) const override;
    // The layout is that of the version word at the start of `stream`, which must be able to seek.
    // Two seeks cost a file stream its buffer: a reader of a list that knows the version of its
    // file calls ReadObjectOfVersion.
    void ReadObject(std::istream& stream) override;
    std::unique_ptr<FileAttributes> Clone() const override;
    std::unique_ptr<FileAttributes> TakeNew() const override;
    bool Initialize() override;
    bool Update() override;
    bool WriteText(std::wostream& stream) const override;
    bool ReadText(std::wistream& stream) override;
    void ReadObjectOfVersion(std::istream& stream, std::uint16_t version) override;
    bool IsDirectory() const override;
    bool IsRegularFile() const override;
    bool Equals(const FileAttributes& other) const override;
    bool Equals(const FileAttributes& other, bool compareAccessTime) const override;
    bool IsCertainlyUnchanged(std::uint64_t stamp, bool compareAccessTime) const override;
    std::wstring CompareToText(const FileAttributes& other, bool monitorAccess, bool* anyDifference,
                               bool* securityChanged, bool compareVolatile) const override;
    std::wstring CompareExtendedToText(const FileAttributes& other) const override;
    std::uint32_t GetCreationTime() const override;
    std::uint32_t GetAccessTime() const override;
    std::uint32_t GetModifiedTime() const override;
    std::uint32_t GetChangeTime() const override;
    std::wstring GetCreationTimeText(const FileAttributes* other) const override;
    std::wstring GetAccessTimeText(const FileAttributes* other) const override;
    std::wstring GetModifiedTimeText(const FileAttributes* other) const override;
    std::wstring GetChangeTimeText(const FileAttributes* other) const override;
    std::uint32_t IsReadOnly() const override;
    std::uint32_t GetExtraLinkCount() const override;
    std::uint32_t GetRawAttributes() const override;
    bool SetReadOnly(std::uint32_t value) override;
    bool RefreshAccessTime() override;
    void TakeModifiedTime(const FileAttributes& other) override;
    VolumeKind GetVolumeKind() const override;
    void Reset() override;

    FileTime GetCreationFileTime() const noexcept { return creationTime_; }
    FileTime GetAccessFileTime() const noexcept { return accessTime_; }
    FileTime GetModifiedFileTime() const noexcept { return modifiedTime_; }
    const std::wstring& GetOwner() const noexcept { return owner_; }  // SID text
    const std::wstring& GetPrimaryGroup() const noexcept { return primaryGroup_; }
    const std::wstring& GetAcl() const noexcept { return acl_; }  // SDDL
    const AttributeMap& GetExtendedAttributes() const { return extendedAttributes_.get(); }
    const StreamMap& GetAlternateStreams() const { return alternateStreams_.get(); }
    // Empty where there is none of that name.
    std::wstring GetExtendedAttribute(const std::wstring& name) const;
    // Low 32 bits of the size in bytes. An empty stream gives 0, a missing one kNoStream.
    std::uint32_t GetAlternateStreamSize(const std::wstring& name) const;
    // Cuts the SDDL text into its owner, group and list heads and its single entries, and appends
    // them to `list`. Joined, they are the text again.
    void SplitAcl(std::list<std::wstring>& list) const;
    // The SDDL text in lines, accounts by name (AclDisplay.h). Looks names up.
    std::wstring GetAclDisplayText() const;

private:
    void ReadFixedFields(std::istream& stream);
    void ReadMaps(std::istream& stream);
    void ReadJoinedAcl(std::istream& stream);
    void ReadVersionedFields(std::istream& stream, std::uint16_t version);
    bool ReadTextFields(std::wistream& stream);
    bool HasStateOf(const WinFileAttributes& other, bool compareAccessTime) const;
    void TakeFacts(const platform::FileFacts& facts);
    // What the snapshot before had.
    struct SecurityTexts {
        InternedText owner;
        InternedText group;
        InternedText acl;
    };
    SecurityTexts TakeSecurityTexts() {
        return {std::move(owner_), std::move(primaryGroup_), std::move(acl_)};
    }
    void ReadOwners(const std::wstring& realPath, const platform::Survey& survey,
                    const SecurityTexts& before);
    void ReadExtendedAttributes(platform::Survey& survey);
    void ReadAlternateStreams(const std::wstring& realPath);
    void ReadAcl(const platform::SecurityDescriptor* descriptor, const InternedText& before);

    FileTime creationTime_ = 0;
    FileTime accessTime_ = 0;
    FileTime modifiedTime_ = 0;
    std::uint32_t attributes_ = 0;
    // Nothing fetches the number of hard links: it is what the record held. The slot stays for
    // the files that carry one.
    std::uint32_t hardLinks_ = 0;
    // Most files of a folder have these in common.
    InternedText owner_;
    InternedText primaryGroup_;
    InternedText acl_;
    Rare<AttributeMap> extendedAttributes_;
    Rare<StreamMap> alternateStreams_;
};

// Owner and primary group of the object at `path`, as SID texts, or as account names where
// `resolveNames` is set and the account is known. Both are emptied first. True when both are there.
// `code`, if given, tells why the security could not be read (Success if it was).
bool GetFileOwnerAndPrimaryGroup(const std::wstring& path, std::wstring& owner, std::wstring& group,
                                 bool resolveNames, platform::ErrorCode* code = nullptr);

// The object's reparse tag, 0 where it is no reparse point or is not there.
std::uint32_t GetReparseTag(const std::wstring& path);

}  // namespace lathwind
