#include "utils/posix/Wildcard.h"

#include "utils/Text.h"

namespace lathwind::posix {

bool hasWildcard(std::wstring_view mask) noexcept {
    return mask.find_first_of(L"*?") != std::wstring_view::npos;
}

// Only the last "*" is ever gone back to, so the time is at most the product of the lengths.
bool matchesWildcard(std::wstring_view name, std::wstring_view mask) noexcept {
    if (mask == L"*.*") {
        return true;
    }
    constexpr std::size_t kNone = std::wstring_view::npos;
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t star = kNone;
    std::size_t retry = 0;
    while (at < name.size()) {
        if (in < mask.size() && mask[in] == L'*') {
            star = in++;
            retry = at;
        } else if (in < mask.size() &&
                   (mask[in] == L'?' || toLower(mask[in]) == toLower(name[at]))) {
            ++in;
            ++at;
        } else if (star != kNone) {
            in = star + 1;
            at = ++retry;
        } else {
            return false;
        }
    }
    return mask.find_first_not_of(L'*', in) == kNone;
}

}  // namespace lathwind::posix
