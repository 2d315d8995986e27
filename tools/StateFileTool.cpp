#include "tools/StateFileTool.h"

#include "filewatch/FileAttributes.h"
#include "filewatch/LogFileProperties.h"
#include "filewatch/MountManager.h"
#include "filewatch/WatchedLogFile.h"
#include "utils/Console.h"
#include "tools/InstallPaths.h"
#include "tools/Progress.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind::tool {
namespace {

// Reads the header up to the entity list. With `showing` each field is printed as soon as it is
// read, so that a damaged file shows how far it is sound. False for a foreign signature.
bool readHeader(std::istream& stream, MountManager* mountState, StateFileHeader& header,
                bool showing) {
    Serializable::Read(stream, header.signature);
    Serializable::Read(stream, header.version);
    if (showing) {
        print(L"Signature    : %X  Version: %d\n", header.signature, header.version);
    }
    if (!isCompleteSignature(header.signature)) {
        return false;
    }
    if (stateVersion::hasRecursionLevel(header.version)) {
        Serializable::Read(stream, header.recursionLevel);
        if (showing) {
            print(L"Default Recursion Level: %u\n", header.recursionLevel);
        }
    }
    if (showing) {
        print(L"MD5 Checksums:\n");
    }
    for (const std::size_t list : storedWatchLists(header.version)) {
        Md5Digest& digest = header.digests[list];
        Serializable::Read(stream, digest.data(), digest.size());
        if (showing) {
            print(L"%-40.40s : ", watchFiles::kWatchLists[list]);
            for (const std::uint8_t byte : digest) {
                print(L"%02.2x", byte);
            }
            print(L"\n");
        }
    }
    if (stateVersion::hasMountStates(header.version) && mountState != nullptr) {
        mountState->ReadObject(stream);
        if (showing) {
            mountState->ShowInfo();
        }
    }
    if (showing) {
        print(L"\n");
    }
    return true;
}

void listEntity(const WatchedEntity& entity, std::uint16_t version, std::wstring& text) {
    const bool isLog = entity.GetType() == kLogFile;
    appendFormat(text, L"%-12.12s %s\n", isLog ? L"Log File" : L"Regular File", entity.GetName());
    appendFormat(text, L"\t    Exists?: %s\n", entity.GetAttributes().Exists() ? L"Yes" : L"No");
    if (isLog) {
        const auto& log = static_cast<const WatchedLogFile&>(entity);
        appendFormat(text, L"\t Log Offset: %u\n", log.GetOffset());
        if (stateVersion::hasLogEncoding(version)) {
            appendFormat(text, L"\t   Encoding: %s\n", log.GetEncoding());
        }
    }
    if (stateVersion::hasVirtualNames(version) && !entity.GetVirtualName().empty()) {
        appendFormat(text, L"\tVirtualName: %s\n", entity.GetVirtualName());
    }
}

void writeBody(std::ostream& stream, const EntityTable& entities, MountManager* mountState,
               std::uint16_t storedVersion, std::uint32_t recursionLevel) {
    Serializable::Write(stream, FileWatchSignature);
    Serializable::Write(stream, FileWatchVersion);
    if (!stateVersion::hasRecursionLevel(storedVersion)) {
        print(L" Writing a zero into the file\n");
        recursionLevel = 0;
    }
    Serializable::Write(stream, recursionLevel);
    for (const Md5Digest& digest : digestWatchLists()) {
        Serializable::Write(stream, digest.data(), digest.size());
    }
    if (mountState != nullptr) {
        if (!stateVersion::hasMountStates(storedVersion)) {
            print(L" Writing a zero into the file\n");
            Serializable::Write(stream, std::uint32_t{0});
        } else {
            print(L" Writing some state\n");
            mountState->WriteObject(stream);
        }
    }
    Progress progress(L"Writing entities", entities.size());
    for (const auto& [key, entity] : entities) {
        entity->WriteEntity(stream);
        progress.step();
    }
}

void removeStateFile() {
    platform::files().remove(std::wstring(watchFiles::kStateFile));
}

}  // namespace

