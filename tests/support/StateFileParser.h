#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lathwind::testing {

// What a state file of version 12 holds, read by a second reader that shares no code with the
// product's. Texts are ASCII, blocks are in hexadecimal.
struct ParsedEntity {
    std::int64_t type = 0;
    std::string virtualName;
    std::string path;
    std::int64_t exists = 0;
    std::int64_t size = 0;
    std::int64_t volumeKind = 0;
    std::int64_t attributes = 0;
    std::int64_t creationTime = 0;
    std::int64_t accessTime = 0;
    std::int64_t modifiedTime = 0;
    std::int64_t hardLinks = 0;
    std::string owner;
    std::string primaryGroup;
    std::map<std::string, std::string> extendedAttributes;
    std::map<std::string, std::int64_t> streams;
    std::string acl;
    std::string digest;
    // A log's.
    std::int64_t offset = 0;
    std::string encoding;
    std::string fileName;
    std::string parseString;
    std::int64_t includeDelimiter = 0;
    std::string delimiter;
    std::string entryEncoding;
    // A regular file's.
    std::int64_t lastAction = 0;
    std::string diffKey;
    std::string contents;
};

struct ParsedStateFile {
    std::int64_t signature = 0;
    std::int64_t version = 0;
    std::int64_t recursionLevel = 0;
    std::vector<std::string> digests;
    std::map<std::int64_t, std::vector<std::string>> mountStates;
    std::vector<ParsedEntity> entities;
};

// Throws std::runtime_error for anything that is not a whole file of version 12.
ParsedStateFile parseStateFile(std::string_view bytes);

}  // namespace lathwind::testing
