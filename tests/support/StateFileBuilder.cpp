#include "support/StateFileBuilder.h"

namespace lathwind::testing {

StateFileBuilder& StateFileBuilder::number(std::int64_t value, int bytes) {
    for (auto rest = static_cast<std::uint64_t>(value); bytes > 0; --bytes, rest >>= 8) {
        bytes_ += static_cast<char>(rest & 0xFF);
    }
    return *this;
}

StateFileBuilder& StateFileBuilder::text(std::string_view ascii) {
    number(static_cast<std::int64_t>(ascii.size()), 4);
    for (const char unit : ascii) {
        number(unit, 2);
    }
    return *this;
}

StateFileBuilder& StateFileBuilder::hexadecimal(std::string_view digits) {
    for (; digits.size() >= 2; digits.remove_prefix(2)) {
        number(std::stoi(std::string(digits.substr(0, 2)), nullptr, 16), 1);
    }
    return *this;
}

StateFileBuilder& StateFileBuilder::header(std::uint16_t signature, std::uint32_t recursionLevel,
                                           std::uint8_t digestByte) {
    number(signature, 2).number(version_, 2);
    if (version_ >= 11) {
        number(recursionLevel, 4);
    }
    const int lists = version_ >= 5 ? 5 : version_ == 4 ? 4 : 2;
    for (int i = 0; i < 16 * lists; ++i) {
        number(digestByte, 1);
    }
    if (version_ >= 7) {
        number(0, 4);
    }
    return *this;
}

StateFileBuilder& StateFileBuilder::snapshot(const ParsedEntity& entity) {
    text(entity.path).number(entity.exists, 1).number(entity.size, 8);
    // The oldest version goes through a reader that always expects the kind of volume.
    if (version_ >= 9 || version_ == 1) {
        number(entity.volumeKind, 4);
    }
    number(entity.attributes, 4).number(entity.creationTime, 8).number(entity.accessTime, 8);
    number(entity.modifiedTime, 8).number(entity.hardLinks, 4);
    if (version_ >= 6) {
        text(entity.owner).text(entity.primaryGroup);
    }
    if (version_ >= 8) {
        number(static_cast<std::int64_t>(entity.extendedAttributes.size()), 4);
        for (const auto& [name, value] : entity.extendedAttributes) {
            text(name).text(value);
        }
        number(static_cast<std::int64_t>(entity.streams.size()), 4);
        for (const auto& [name, size] : entity.streams) {
            text(name).number(size, 4);
        }
    }
    if (version_ >= 10) {
        number(entity.acl.empty() ? 0 : 1, 4);
        if (!entity.acl.empty()) {
            text(entity.acl);
        }
    } else if (version_ == 9) {
        text(entity.acl);
    }
    return *this;
}

StateFileBuilder& StateFileBuilder::logProperties(const ParsedEntity& entity) {
    text(entity.fileName).text(entity.parseString).number(entity.includeDelimiter, 1);
    text(entity.delimiter);
    if (version_ >= 9) {
        text(entity.entryEncoding);
    }
    return *this;
}

StateFileBuilder& StateFileBuilder::entity(const ParsedEntity& entity) {
    number(entity.type, 4);
    if (version_ >= 12) {
        text(entity.virtualName);
    }
    if (version_ == 1) {
        number(0x7777, 2);
    }
    snapshot(entity);
    digest(entity.digest);
    if (entity.type == 1) {
        logFields(entity);
    } else {
        fileFields(entity);
    }
    return *this;
}

void StateFileBuilder::digest(std::string digits) {
    digits.resize(version_ >= 9 || version_ == 1 ? 64 : 32, '0');
    hexadecimal(digits);
}

void StateFileBuilder::logFields(const ParsedEntity& entity) {
    number(entity.offset, 4);
    if (version_ >= 12) {
        text(entity.encoding);
    }
    logProperties(entity);
}

void StateFileBuilder::fileFields(const ParsedEntity& entity) {
    number(entity.lastAction, 4);
    if (version_ == 1) {
        return;
    }
    text(entity.diffKey);
    if (!entity.diffKey.empty()) {
        number(static_cast<std::int64_t>(entity.contents.size() / 2), 4);
        hexadecimal(entity.contents);
    }
}

}  // namespace lathwind::testing
