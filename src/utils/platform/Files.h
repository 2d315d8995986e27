#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "utils/platform/Errors.h"

// Files, folders and what the file system keeps beside their contents.
// Paths are wide (UTF-16 units), with backslashes and drive letters; relative ones hang from the
// process's current directory. Nothing here normalises a path or folds its case. An empty path
// gives PathNotFound without asking the system. All operations may be called from any thread.
namespace lathwind::platform {

// Attribute bits, as the file system of Windows counts them.
namespace attribute {
inline constexpr std::uint32_t ReadOnly = 0x1;
inline constexpr std::uint32_t Hidden = 0x2;
inline constexpr std::uint32_t System = 0x4;
inline constexpr std::uint32_t Directory = 0x10;
inline constexpr std::uint32_t Archive = 0x20;
inline constexpr std::uint32_t Normal = 0x80;
inline constexpr std::uint32_t Temporary = 0x100;
inline constexpr std::uint32_t Sparse = 0x200;
inline constexpr std::uint32_t ReparsePoint = 0x400;
inline constexpr std::uint32_t Compressed = 0x800;
inline constexpr std::uint32_t Offline = 0x1000;
inline constexpr std::uint32_t NotIndexed = 0x2000;
inline constexpr std::uint32_t Encrypted = 0x4000;
}  // namespace attribute

// One status query. Times in units of 100 ns since 1601-01-01, 0 where unknown.
struct FileFacts {
    std::uint32_t attributes = 0;
    std::uint64_t creationTime = 0;
    std::uint64_t accessTime = 0;
    std::uint64_t modifiedTime = 0;
    std::uint64_t size = 0;
    // Made of what no program can change without the system's noting the moment: while two queries
    // of a path give the same stamp, nothing of the object has changed, its security and extended
    // attributes included. 0 where the platform has nothing to make one of.
    std::uint64_t changeStamp = 0;
};

struct DirectoryEntry {
    std::wstring name;  // without its folder
    // Directory and ReparsePoint always; others as far as the system's listing tells them.
    std::uint32_t attributes = 0;
    std::uint32_t reparseTag = 0;  // 0 unless attribute::ReparsePoint is set
};

// Reads one object's backup stream: headers of 20 bytes, names and data, as BackupRead lays them
// out (id, attributes, 64-bit size, name size, all little-endian).
class BackupReader {
public:
    virtual ~BackupReader() = default;
    // Success with got == 0 is the end of the stream.
    virtual ErrorCode read(void* target, std::uint32_t count, std::uint32_t& got) = 0;
    virtual ErrorCode skip(std::uint64_t count) = 0;
    // Frees the read context. Called once, last.
    virtual ErrorCode finish() = 0;
};

// What a security query asks for, and what part of a descriptor becomes text.
namespace security {
inline constexpr std::uint32_t Owner = 1;
inline constexpr std::uint32_t Group = 2;
inline constexpr std::uint32_t Dacl = 4;
inline constexpr std::uint32_t Label = 0x10;
inline constexpr std::uint32_t ProtectedDacl = 0x80000000u;
inline constexpr std::uint32_t UnprotectedDacl = 0x20000000u;
}  // namespace security

// One object's security, read once.
class SecurityDescriptor {
public:
    virtual ~SecurityDescriptor() = default;
    // SIDs in textual form, "S-1-...".
    virtual ErrorCode owner(std::wstring& sid) const = 0;
    virtual ErrorCode group(std::wstring& sid) const = 0;
    // SDDL, revision 1, of the parts named by `information` (bits of namespace security).
    virtual ErrorCode toSddl(std::uint32_t information, std::wstring& text) const = 0;
};

// Extended attributes, name and value, in bytes of the system code page.
using ExtendedAttributes = std::vector<std::pair<std::string, std::string>>;

// What the system tells about one object at one moment: status, security and extended attributes.
// A platform that can list the attributes does so; on another they are in the object's backup
// stream. Security and stream are null where they are refused, with the reason.
struct Survey {
    FileFacts facts;
    std::unique_ptr<SecurityDescriptor> security;
    ErrorCode securityCode = error::Success;
    ExtendedAttributes attributes;
    std::unique_ptr<BackupReader> backup;
    ErrorCode backupCode = error::Success;  // also where the attributes could not be listed
};

// What another program may do with a file while this one holds it open.
enum class Sharing { Default, ReadWrite };

class Files {
public:
    virtual ~Files() = default;

