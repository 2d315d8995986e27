// The snapshot as a record of the state file and as lines of text. The layout is told in
// docs/formats/snapshot-record.md.
#include <array>
#include <cstddef>
#include <istream>
#include <ostream>
#include <utility>

#include "filewatch/SnapshotLines.h"
#include "filewatch/StateFile.h"
#include "filewatch/windows/WinFileAttributes.h"
#include "utils/LittleEndian.h"

namespace lathwind {

namespace {

// What a record outside a state file looks like: that of the last version without maps.
constexpr std::uint16_t kLooseRecordVersion = 6;
static_assert(stateVersion::hasOwners(kLooseRecordVersion) &&
              !stateVersion::hasStreams(kLooseRecordVersion) &&
              !stateVersion::hasAcl(kLooseRecordVersion));

struct StreamHead {
    std::uint16_t signature = 0;
    std::uint16_t version = 0;
};

StreamHead readHead(std::istream& stream) {
    StreamHead head;
    const auto position = stream.tellg();
    stream.seekg(0);
    Serializable::Read(stream, head.signature);
    Serializable::Read(stream, head.version);
    stream.seekg(position);
    return head;
}

void checkRead(const std::istream& stream, int line) {
    if (stream.fail()) {
        throw SerializeException(L"Exception: WinFileAttributes::ReadObject", line,
                                 L"WinFileAttributes");
    }
}

// Attribute bits, three times and the number of links lie behind each other in every version.
struct FixedRun {
    static constexpr std::size_t attributes = 0;
    static constexpr std::size_t creationTime = 4;
    static constexpr std::size_t accessTime = 12;
    static constexpr std::size_t modifiedTime = 20;
    static constexpr std::size_t hardLinks = 28;
    static constexpr std::size_t size = 32;
};

InternedText readText(std::istream& stream) {
    std::wstring text;
    Serializable::ReadTString(stream, text);
    return InternedText(text);
}

bool writeTimeLines(std::wostream& stream, FileTime time) {
    return writeLine(stream, static_cast<std::uint32_t>(time >> 32)) &&
           writeLine(stream, static_cast<std::uint32_t>(time));
}

bool readTimeLines(std::wistream& stream, FileTime& time) {
    std::uint32_t high = 0;
    std::uint32_t low = 0;
    if (!readLine(stream, high) || !readLine(stream, low)) {
        return false;
    }
    time = FileTime{high} << 32 | low;
    return true;
}

template <class Map>
bool writeMapLines(std::wostream& stream, const Map& map) {
    if (!writeLine(stream, static_cast<std::uint32_t>(map.size()))) {
        return false;
    }
    for (const auto& [name, value] : map) {
        if (!writeLine(stream, name) || !writeLine(stream, value)) {
            return false;
        }
    }
    return true;
}

template <class Map>
bool readMapLines(std::wistream& stream, Map& map) {
    map.clear();
    std::uint32_t count = 0;
    if (!readLine(stream, count)) {
        return false;
    }
    for (; count > 0; --count) {
        std::wstring name;
        typename Map::mapped_type value{};
        if (!readLine(stream, name) || !readLine(stream, value)) {
            return false;
        }
        map.insert_or_assign(map.end(), std::move(name), std::move(value));
    }
    return true;
}

}  // namespace

void WinFileAttributes::WriteRecord(std::ostream& stream) const {
    FileAttributes::WriteRecord(stream);
    std::array<std::byte, FixedRun::size> run;
    storeLittleEndian(&run[FixedRun::attributes], attributes_);
    storeLittleEndian(&run[FixedRun::creationTime], creationTime_);
    storeLittleEndian(&run[FixedRun::accessTime], accessTime_);
    storeLittleEndian(&run[FixedRun::modifiedTime], modifiedTime_);
    storeLittleEndian(&run[FixedRun::hardLinks], hardLinks_);
    Write(stream, run.data(), run.size());
    WriteTString(stream, owner_.get());
    WriteTString(stream, primaryGroup_.get());
    Write(stream, static_cast<std::uint32_t>(GetExtendedAttributes().size()));
    for (const auto& [name, value] : GetExtendedAttributes()) {
        WriteTString(stream, name);
        WriteTString(stream, value);
    }
    Write(stream, static_cast<std::uint32_t>(GetAlternateStreams().size()));
    for (const auto& [name, size] : GetAlternateStreams()) {
        WriteTString(stream, name);
        Write(stream, size);
    }
    // In pieces, because the whole text of a long list is more than a string may hold.
    std::list<std::wstring> pieces;
    SplitAcl(pieces);
    WriteStringList(stream, pieces);
    if (!stream.flush()) {
        throw SerializeException(L"Exception: WinFileAttributes::WriteObject", __LINE__,
                                 L"WinFileAttributes");
    }
}

void WinFileAttributes::ReadObject(std::istream& stream) {
    FileAttributes::ReadObject(stream);
    ReadFixedFields(stream);
    const StreamHead head = readHead(stream);
    ReadVersionedFields(stream,
                        isCompleteSignature(head.signature) ? head.version : kLooseRecordVersion);
    checkRead(stream, __LINE__);
}

void WinFileAttributes::ReadObjectOfVersion(std::istream& stream, std::uint16_t version) {
    FileAttributes::ReadObjectOfVersion(stream, version);
    ReadFixedFields(stream);
    ReadVersionedFields(stream, version);
    checkRead(stream, __LINE__);
}

void WinFileAttributes::ReadFixedFields(std::istream& stream) {
    std::array<std::byte, FixedRun::size> run;
    Read(stream, run.data(), run.size());
    attributes_ = loadLittleEndian<std::uint32_t>(&run[FixedRun::attributes]);
    creationTime_ = loadLittleEndian<FileTime>(&run[FixedRun::creationTime]);
    accessTime_ = loadLittleEndian<FileTime>(&run[FixedRun::accessTime]);
    modifiedTime_ = loadLittleEndian<FileTime>(&run[FixedRun::modifiedTime]);
    hardLinks_ = loadLittleEndian<std::uint32_t>(&run[FixedRun::hardLinks]);
}

void WinFileAttributes::ReadVersionedFields(std::istream& stream, std::uint16_t version) {
    if (stateVersion::hasOwners(version)) {
        owner_ = readText(stream);
        primaryGroup_ = readText(stream);
    } else {
        owner_ = InternedText(kNoPreviousData);
        primaryGroup_ = InternedText(kNoPreviousData);
    }
    extendedAttributes_.clear();
    alternateStreams_.clear();
    if (stateVersion::hasStreams(version)) {
        ReadMaps(stream);
    }
    acl_ = {};
    if (stateVersion::hasAclPieces(version)) {
        ReadJoinedAcl(stream);
    } else if (stateVersion::hasAcl(version)) {
        acl_ = readText(stream);
    }
}

// The counts are not to be trusted: nothing is set aside by them, and one that promises too much
// ends with the read that fails.
void WinFileAttributes::ReadMaps(std::istream& stream) {
    std::uint32_t count = 0;
    Read(stream, count);
    for (; count > 0; --count) {
        std::wstring name;
        std::wstring value;
        ReadTString(stream, name);
        ReadTString(stream, value);
        AttributeMap& attributes = extendedAttributes_.edit();
        attributes.insert_or_assign(attributes.end(), std::move(name), std::move(value));
    }
    Read(stream, count);
    for (; count > 0; --count) {
        std::wstring name;
        std::uint32_t size = 0;
        ReadTString(stream, name);
        Read(stream, size);
        StreamMap& streams = alternateStreams_.edit();
        streams.insert_or_assign(streams.end(), std::move(name), size);
    }
}

// A string list, joined as it is read.
void WinFileAttributes::ReadJoinedAcl(std::istream& stream) {
    std::uint32_t count = 0;
    Read(stream, count);
    if (count > kMaxListItems) {
        throw SerializeException(
            L"Exception: Size of string list exceeds serialization sanity check", __LINE__,
            L"WinFileAttributes");
    }
    std::wstring text;
    std::wstring piece;
    for (; count > 0; --count) {
        ReadTString(stream, piece);
        text += piece;
    }
    acl_ = text;
}

bool WinFileAttributes::WriteText(std::wostream& stream) const {
    return FileAttributes::WriteText(stream) && writeLine(stream, attributes_) &&
           writeTimeLines(stream, creationTime_) && writeTimeLines(stream, accessTime_) &&
           writeTimeLines(stream, modifiedTime_) && writeLine(stream, hardLinks_) &&
           writeLine(stream, owner_.get()) && writeLine(stream, primaryGroup_.get()) &&
           writeMapLines(stream, GetExtendedAttributes()) &&
           writeMapLines(stream, GetAlternateStreams()) && writeLine(stream, acl_.get());
}

bool WinFileAttributes::ReadText(std::wistream& stream) {
    WinFileAttributes incoming(*this);
    if (!incoming.FileAttributes::ReadText(stream) || !incoming.ReadTextFields(stream)) {
        return false;
    }
    *this = std::move(incoming);
    return true;
}

bool WinFileAttributes::ReadTextFields(std::wistream& stream) {
    std::wstring owner;
    std::wstring group;
    std::wstring acl;
    const bool isWhole = readLine(stream, attributes_) && readTimeLines(stream, creationTime_) &&
                         readTimeLines(stream, accessTime_) &&
                         readTimeLines(stream, modifiedTime_) && readLine(stream, hardLinks_) &&
                         readLine(stream, owner) && readLine(stream, group) &&
                         readMapLines(stream, extendedAttributes_.edit()) &&
                         readMapLines(stream, alternateStreams_.edit()) && readLine(stream, acl);
    owner_ = owner;
    primaryGroup_ = group;
    acl_ = acl;
    return isWhole;
}

}  // namespace lathwind
