#pragma once

#include <map>
#include <sstream>
#include <string>

#include "filewatch/windows/WinFileAttributes.h"
#include "support/Bytes.h"

namespace lathwind::testing {

// The fields of a snapshot, to be set one by one: a snapshot itself is filled by the system or by
// a record only.
struct SnapshotFields {
    std::wstring path = L"c:\\f";
    std::uint64_t size = 10;
    std::uint32_t attributes = 0;
    FileTime created = 132356672496660000;
    FileTime accessed = 132356672500000000;
    FileTime modified = 132356672510000000;
    std::uint32_t links = 0;
    std::wstring owner = L"S-1-5-18";
    std::wstring group = L"S-1-5-32-544";
    std::map<std::wstring, std::wstring> attributesByName;
    std::map<std::wstring, std::uint32_t> streams;
    std::wstring acl = L"O:SYG:BAD:(A;;FA;;;SY)";

    WinFileAttributes make() const {
        constexpr std::uint16_t kVersionWithWholeAcl = 9;
        Bytes bytes;
        bytes.string(path).u8(1).u64(size).u32(0).u32(attributes);
        bytes.u64(created).u64(accessed).u64(modified).u32(links).string(owner).string(group);
        bytes.u32(static_cast<std::uint32_t>(attributesByName.size()));
        for (const auto& [name, value] : attributesByName) {
            bytes.string(name).string(value);
        }
        bytes.u32(static_cast<std::uint32_t>(streams.size()));
        for (const auto& [name, bytesInStream] : streams) {
            bytes.string(name).u32(bytesInStream);
        }
        std::istringstream stream(bytes.string(acl).str());
        WinFileAttributes snapshot(L"");
        snapshot.ReadObjectOfVersion(stream, kVersionWithWholeAcl);
        return snapshot;
    }
};

}  // namespace lathwind::testing
