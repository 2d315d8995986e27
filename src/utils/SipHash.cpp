#include "utils/SipHash.h"

#include <random>

namespace lathwind {

const TableHash::Key& processHashKey() {
    static const TableHash::Key key = [] {
        std::random_device device;
        const auto word = [&] { return std::uint64_t{device()} << 32 | device(); };
        const std::uint64_t first = word();
        return TableHash::Key{first, word()};
    }();
    return key;
}

}  // namespace lathwind
