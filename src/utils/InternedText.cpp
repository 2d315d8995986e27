// A set of counted nodes under one lock. Only the step from one holder to none takes the lock: a
// look-up, which also holds it, thus never finds a node that is about to go.
#include "utils/InternedText.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <unordered_set>

#include "utils/SipHash.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {

namespace detail {

struct TextNode {
    TextNode(std::wstring_view value, std::uint64_t valueHash) : text(value), hash(valueHash) {}

    const std::wstring text;
    const std::uint64_t hash;
    mutable std::atomic<std::uint32_t> holders{0};
};

}  // namespace detail

namespace {

using detail::TextNode;

// A text with its hash, computed once and outside the lock.
struct HashedText {
    explicit HashedText(std::wstring_view value) noexcept : text(value), hash(hashOf(value)) {}

    std::wstring_view text;
    std::uint64_t hash;

private:
    // Names of files come from outside, hence the keyed hash. Four UTF-16 units make a word.
    static std::uint64_t hashOf(std::wstring_view text) noexcept {
        constexpr std::size_t kUnitsInWord = 4;
        TableHash hash(processHashKey());
        const std::uint64_t length = text.size();
        for (; text.size() >= kUnitsInWord; text.remove_prefix(kUnitsInWord)) {
            hash.add(wordOf(text.substr(0, kUnitsInWord)));
        }
        hash.add(wordOf(text) | length << 48);
        return hash.finish();
    }
    static std::uint64_t wordOf(std::wstring_view units) noexcept {
        std::uint64_t word = 0;
        for (const wchar_t unit : units) {
            word = word << 16 | static_cast<std::uint16_t>(unit);
        }
        return word;
    }
};

struct TextHash {
    using is_transparent = void;
    template <class T>
    std::size_t operator()(const T& value) const noexcept {
        return static_cast<std::size_t>(value.hash);
    }
};

struct TextEqual {
    using is_transparent = void;
    template <class First, class Second>
    bool operator()(const First& first, const Second& second) const noexcept {
        return first.hash == second.hash && first.text == second.text;
    }
};

class TextPool {
public:
    TextNode* hold(const HashedText& text) {
        const ScopedLock guard(*lock_);
        auto found = nodes_.find(text);
        if (found == nodes_.end()) {
            found = nodes_.emplace(text.text, text.hash).first;
        }
        found->holders.fetch_add(1, std::memory_order_relaxed);
        // What the set must not see change is the text, and that is const.
        return const_cast<TextNode*>(&*found);
    }

    void dropLast(TextNode* node) noexcept {
        const ScopedLock guard(*lock_);
        if (node->holders.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            nodes_.erase(nodes_.find(*node));
        }
    }

    std::size_t count() const {
        const ScopedLock guard(*lock_);
        return nodes_.size();
    }

private:
    const std::unique_ptr<Lock> lock_ = platformFactory.createLock();
    std::unordered_set<TextNode, TextHash, TextEqual> nodes_ GUARDED_BY(*lock_);
};

// Never destroyed: static objects may hold texts to the end of the process.
TextPool& pool() {
    static TextPool* const texts = std::make_unique<TextPool>().release();
    return *texts;
}

}  // namespace

InternedText::InternedText(std::wstring_view text)
    : node_(text.empty() ? nullptr : pool().hold(HashedText(text))) {}

InternedText::InternedText(const InternedText& other) noexcept : node_(other.node_) {
    if (node_ != nullptr) {
        node_->holders.fetch_add(1, std::memory_order_relaxed);
    }
}

InternedText::~InternedText() {
    if (node_ == nullptr) {
        return;
    }
    std::uint32_t holders = node_->holders.load(std::memory_order_relaxed);
    while (holders > 1) {
        if (node_->holders.compare_exchange_weak(holders, holders - 1, std::memory_order_release,
                                                 std::memory_order_relaxed)) {
            return;
        }
    }
    pool().dropLast(node_);
}

const std::wstring& InternedText::get() const noexcept {
    static const std::wstring empty;
    return node_ == nullptr ? empty : node_->text;
}

std::size_t countInternedTexts() {
    return pool().count();
}

}  // namespace lathwind
