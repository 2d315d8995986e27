#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lathwind::posix {

// What /proc/<id>/stat tells (proc(5)).
struct ProcessStat {
    std::string name;  // at most 15 bytes; it may hold blanks and brackets
    std::uint32_t parentId = 0;
    std::uint32_t sessionId = 0;
    std::int32_t nice = 0;     // -20 to 19
    std::uint32_t policy = 0;  // scheduling policy, SCHED_OTHER is 0
};

// Nothing for a text of another form.
std::optional<ProcessStat> parseProcessStat(std::string_view text);

// The priority class that comes nearest: real-time for the real-time policies, otherwise by the
// nice value: high below -9, above normal below 0, normal at 0, below normal up to 9, idle above.
std::uint32_t priorityClassOf(const ProcessStat& stat);

}  // namespace lathwind::posix
