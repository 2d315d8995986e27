#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace lathwind {

namespace detail {
struct TextNode;
}

// An immutable text that lies in memory once however many objects hold it: owners, access lists and
// the paths of what is watched. It costs its holder one pointer, and goes with the last one.
//
// Making one of a text looks it up in a table of the process, which takes about as long as copying
// a long text; copying one costs an atomic count. Any thread may make, copy and destroy.
class InternedText {
public:
    InternedText() noexcept = default;  // the empty text
    // Implicit, so that it stands wherever a text is assigned.
    // NOLINTBEGIN(google-explicit-constructor)
    InternedText(std::wstring_view text);
    InternedText(const std::wstring& text) : InternedText(std::wstring_view(text)) {}
    InternedText(const wchar_t* text) : InternedText(std::wstring_view(text)) {}
    // NOLINTEND(google-explicit-constructor)
    InternedText(const InternedText& other) noexcept;
    InternedText(InternedText&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
    InternedText& operator=(InternedText other) noexcept {
        std::swap(node_, other.node_);
        return *this;
    }
    ~InternedText();

    const std::wstring& get() const noexcept;
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator const std::wstring&() const noexcept { return get(); }
    bool empty() const noexcept { return node_ == nullptr; }

    // Equal texts are the same object: the comparison looks at no character.
    friend bool operator==(const InternedText& first, const InternedText& second) noexcept {
        return first.node_ == second.node_;
    }

private:
    detail::TextNode* node_ = nullptr;  // null for the empty text
};

// The order of the texts, for containers that are searched by text.
struct InternedTextLess {
    using is_transparent = void;
    bool operator()(const std::wstring& first, const std::wstring& second) const noexcept {
        return first < second;
    }
};

// The number of different texts held by the process, for measurements and tests.
std::size_t countInternedTexts();

}  // namespace lathwind
