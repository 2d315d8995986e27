#include "filewatch/WatchedLogFile.h"

#include "actions/EventFilePaths.h"
#include "filewatch/FileAttributes.h"
#include "filewatch/StateFile.h"
#include "filewatch/WatchedFolders.h"
#include "filewatch/windows/WinPathMapping.h"
#include "utils/Digests.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr wchar_t kSource[] = L"WatchedLogFile";

bool startsWithMd5(const std::wstring& name, std::uint64_t bytes, const std::uint8_t* digest) {
    std::array<std::uint8_t, kMd5Bytes> now{};
    return HashFileMd5(MapToRealPath(name), now.data(), bytes) && Md5Equal(now.data(), digest);
}

bool startsWithSha256(const std::wstring& name, std::uint64_t bytes, const std::uint8_t* digest) {
    WatchedEntity::Digest now{};
    return HashFileSha256(MapToRealPath(name), now.data(), bytes) &&
           Sha256Equal(now.data(), digest);
}

}  // namespace

WatchedLogFile::WatchedLogFile(const std::wstring& name, const LogFileProperties* logProperties,
                               const std::wstring& nameInEvents)
    : WatchedEntity(name, kLogFile, nameInEvents) {
    if (logProperties != nullptr) {
        SetLogProperties(*logProperties, name);
    }
}

WatchedLogFile::WatchedLogFile(const WatchedLogFile& other)
    : WatchedEntity(other),
      offset(other.offset),
      properties(other.properties),
      encoding(other.encoding),
      hasUnreadLines(other.hasUnreadLines) {}

WatchedLogFile& WatchedLogFile::operator=(const WatchedLogFile& other) {
    Assign(other);
    return *this;
}

void WatchedLogFile::Assign(const WatchedEntity& other) {
    if (this == &other) {
        return;
    }
    WatchedEntity::Assign(other);
    file.reset();
    if (const auto* log = dynamic_cast<const WatchedLogFile*>(&other)) {
        offset = log->offset;
        properties = log->properties;
        encoding = log->encoding;
        hasUnreadLines = log->hasUnreadLines;
    }
}

void WatchedLogFile::SetLogProperties(const LogFileProperties& logProperties,
                                      const std::wstring& path) {
    properties = logProperties;
    encoding = FindEncoding(path);
    debugLog(ModuleId::FilewatchCollector, L"Reading Log %ls as %ls", path, encoding);
}

std::wstring WatchedLogFile::FindEncoding(const std::wstring& path) const {
    const std::wstring marked = FileIO::DetectEncoding(MapToRealPath(path));
    return marked == L"ANSI" ? properties.GetEncoding() : marked;
}

bool WatchedLogFile::IsServiceCsvLog(const std::wstring& path) {
    // Spelled as an entry of the lists, which may name the folder through a macro.
    const std::wstring mask = withLongFolder(toLower(eventFileFolder() + L"\\qvrips*.log"));
    return FileIO::MatchesMask(toLower(path), mask, true);
}

bool WatchedLogFile::InitializeEntity(bool clearSize) {
    attributes.renew();
    BeginWatching(clearSize);
    return true;
}

void WatchedLogFile::BeginWatching(bool clearSize) {
    if (clearSize) {
        attributes.edit().SetSize(0);
    }
    if (!IsServiceCsvLog(GetName())) {
        offset = static_cast<std::uint32_t>(attributes->GetSize());
        debugLog(ModuleId::FilewatchCollector, L"Initializing the File Offset to %d on file: %ls",
                 offset, GetName());
    }
}

void WatchedLogFile::WriteObject(std::ostream& stream) {
    // The limit 0 of a digest is the whole file: a log that is to be read from its start is stored
    // with the digest of all that it holds now.
    if (!HashFileSha256(MapToRealPath(GetName()), digest.data(), offset)) {
        ClearDigest(digest.data());
    }
    attributes.edit().RefreshAccessTime();
    WatchedEntity::WriteObject(stream);
    debugLog(ModuleId::FilewatchCollector,
             L"Writing the File Offset as %d on file: %ls Encoding is %ls", offset, GetName(),
             encoding);
    Write(stream, offset);
    WriteTString(stream, encoding);
    properties.WriteObject(stream);
}

void WatchedLogFile::ReadObject(std::istream& stream) {
    WatchedEntity::ReadObject(stream);
    ReadPosition(stream, true);
    properties.ReadObject(stream);
    CheckConsumedPart(false);
}

void WatchedLogFile::ReadObjectOfVersion(std::istream& stream, std::uint16_t version) {
    if (version == 1) {
        ReadObjectOfFirstVersion(stream);
        return;
    }
    WatchedEntity::ReadObjectOfVersion(stream, version);
    ReadPosition(stream, stateVersion::hasLogEncoding(version));
    properties.ReadObjectOfVersion(stream, version);
    CheckConsumedPart(!stateVersion::hasSha256(version));
}

void WatchedLogFile::ReadPosition(std::istream& stream, bool hasEncoding) {
    Read(stream, offset);
    if (hasEncoding) {
        ReadTString(stream, encoding);
        debugLog(ModuleId::FilewatchCollector,
                 L"Reading the File Offset as %d on file: %ls Encoding is %ls", offset, GetName(),
                 encoding);
    } else {
        debugLog(ModuleId::FilewatchCollector, L"Reading the File Offset as %d on file: %ls",
                 offset, GetName());
    }
    if (stream.eof()) {
        throw SerializeException(L"Exception: WatchedLogFile::ReadObject", __LINE__, kSource);
    }
}

// The first version had a word in front that nothing uses, and digested the whole log rather than
// its consumed part.
void WatchedLogFile::ReadObjectOfFirstVersion(std::istream& stream) {
    std::uint16_t unused = 0;
    Read(stream, unused);
    WatchedEntity::ReadObject(stream);
    Read(stream, offset);
    if (stream.eof()) {
        throw SerializeException(L"Exception: WatchedLogFile::ReadObjectOfVersion", __LINE__,
                                 kSource);
    }
    properties.ReadObjectOfVersion(stream, 1);
    const std::uint64_t storedSize = attributes->GetSize();
    if (CreateFileAttributes(GetName())->GetSize() < storedSize) {
        offset = 0;
        return;
    }
    if (!startsWithMd5(GetName(), storedSize, digest.data())) {
        offset = 0;
        ClearDigest(digest.data());
    }
    attributes.edit().RefreshAccessTime();
}

// Goes on where the log stood only if what was consumed is still there, byte for byte. Anything
// else, rotation in particular, means reading the new file from its start.
void WatchedLogFile::CheckConsumedPart(bool digestIsMd5) {
    if (CreateFileAttributes(GetName())->GetSize() < offset) {
        offset = 0;
        return;
    }
    const bool unchanged = digestIsMd5 ? startsWithMd5(GetName(), offset, digest.data())
                                       : startsWithSha256(GetName(), offset, digest.data());
    if (!unchanged) {
        debugLog(ModuleId::FilewatchCollector,
                 digestIsMd5 ? L"Resetting the File Offset from %d (to ZERO) on file: %ls since "
                               L"MD5 has changed.. "
                             : L"Resetting the File Offset from %d (to ZERO) on file: %ls since "
                               L"SHA2 has changed.. ",
                 offset, GetName());
        offset = 0;
        ClearDigest(digest.data());
    }
    attributes.edit().RefreshAccessTime();
}

}  // namespace lathwind
