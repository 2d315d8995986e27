#include "utils/IniFile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "utils/FileIO.h"
#include "utils/SipHash.h"
#include "utils/Text.h"

// The text is kept as it came, and sections and entries are pieces of it. So a file costs its own
// size and a few words a line, whatever its lines look like, and no line is copied.
namespace lathwind {
namespace {

constexpr std::size_t kLargestText = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kBlockBytes = 0x10000;

struct StreamCloser {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

bool readWhole(const std::wstring& path, std::string& bytes) {
    const std::unique_ptr<std::FILE, StreamCloser> stream(FileIO::OpenStream(path, L"rb"));
    if (stream == nullptr) {
        return false;
    }
    const auto block = std::make_unique<std::array<char, kBlockBytes>>();
    std::size_t count = 0;
    while ((count = std::fread(block->data(), 1, block->size(), stream.get())) != 0 &&
           bytes.size() <= kLargestText) {
        bytes.append(block->data(), count);
    }
    return std::ferror(stream.get()) == 0 && bytes.size() <= kLargestText;
}

std::wstring decodeUtf16(std::string_view bytes) {
    std::wstring text(bytes.size() / 2, L'\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto low = static_cast<unsigned char>(bytes[2 * i]);
        const auto high = static_cast<unsigned char>(bytes[2 * i + 1]);
        text[i] = static_cast<wchar_t>(low | high << 8);
    }
    return text;
}

std::wstring decode(std::string_view bytes) {
    if (bytes.starts_with("\xFF\xFE")) {
        return decodeUtf16(bytes.substr(2));
    }
    const std::string_view terminated = bytes.substr(0, bytes.find('\0'));
    if (terminated.starts_with("\xEF\xBB\xBF")) {
        return utf16FromUtf8(terminated.substr(3));
    }
    return widen(terminated);
}

// Of the folded units. Files of others are read too, when they are watched: their names must not
// be able to collide at will.
std::uint32_t hashOf(std::wstring_view name, std::uint32_t section) {
    constexpr unsigned kUnitBits = 16;
    TableHash hash(processHashKey());
    std::uint64_t word = 0;
    unsigned bits = 0;
    for (const wchar_t unit : name) {
        word |= static_cast<std::uint64_t>(toLower(unit)) << bits;
        bits += kUnitBits;
        if (bits == 64) {
            hash.add(std::exchange(word, 0));
            bits = 0;
        }
    }
    hash.add(word);
    hash.add(std::uint64_t{name.size()} << 32 | section);
    return static_cast<std::uint32_t>(hash.finish());
}

std::uint64_t digits(std::wstring_view text, std::uint64_t largest) {
    std::uint64_t number = 0;
    for (const wchar_t unit : text) {
        if (unit < L'0' || unit > L'9') {
            break;
        }
        const auto digit = static_cast<std::uint64_t>(unit - L'0');
        if (number > (largest - digit) / 10) {
            return largest;
        }
        number = number * 10 + digit;
    }
    return number;
}

}  // namespace

// ---- Index

template <class IsSame>
std::uint32_t IniFile::Index::find(std::uint32_t hash, IsSame isSame) const {
    if (slots_.empty()) {
        return kNone;
    }
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    while (slots_[at].number != kNone) {
        if (slots_[at].hash == hash && isSame(slots_[at].number)) {
            return slots_[at].number;
        }
        at = (at + 1) & mask;
    }
    return kNone;
}

void IniFile::Index::insert(std::uint32_t hash, std::uint32_t number) {
    constexpr std::size_t kFirstSlots = 64;
    if (4 * (used_ + 1) > 3 * slots_.size()) {
        std::vector<Slot> old(std::max(kFirstSlots, 2 * slots_.size()));
        old.swap(slots_);
        for (const Slot& slot : old) {
            if (slot.number != kNone) {
                place(slot);
            }
        }
    }
    place({hash, number});
    ++used_;
}

void IniFile::Index::place(Slot slot) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = slot.hash & mask;
    while (slots_[at].number != kNone) {
        at = (at + 1) & mask;
    }
    slots_[at] = slot;
}

void IniFile::Index::clear() {
    slots_ = {};
    used_ = 0;
}

// ---- Reading

bool IniFile::load(const std::wstring& path) {
    close();
    try {
        std::string bytes;
        if (!readWhole(path, bytes)) {
            return false;
        }
        std::wstring text = decode(bytes);
        bytes = {};
        parse(std::move(text));
    } catch (const std::bad_alloc&) {
        close();
    } catch (const std::length_error&) {  // of a 32-bit string
        close();
    }
    return loaded_;
}

void IniFile::parseBytes(std::string_view bytes) {
    parse(decode(bytes));
}

void IniFile::parse(std::wstring text) {
    close();
    if (text.size() > kLargestText) {
        return;
    }
    text_ = std::move(text);
    std::wstring_view rest = std::wstring_view(text_).substr(0, text_.find(L'\0'));
    while (!rest.empty()) {
        const std::size_t feed = rest.find(L'\n');
        parseLine(trim(rest.substr(0, feed)));
        rest.remove_prefix(feed == std::wstring_view::npos ? rest.size() : feed + 1);
    }
    loaded_ = true;
}

void IniFile::close() {
    text_ = {};
    sections_ = {};
    entries_ = {};
    sectionIndex_.clear();
    entryIndex_.clear();
    startsUnnamed_ = false;
    loaded_ = false;
}

IniFile::Piece IniFile::piece(std::wstring_view part) const noexcept {
    if (part.empty()) {
        return {};
    }
    return {static_cast<std::uint32_t>(part.data() - text_.data()),
            static_cast<std::uint32_t>(part.size())};
}

void IniFile::parseLine(std::wstring_view line) {
    if (line.starts_with(L'[')) {
        line.remove_prefix(1);
        addSection(line.substr(0, line.find(L']')));
        return;
    }
    const std::size_t equals = line.find(L'=');
    if (equals != std::wstring_view::npos) {
        addEntry(trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
    }
}

void IniFile::addSection(std::wstring_view name) {
    const auto number = static_cast<std::uint32_t>(sections_.size());
    sections_.push_back({piece(name), static_cast<std::uint32_t>(entries_.size())});
    if (findSection(name) == Index::kNone) {
        sectionIndex_.insert(hashOf(name, 0), number);
    }
}

void IniFile::addEntry(std::wstring_view key, std::wstring_view value) {
    if (key.empty()) {
        return;
    }
    if (sections_.empty()) {
        startsUnnamed_ = true;
        sections_.push_back({});
    }
    const auto section = static_cast<std::uint32_t>(sections_.size() - 1);
    const std::uint32_t hash = hashOf(key, section);
    if (findEntry(section, key, hash) == Index::kNone) {
        entryIndex_.insert(hash, static_cast<std::uint32_t>(entries_.size()));
        entries_.push_back({piece(key), piece(value)});
    }
}

// ---- Looking up

std::uint32_t IniFile::findSection(std::wstring_view name) const {
    return sectionIndex_.find(hashOf(name, 0), [&](std::uint32_t number) {
        return equalsNoCase(view(sections_[number].name), name);
    });
}

std::uint32_t IniFile::findEntry(std::uint32_t section, std::wstring_view key,
                                 std::uint32_t hash) const {
    const std::size_t first = sections_[section].firstEntry;
    const std::size_t end = first + valueCount(section);
    return entryIndex_.find(hash, [&](std::uint32_t number) {
        return number >= first && number < end && equalsNoCase(view(entries_[number].key), key);
    });
}

std::wstring_view IniFile::valueIn(std::uint32_t section, std::wstring_view key) const {
    if (section >= sections_.size()) {
        return {};
    }
    const std::uint32_t entry = findEntry(section, key, hashOf(key, section));
    return entry == Index::kNone ? std::wstring_view() : view(entries_[entry].value);
}

std::wstring_view IniFile::find(std::wstring_view section, std::wstring_view key) const {
    if (!section.empty()) {
        return valueIn(findSection(section), key);
    }
    const std::wstring_view value = valueIn(0, key);
    return value.empty() && startsUnnamed_ ? valueIn(1, key) : value;
}

bool IniFile::hasSection(std::wstring_view section) const {
    return section.empty() ? !sections_.empty() : findSection(section) != Index::kNone;
}

std::size_t IniFile::sectionNumber(std::wstring_view section) const {
    return std::min<std::size_t>(findSection(section), sections_.size());
}

std::size_t IniFile::valueCount(std::size_t section) const {
    const std::size_t end =
        section + 1 < sections_.size() ? sections_[section + 1].firstEntry : entries_.size();
    return end - sections_[section].firstEntry;
}

IniFile::Value IniFile::value(std::size_t section, std::size_t index) const {
    const Entry& entry = entries_[sections_[section].firstEntry + index];
    return {view(entry.key), view(entry.value)};
}

std::wstring IniFile::getText(std::wstring_view section, std::wstring_view key,
                              std::wstring_view fallback) const {
    const std::wstring_view text = find(section, key);
    return std::wstring(text.empty() ? fallback : text);
}

bool IniFile::getBoolean(std::wstring_view section, std::wstring_view key, bool fallback) const {
    const std::wstring_view text = find(section, key);
    if (text.empty()) {
        return fallback;
    }
    return equalsNoCase(text, L"true") || getInteger<std::int64_t>(section, key, 0) != 0;
}

std::uint64_t IniFile::unsignedNumber(std::wstring_view text, std::uint64_t largest) noexcept {
    if (text.starts_with(L'+')) {
        text.remove_prefix(1);
    }
    return digits(text, largest);
}

std::int64_t IniFile::signedNumber(std::wstring_view text, std::int64_t smallest) noexcept {
    const std::uint64_t largest = 0 - static_cast<std::uint64_t>(smallest);
    return static_cast<std::int64_t>(0 - digits(text.substr(1), largest));
}

}  // namespace lathwind
