#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/StateFileParser.h"

namespace lathwind::testing {

// Lays out state files of any version from 1 to 12 in memory, from the format's tables alone: it
// shares no code with the product's writer. Texts are ASCII, blocks are in hexadecimal.
//
//     const std::string file = StateFileBuilder(8).header().entity(log).bytes();
class StateFileBuilder {
public:
    explicit StateFileBuilder(std::uint16_t version) : version_(version) {}

    // Signature, version, recursion level, digests (the version's number of them, each byte
    // `digestByte`) and an empty mount block, as far as the version has them.
    StateFileBuilder& header(std::uint16_t signature = 0xABCE, std::uint32_t recursionLevel = 0,
                             std::uint8_t digestByte = 0);
    // Type, virtual name and record. What the version does not store is left out; the digest is cut
    // or padded with zeros to the version's width.
    StateFileBuilder& entity(const ParsedEntity& entity);
    // The parts of an entity by themselves.
    StateFileBuilder& snapshot(const ParsedEntity& entity);
    StateFileBuilder& logProperties(const ParsedEntity& entity);

    StateFileBuilder& number(std::int64_t value, int bytes);  // little-endian
    StateFileBuilder& text(std::string_view ascii);
    StateFileBuilder& hexadecimal(std::string_view digits);

    const std::string& bytes() const { return bytes_; }

private:
    void digest(std::string digits);
    void logFields(const ParsedEntity& entity);
    void fileFields(const ParsedEntity& entity);

    std::uint16_t version_;
    std::string bytes_;
};

}  // namespace lathwind::testing