    virtual ErrorCode query(const std::wstring& path, FileFacts& facts) = 0;
    virtual ErrorCode setAttributes(const std::wstring& path, std::uint32_t attributes) = 0;
    virtual ErrorCode remove(const std::wstring& path) = 0;  // a file, not a folder
    virtual ErrorCode copy(const std::wstring& source, const std::wstring& target,
                           bool failIfExists) = 0;
    static constexpr std::uint32_t MoveReplaceExisting = 1;
    static constexpr std::uint32_t MoveCopyAllowed = 2;
    virtual ErrorCode move(const std::wstring& source, const std::wstring& target,
                           std::uint32_t flags) = 0;
    virtual ErrorCode createDirectory(const std::wstring& path) = 0;  // one level
    virtual ErrorCode removeDirectory(const std::wstring& path) = 0;  // an empty one
    virtual ErrorCode resize(const std::wstring& path, std::uint64_t size) = 0;
    // Waits until the disk has everything that was written to the file, through whatever handle:
    // it then outlasts a loss of power. Success too where the file system knows no such thing.
    virtual ErrorCode flushToDisk(const std::wstring& path) = 0;

    // The path with the long name of each component in the place of a short one ("PROGRA~1"), where
    // the system has such names. A path that does not exist gives the error of a query.
    virtual ErrorCode longPath(const std::wstring& path, std::wstring& longForm) {
        FileFacts facts;
        const ErrorCode code = query(path, facts);
        if (code == error::Success) {
            longForm = path;
        }
        return code;
    }

    // Calls `visit` for each entry that matches `pattern`: a folder, a backslash and a mask with
    // "*" and "?", or the path of one object. "." and ".." are among the entries where the system
    // gives them. The order is the system's. A false from `visit` ends the walk with Success. No
    // match gives FileNotFound, a missing folder PathNotFound.
    using Visitor = std::function<bool(const DirectoryEntry&)>;
    virtual ErrorCode enumerate(const std::wstring& pattern, const Visitor& visit) = 0;

    virtual ErrorCode currentDirectory(std::wstring& path) = 0;  // no trailing backslash
    // Takes text of the system code page.
    virtual ErrorCode setCurrentDirectory(const std::string& path) = 0;

    // The form in which the standard library's streams reach the same file.
    virtual std::filesystem::path nativePath(const std::wstring& path) = 0;
    // A run-time file stream, owned by the caller (std::fclose); `mode` is fopen's ("rb", "wb",
    // "a+", "rt"). Null on failure, with errno set. With "r" a path opens only if it leads to a
    // file of a disk: for a device, a pipe or a folder errno is EACCES. Names to read come from
    // files that may be damaged, and a device may wait, or give bytes, for ever.
    virtual std::FILE* openStream(const std::wstring& path, const std::wstring& mode,
                                  Sharing sharing) = 0;
    // A run-time stream over an existing descriptor, and the descriptor of a stream.
    virtual std::FILE* openDescriptor(int descriptor, const std::wstring& mode) = 0;
    virtual int descriptorOf(std::FILE* stream) = 0;
    // 64-bit positions, also where long has 32 bits. seekStream gives fseek's result,
    // tellStream -1 on failure.
    virtual int seekStream(std::FILE* stream, std::int64_t offset, int origin) = 0;
    virtual std::int64_t tellStream(std::FILE* stream) = 0;

    // Null on failure, with `code` set.
    virtual std::unique_ptr<BackupReader> openBackup(const std::wstring& path, ErrorCode& code) = 0;
    // Null on failure, with `code` set. `information` as in namespace security.
    virtual std::unique_ptr<SecurityDescriptor> readSecurity(const std::wstring& path,
                                                             std::uint32_t information,
                                                             ErrorCode& code) = 0;
    // query, readSecurity and the extended attributes of one object, in no more calls to the system
    // than it takes: every notification of a file asks for all of them. The result is that of
    // query; without Success nothing else is asked. `found` is a new one. The change stamp is 0 also
    // for an object that changed a moment ago: the system's clock ticks, and a change that follows
    // in the same tick would leave the stamp as it is.
    virtual ErrorCode survey(const std::wstring& path, std::uint32_t information, Survey& found) {
        const ErrorCode code = query(path, found.facts);
        if (code == error::Success) {
            found.security = readSecurity(path, information, found.securityCode);
            found.backup = openBackup(path, found.backupCode);
        }
        return code;
    }
    virtual ErrorCode writeSecurity(const std::wstring& path, std::uint32_t information,
                                    const std::wstring& sddl) = 0;

    // False where the platform has no alternate streams at all, so that none need be asked for.
    virtual bool hasStreams() const { return true; }
    // Fills `buffer` with the stream list of information class 22: entries of next entry offset
    // (32 bits), name length in bytes (32), size (64), allocation size (64), UTF-16 name. An empty
    // list is an entry of zeros.
    enum class StreamQuery { Listed, NoEntryPoint, OpenFailed, QueryFailed };
    virtual StreamQuery queryStreams(const std::wstring& path, std::span<std::byte> buffer,
                                     ErrorCode& code) = 0;
};

}  // namespace lathwind::platform
