#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lathwind {

// Appends to an event's values, pair by pair, what something was and what it is: both where there
// is a difference, two empty texts where there is none. Of a new file every pair is an empty text
// and the present value. The texts are functions: they are made only where they are shown.
class ValuePairs {
public:
    ValuePairs(std::vector<std::wstring>& values, bool isNew) : values_(values), isNew_(isNew) {}

    template <class Previous, class Current>
    void add(bool differs, const Previous& previous, const Current& current) {
        values_.push_back(differs && !isNew_ ? previous() : std::wstring());
        values_.push_back(differs || isNew_ ? current() : std::wstring());
    }
    void number(std::uint64_t previous, std::uint64_t current) {
        add(
            previous != current, [=] { return std::to_wstring(previous); },
            [=] { return std::to_wstring(current); });
    }

private:
    std::vector<std::wstring>& values_;
    const bool isNew_;
};

}  // namespace lathwind
