#include "support/StateFileParser.h"

#include <stdexcept>

namespace lathwind::testing {
namespace {

class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    bool atEnd() const { return bytes_.empty(); }

    std::string_view take(std::size_t count) {
        if (count > bytes_.size()) {
            throw std::runtime_error("state file breaks off");
        }
        const std::string_view taken = bytes_.substr(0, count);
        bytes_.remove_prefix(count);
        return taken;
    }

    std::int64_t number(std::size_t bytes) {
        std::uint64_t value = 0;
        const std::string_view taken = take(bytes);
        for (std::size_t i = bytes; i-- > 0;) {
            value = value << 8 | static_cast<unsigned char>(taken[i]);
        }
        return static_cast<std::int64_t>(value);
    }

    std::string text() {
        const auto units = static_cast<std::size_t>(number(4));
        std::string result;
        for (std::size_t i = 0; i < units; ++i) {
            result += static_cast<char>(number(2));
        }
        return result;
    }

    std::string hexadecimal(std::size_t count) {
        std::string result;
        for (const char byte : take(count)) {
            const auto value = static_cast<unsigned char>(byte);
            result += "0123456789abcdef"[value >> 4];
            result += "0123456789abcdef"[value & 15];
        }
        return result;
    }

private:
    std::string_view bytes_;
};

void readSnapshot(Reader& reader, ParsedEntity& entity) {
    entity.path = reader.text();
    entity.exists = reader.number(1);
    entity.size = reader.number(8);
    entity.volumeKind = reader.number(4);
    entity.attributes = reader.number(4);
    entity.creationTime = reader.number(8);
    entity.accessTime = reader.number(8);
    entity.modifiedTime = reader.number(8);
    entity.hardLinks = reader.number(4);
    entity.owner = reader.text();
    entity.primaryGroup = reader.text();
    for (std::int64_t left = reader.number(4); left > 0; --left) {
        const std::string name = reader.text();
        entity.extendedAttributes[name] = reader.text();
    }
    for (std::int64_t left = reader.number(4); left > 0; --left) {
        const std::string name = reader.text();
        entity.streams[name] = reader.number(4);
    }
    for (std::int64_t left = reader.number(4); left > 0; --left) {
        entity.acl += reader.text();
    }
}

ParsedEntity readEntity(Reader& reader) {
    ParsedEntity entity;
    entity.type = reader.number(4);
    entity.virtualName = reader.text();
    readSnapshot(reader, entity);
    entity.digest = reader.hexadecimal(32);
    if (entity.type == 1) {
        entity.offset = reader.number(4);
        entity.encoding = reader.text();
        entity.fileName = reader.text();
        entity.parseString = reader.text();
        entity.includeDelimiter = reader.number(1);
        entity.delimiter = reader.text();
        entity.entryEncoding = reader.text();
        return entity;
    }
    entity.lastAction = reader.number(4);
    entity.diffKey = reader.text();
    if (!entity.diffKey.empty()) {
        entity.contents = reader.hexadecimal(static_cast<std::size_t>(reader.number(4)));
    }
    return entity;
}

}  // namespace

ParsedStateFile parseStateFile(std::string_view bytes) {
    Reader reader(bytes);
    ParsedStateFile file;
    file.signature = reader.number(2);
    file.version = reader.number(2);
    if (file.version != 12) {
        throw std::runtime_error("not version 12");
    }
    file.recursionLevel = reader.number(4);
    for (int i = 0; i < 5; ++i) {
        file.digests.push_back(reader.hexadecimal(16));
    }
    for (std::int64_t states = reader.number(4); states > 0; --states) {
        std::vector<std::string>& names = file.mountStates[reader.number(4)];
        for (std::int64_t left = reader.number(4); left > 0; --left) {
            names.push_back(reader.text());
        }
    }
    while (!reader.atEnd()) {
        file.entities.push_back(readEntity(reader));
    }
    return file;
}

}  // namespace lathwind::testing
