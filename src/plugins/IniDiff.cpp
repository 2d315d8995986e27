#include "plugins/IniDiff.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "utils/ByteArray.h"
#include "utils/Digests.h"
#include "utils/IniFile.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

// ---- What a run keeps

// In bytes. A parse may take ten times the room of its file, for as long as that is watched: a
// large one is rather made anew.
constexpr std::int32_t kLongestKept = 1 << 20;

struct Parsed {
    IniFile file;
    std::int32_t length = 0;
    std::array<std::uint8_t, kSha256Bytes> digest{};  // tells whether `file` is of these bytes
};

std::array<std::uint8_t, kSha256Bytes> digestOf(const ByteArray& bytes) {
    std::array<std::uint8_t, kSha256Bytes> digest{};
    HashBufferSha256(bytes.GetData(), static_cast<std::size_t>(bytes.GetLength()), digest.data());
    return digest;
}

std::unique_ptr<Parsed> parse(const ByteArray& bytes) {
    auto parsed = std::make_unique<Parsed>();
    parsed->file.parseBytes({reinterpret_cast<const char*>(bytes.GetData()),
                             static_cast<std::size_t>(bytes.GetLength())});
    parsed->length = bytes.GetLength();
    parsed->digest = digestOf(bytes);
    return parsed;
}

bool isParseOf(const Parsed& parsed, const ByteArray& bytes) {
    return parsed.length == bytes.GetLength() && parsed.digest == digestOf(bytes);
}

// ---- The walk

bool precedes(std::wstring_view first, std::wstring_view second) {
    return std::lexicographical_compare(
        first.begin(), first.end(), second.begin(), second.end(),
        [](wchar_t a, wchar_t b) { return toLower(a) < toLower(b); });
}

template <class Item>
void sortByName(std::vector<Item>& items) {
    std::stable_sort(items.begin(), items.end(),
                     [](const Item& a, const Item& b) { return precedes(a.name, b.name); });
}

// Walks two sorted lists side by side and hands on what is in one of them, or in both.
template <class Item, class Gone, class New, class Both>
void walk(const std::vector<Item>& previous, const std::vector<Item>& current, Gone onlyPrevious,
          New onlyCurrent, Both inBoth) {
    auto left = previous.begin();
    auto right = current.begin();
    while (left != previous.end() || right != current.end()) {
        if (right == current.end() ||
            (left != previous.end() && precedes(left->name, right->name))) {
            onlyPrevious(*left++);
        } else if (left == previous.end() || precedes(right->name, left->name)) {
            onlyCurrent(*right++);
        } else {
            inBoth(*left++, *right++);
        }
    }
}

struct Section {
    std::wstring_view name;
    std::size_t index;
};
struct Key {
    std::wstring_view name;
    std::wstring_view value;
};

std::vector<Section> sectionsOf(const IniFile& file) {
    std::vector<Section> sections(file.sectionCount());
    for (std::size_t i = 0; i < sections.size(); ++i) {
        sections[i] = {file.sectionName(i), i};
    }
    sortByName(sections);
    return sections;
}

std::vector<Key> keysOf(const IniFile& file, std::size_t section) {
    std::vector<Key> keys(file.valueCount(section));
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const auto [name, value] = file.value(section, i);
        keys[i] = {name, value};
    }
    sortByName(keys);
    return keys;
}

class Comparison {
public:
    Comparison(const IniFile& previous, const IniFile& current)
        : previous_(previous), current_(current) {}

    std::wstring run() {
        walk(
            sectionsOf(previous_), sectionsOf(current_),
            [this](const Section& section) {
                head(L"Deleted Section", section.name);
                compareKeys(section.name, keysOf(previous_, section.index), {});
            },
            [this](const Section& section) {
                head(L"Added Section", section.name);
                compareKeys(section.name, {}, keysOf(current_, section.index));
            },
            [this](const Section& before, const Section& now) {
                compareKeys(now.name, keysOf(previous_, before.index), keysOf(current_, now.index));
            });
        return std::move(text_);
    }

private:
    void compareKeys(std::wstring_view section, const std::vector<Key>& previous,
                     const std::vector<Key>& current) {
        walk(
            previous, current,
            [&](const Key& key) {
                head(L"Deleted Key", section);
                pair(key);
                text_ += L'\n';
            },
            [&](const Key& key) {
                head(L"Added Key", section);
                pair(key);
                text_ += L'\n';
            },
            [&](const Key& before, const Key& now) {
                if (before.value != now.value) {
                    head(L"Modified Key", section);
                    pair(now);
                    text_.append(L" (< ").append(before.value).append(L")\n");
                }
            });
    }
    void head(std::wstring_view kind, std::wstring_view section) {
        if (text_.size() > DiffFilter::kMostText) {
            throw std::length_error("diff");
        }
        text_.append(kind).append(L":\n[").append(section).append(L"]\n");
    }
    void pair(const Key& key) { text_.append(key.name).append(L"=").append(key.value); }

    const IniFile& previous_;
    const IniFile& current_;
    std::wstring text_;
};

}  // namespace

std::wstring IniDiff::compare(const IniFile& previous, const IniFile& current) {
    return Comparison(previous, current).run();
}

std::wstring IniDiff::run(void*& state, const ByteArray& previous, const ByteArray& current) const {
    std::unique_ptr<Parsed> before(static_cast<Parsed*>(state));
    state = nullptr;
    if (before == nullptr || !isParseOf(*before, previous)) {
        before = parse(previous);
    }
    std::unique_ptr<Parsed> now = parse(current);
    std::wstring text = compare(before->file, now->file);
    if (now->length <= kLongestKept) {
        state = now.release();
    }
    return text;
}

void IniDiff::release(void* state) const {
    delete static_cast<Parsed*>(state);
}

}  // namespace lathwind
