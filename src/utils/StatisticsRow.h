#pragma once

#include <cstdint>
#include <string>

namespace lathwind {

// One line of the agent's statistics report, before it is padded and joined.
struct StatisticsRow {
    std::wstring label;
    std::uint32_t value = 0;

    friend bool operator==(const StatisticsRow&, const StatisticsRow&) = default;
};

}  // namespace lathwind
