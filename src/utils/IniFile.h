#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace lathwind {

// A reader of INI texts (docs/formats/ini.md): an ordered list of sections, each with its keys and
// values in order. Names are found without regard to case. Of several sections of one name, and of
// several equal keys in a section, the first one counts.
//
// A file that is absent or cannot be read is no error: every key then gives its default, as an
// empty or missing value does. Time and memory are linear in the size of the text.
//
// The const operations may be called from any number of threads at once.
class IniFile {
public:
    // Reads a whole file, in place of what was held. Text is in the system code page unless a
    // byte-order mark says UTF-8 or UTF-16LE. False leaves the object as after close().
    bool load(const std::wstring& path);
    // The same with bytes, and with text, in memory.
    void parseBytes(std::string_view bytes);
    void parse(std::wstring text);
    void close();
    bool isLoaded() const noexcept { return loaded_; }

    bool hasSection(std::wstring_view section) const;

    // All getters: an empty section name stands for the keys ahead of any header and then the
    // file's first section; a missing or empty value gives `fallback`.
    std::wstring getText(std::wstring_view section, std::wstring_view key,
                         std::wstring_view fallback = {}) const;
    // Decimal. A value with a leading "-" is read as a signed number, any other as an unsigned one
    // (strtoul's manner: what is no number is 0, what is too large the largest), and the result is
    // then taken as a T: for a signed 32-bit T "4294967295" is -1.
    template <std::integral T>
    T getInteger(std::wstring_view section, std::wstring_view key, T fallback) const;
    // True for "true" in any case and for a number other than 0.
    bool getBoolean(std::wstring_view section, std::wstring_view key, bool fallback) const;

    // The number of the section of that name; sectionCount() if there is none.
    std::size_t sectionNumber(std::wstring_view section) const;
    // In the order of the text, as it spells them; good until the next load, parse or close.
    // A key that stands in its section already is left out.
    struct Value {
        std::wstring_view key;
        std::wstring_view value;
    };
    std::size_t sectionCount() const noexcept { return sections_.size(); }
    std::wstring_view sectionName(std::size_t section) const {
        return view(sections_[section].name);
    }
    std::size_t valueCount(std::size_t section) const;
    Value value(std::size_t section, std::size_t index) const;

private:
    // A piece of text_. Offsets take less room than views, and stay good when the object moves.
    struct Piece {
        std::uint32_t begin = 0;
        std::uint32_t length = 0;
    };
    struct Section {
        Piece name;
        std::uint32_t firstEntry = 0;
    };
    struct Entry {
        Piece key;
        Piece value;
    };

    // Numbers of sections or entries by the hash of their folded names: open addressing with
    // linear probing.
    class Index {
    public:
        static constexpr std::uint32_t kNone = 0xFFFFFFFF;
        template <class IsSame>
        std::uint32_t find(std::uint32_t hash, IsSame isSame) const;
        void insert(std::uint32_t hash, std::uint32_t number);
        void clear();

    private:
        struct Slot {
            std::uint32_t hash = 0;
            std::uint32_t number = kNone;
        };
        void place(Slot slot);
        std::vector<Slot> slots_;  // a power of two, or none
        std::size_t used_ = 0;
    };

    std::wstring_view view(Piece piece) const noexcept {
        return std::wstring_view(text_).substr(piece.begin, piece.length);
    }
    Piece piece(std::wstring_view part) const noexcept;
    void parseLine(std::wstring_view line);
    void addSection(std::wstring_view name);
    void addEntry(std::wstring_view key, std::wstring_view value);
    std::uint32_t findSection(std::wstring_view name) const;
    std::uint32_t findEntry(std::uint32_t section, std::wstring_view key, std::uint32_t hash) const;
    std::wstring_view valueIn(std::uint32_t section, std::wstring_view key) const;
    std::wstring_view find(std::wstring_view section, std::wstring_view key) const;
    static std::uint64_t unsignedNumber(std::wstring_view text, std::uint64_t largest) noexcept;
    static std::int64_t signedNumber(std::wstring_view text, std::int64_t smallest) noexcept;

    std::wstring text_;
    std::vector<Section> sections_;
    std::vector<Entry> entries_;  // section after section
    Index sectionIndex_;
    Index entryIndex_;
    bool startsUnnamed_ = false;  // section 0 holds the keys ahead of any header
    bool loaded_ = false;
};

template <std::integral T>
T IniFile::getInteger(std::wstring_view section, std::wstring_view key, T fallback) const {
    const std::wstring_view text = find(section, key);
    if (text.empty()) {
        return fallback;
    }
    if (text.front() == L'-') {
        return static_cast<T>(
            signedNumber(text, std::numeric_limits<std::make_signed_t<T>>::min()));
    }
    return static_cast<T>(
        unsignedNumber(text, std::numeric_limits<std::make_unsigned_t<T>>::max()));
}

}  // namespace lathwind