std::wstring EntityKey(const std::wstring& path, std::int32_t type) {
    return toLower(FileIO::NormalizePath(path)) +
           (type == kLogFile ? L"_LogFile" : L"_RegularFile");
}

bool ReadFileWatchDat(std::istream& stream, EntityTable& entities, MountManager* mountState,
                      StateFileHeader& header) {
    try {
        return readHeader(stream, mountState, header, false) &&
               ReadWatchedEntities(stream, entities, header.version);
    } catch (const SerializeException&) {
        return false;
    }
}

bool ViewFileWatchDat(std::istream& stream, MountManager* mountState) {
    try {
        StateFileHeader header;
        if (!readHeader(stream, mountState, header, true)) {
            return false;
        }
        ListWatchedEntities(stream, header.version);
        return true;
    } catch (const SerializeException&) {
        return false;
    }
}

bool WriteFileWatchDat(const EntityTable& entities, MountManager* mountState,
                       std::uint16_t storedVersion, std::uint32_t recursionLevel) {
    removeStateFile();
    StateFileOutput output;
    if (!output.open(watchFiles::kStateFile)) {
        debugLog(ModuleId::FilewatchCollector, L"%ls could not be opened for writing",
                 watchFiles::kStateFile);
        return true;
    }
    std::wstring failure;
    try {
        writeBody(output.stream(), entities, mountState, storedVersion, recursionLevel);
        // What is still buffered counts like any other write.
        if (output.close()) {
            return true;
        }
        throw SerializeException(L"Exception: WriteFileWatchDat - Close failed", __LINE__,
                                 L"StateFileTool");
    } catch (const SerializeException& exception) {
        failure = exception.message;
    } catch (...) {
        failure = L"Unknown exception";
    }
    logCatalogued(Severity::Warning, ModuleId::FilewatchCollector, 12, failure);
    output.close();
    removeStateFile();
    return false;
}

bool ReadWatchedEntities(std::istream& stream, EntityTable& entities, std::uint16_t version) {
    Progress progress(L"Reading entities", 0);
    try {
        while (auto entity = WatchedEntity::ReadEntityOfVersion(stream, version)) {
            std::wstring key = EntityKey(entity->GetName(), entity->GetType());
            entities.try_emplace(std::move(key), std::move(entity));
            progress.step();
        }
        return true;
    } catch (const SerializeException&) {
        entities.clear();
        return false;
    }
}

void ListWatchedEntities(std::istream& stream, std::uint16_t version) {
    std::wstring text;
    while (const auto entity = WatchedEntity::ReadEntityOfVersion(stream, version)) {
        text.clear();
        listEntity(*entity, version, text);
        platform::host().writeOutput(text);
    }
}

bool UpdateWatchedEntities(EntityTable& entities, std::uint16_t version) {
    const bool makeDigests = !stateVersion::hasSha256(version);
    Progress progress(L"Updating entities", entities.size());
    for (const auto& [key, entity] : entities) {
        if (!entity->UpdateEntity(makeDigests)) {
            return false;
        }
        progress.step();
    }
    return true;
}

bool AddEditServiceLog(const std::wstring& path, std::uint32_t offset, EntityTable& entities) {
    std::wstring key = EntityKey(path, kLogFile);
    if (const auto found = entities.find(key); found != entities.end()) {
        auto& log = static_cast<WatchedLogFile&>(*found->second);
        log.InitializeEntity(offset == 0);
        log.SetOffset(offset);
        return true;
    }
    auto entity = CreateWatchedEntity(kLogFile, path, {}, {});
    if (entity == nullptr) {
        return false;
    }
    if (FileIO file; offset == 0 && file.Open(path, L"rb")) {
        offset = file.GetSize();
    }
    auto& log = static_cast<WatchedLogFile&>(*entity);
    log.InitializeEntity(offset == 0);
    LogFileProperties properties;
    installPaths().ReadServiceLogProperties(properties);
    properties.SetFileName(path);
    log.SetLogProperties(properties, path);
    log.SetOffset(offset);
    entities.emplace(std::move(key), std::move(entity));
    return true;
}

}  // namespace lathwind::tool
