#include "plugins/LineClasses.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "utils/SipHash.h"

namespace lathwind {
namespace {

// Whoever writes a watched file could make lines that collide under a hash without a secret.
std::uint32_t hashOf(std::string_view line, const TableHash::Key& key) {
    TableHash hash(key);
    std::uint64_t word = 0;
    std::size_t at = 0;
    for (; line.size() - at >= sizeof(word); at += sizeof(word)) {
        std::memcpy(&word, line.data() + at, sizeof(word));
        hash.add(word);
    }
    word = 0;
    std::memcpy(&word, line.data() + at, line.size() - at);
    hash.add(word | std::uint64_t{line.size()} << 56);
    return static_cast<std::uint32_t>(hash.finish());
}

// Hands out a number for each distinct line: open addressing with linear probing.
class ClassTable {
public:
    explicit ClassTable(std::size_t expectedLines)
        : slots_(std::bit_ceil(std::clamp(2 * expectedLines, kFewestSlots, kMostFirstSlots))) {}

    std::uint32_t hash(std::string_view line) const { return hashOf(line, key_); }
    // Brings the place of a hash into the cache, before it is asked for.
    void expect(std::uint32_t hash) const {
        __builtin_prefetch(&slots_[hash & (slots_.size() - 1)]);
    }
    std::uint32_t numberOf(std::string_view line, std::uint32_t hash) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t at = hash & mask;
        for (; slots_[at].number != kFree; at = (at + 1) & mask) {
            if (slots_[at].hash == hash && lines_[slots_[at].number] == line) {
                return slots_[at].number;
            }
        }
        const auto number = static_cast<std::uint32_t>(lines_.size());
        slots_[at] = {hash, number};
        lines_.push_back(line);
        if (4 * lines_.size() > 3 * slots_.size()) {
            grow();
        }
        return number;
    }
    std::size_t count() const noexcept { return lines_.size(); }

private:
    static constexpr std::size_t kFewestSlots = 64;
    static constexpr std::size_t kMostFirstSlots = 1 << 20;  // many lines may be few classes
    static constexpr std::uint32_t kFree = 0xFFFFFFFF;
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = kFree;
    };

    void grow() {
        std::vector<Slot> old(2 * slots_.size());
        old.swap(slots_);
        const std::size_t mask = slots_.size() - 1;
        for (const Slot& slot : old) {
            if (slot.number != kFree) {
                std::size_t at = slot.hash & mask;
                while (slots_[at].number != kFree) {
                    at = (at + 1) & mask;
                }
                slots_[at] = slot;
            }
        }
    }

    const TableHash::Key key_ = processHashKey();
    std::vector<Slot> slots_;
    std::vector<std::string_view> lines_;  // one of each class
};

std::size_t linesIn(std::string_view text) {
    const auto feeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    return feeds + (text.empty() || text.back() == '\n' ? 0 : 1);
}

// The length of the whole lines that both texts begin with.
std::size_t commonPrefix(std::string_view first, std::string_view second) {
    const std::size_t limit = std::min(first.size(), second.size());
    constexpr std::size_t kBlock = 4096;
    std::size_t same = 0;
    while (limit - same >= kBlock &&
           std::memcmp(first.data() + same, second.data() + same, kBlock) == 0) {
        same += kBlock;
    }
    while (same < limit && first[same] == second[same]) {
        ++same;
    }
    if (same == first.size() && same == second.size()) {
        return same;
    }
    const std::size_t feed = first.substr(0, same).rfind('\n');
    return feed == std::string_view::npos ? 0 : feed + 1;
}

bool startsLine(std::string_view text, std::size_t at) {
    return at == 0 || text[at - 1] == '\n';
}

// The length of the whole lines that both texts end with; both begin with a line.
std::size_t commonSuffix(std::string_view first, std::string_view second) {
    const std::size_t limit = std::min(first.size(), second.size());
    std::size_t same = 0;
    while (same < limit && first[first.size() - 1 - same] == second[second.size() - 1 - same]) {
        ++same;
    }
    const std::size_t begin = first.size() - same;
    if (startsLine(first, begin) && startsLine(second, second.size() - same)) {
        return same;
    }
    const std::size_t feed = first.find('\n', begin);
    return feed == std::string_view::npos ? 0 : first.size() - feed - 1;
}

// Finds the lines, and puts their hashes where their classes will be.
void split(LineClasses::Side& side, std::size_t lines, const ClassTable& table) {
    side.lineEnds.reserve(lines);
    side.classes.reserve(lines);
    const std::string_view text = side.text;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t feed = text.find('\n', begin);
        const std::size_t end = feed == std::string_view::npos ? text.size() : feed + 1;
        side.classes.push_back(table.hash(text.substr(begin, end - begin)));
        side.lineEnds.push_back(static_cast<std::uint32_t>(end));
        begin = end;
    }
}

// The table is larger than the cache: without the look ahead each line would wait for memory.
void number(LineClasses::Side& side, ClassTable& table) {
    constexpr std::size_t kAhead = 16;
    const std::size_t count = side.classes.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (i + kAhead < count) {
            table.expect(side.classes[i + kAhead]);
        }
        side.classes[i] = table.numberOf(side.line(i), side.classes[i]);
    }
}

}  // namespace

LineClasses::LineClasses(std::string_view oldText, std::string_view newText) {
    const std::size_t prefix = commonPrefix(oldText, newText);
    commonBefore_ = linesIn(oldText.substr(0, prefix));
    oldText.remove_prefix(prefix);
    newText.remove_prefix(prefix);
    const std::size_t suffix = commonSuffix(oldText, newText);
    old_.text = oldText.substr(0, oldText.size() - suffix);
    new_.text = newText.substr(0, newText.size() - suffix);

    const std::size_t oldLines = linesIn(old_.text);
    const std::size_t newLines = linesIn(new_.text);
    ClassTable table(oldLines + newLines);
    split(old_, oldLines, table);
    split(new_, newLines, table);
    number(old_, table);
    number(new_, table);
    classCount_ = table.count();
}

}  // namespace lathwind
